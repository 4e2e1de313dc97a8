#include "compare/compare_schema.h"

#include "compare/comparison.h"

namespace kelvane {

cCompareSchema::cCompareSchema(Host& host) : collector_(std::make_shared<cCompareDiff>(host)) {
  IsSchemaCaseSensitive(True);
}

bool cCompareSchema::Compare(const Schema& SourceSchema, const Schema& TargetSchema,
                             enumOutputType /*OutputType*/) {
  if (!CompareOptions) {
    lastError_ = u"Compare Options are not set";
    return false;
  }
  // Copies, which nothing that the host does from within a message box can reach.
  const Schema source = SourceSchema;  // NOLINT(performance-unnecessary-copy-initialization)
  const Schema target = TargetSchema;  // NOLINT(performance-unnecessary-copy-initialization)
  Comparison(*this).run(source, target);
  return true;
}

void cCompareSchema::IsSchemaCaseSensitive(Boolean value) {
  isSchemaCaseSensitive_ = value;
  collector_->IsSchemaCaseSensitive(value);
}

std::u16string cCompareSchema::NbspIndent(std::int32_t count) {
  std::u16string indent;
  for (; count > 0; --count) indent += u"&nbsp;";
  return indent;
}

}  // namespace kelvane
