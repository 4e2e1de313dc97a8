#include "reader/fetch_context.h"

#include "model/common.h"

namespace kelvane::reader {
namespace {

template <class T>
T& required(T* object, std::u16string_view name) {
  if (!object)
    throw RuntimeError(ErrorNumber::notSet, std::u16string(name) + u" is not set",
                       u"Kelvane.reader");
  return *object;
}

}  // namespace

const cComparisonOptions& FetchContext::options() const {
  return required(compareOptions.get(), u"CompareOptions");
}

const cAppliesTo& FetchContext::scope() const { return required(appliesTo.get(), u"AppliesTo"); }

std::unique_ptr<ado::Recordset> FetchContext::GetRecordset(std::u16string_view sql) {
  if (cancelled) return nullptr;
  try {
    return required(conn, u"conn").Open(sql, ado::kClientCursor);
  } catch (...) {
    lastError = describeFailure();
    return nullptr;
  }
}

void FetchContext::recordFailure(std::u16string_view procedure) {
  // The class word is fixed text: hosts look for it.
  lastError =
      describeFailure() + u"\r\nError occured in cMSSQLDB_Fetch." + std::u16string(procedure);
}

std::u16string FetchContext::describeFailure() const {
  return DescribeErrors(conn ? &conn->Errors() : nullptr,
                        RuntimeError::describe(std::current_exception()));
}

}  // namespace kelvane::reader
