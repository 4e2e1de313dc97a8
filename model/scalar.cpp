#include "model/scalar.h"

#include "model/text.h"

namespace kelvane {
namespace {

struct ToText {
  std::u16string operator()(std::u16string_view text) const { return std::u16string(text); }
  std::u16string operator()(std::int64_t number) const { return decimalText(number); }
  std::u16string operator()(Boolean flag) const { return flag ? u"True" : u"False"; }
};

}  // namespace

std::u16string Scalar::text() const { return std::visit(ToText{}, value_); }

}  // namespace kelvane
