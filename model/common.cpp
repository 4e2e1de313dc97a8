#include "model/common.h"

#include "model/text.h"

namespace kelvane {

std::u16string DescribeErrors(const std::vector<ProviderError>* pending,
                              const RuntimeError& current) {
  constexpr std::u16string_view kLineEnd = u"\r\n";
  std::u16string text;
  const auto line = [&](std::u16string_view label, std::u16string_view value) {
    text.append(label).append(value).append(kLineEnd);
  };
  if (pending) {
    for (const ProviderError& error : *pending) {
      line(u"Error: #", decimalText(error.Number));
      line(u"Description: ", error.Description);
      line(u"Native Error: #", decimalText(error.NativeError));
      line(u"Source:", error.Source);
      line(u"SQL State:", error.SQLState);
      line(u"", u"");
    }
  }
  if (text.empty()) {
    text = u"Coding error has occured: ";
    line(u"Error: #", decimalText(current.Number()));
    line(u"Description: #", current.Description());
    line(u"Source: #", current.Source());
    if (current.LastDllError() != 0)
      line(u"Last DLL Error: #", decimalText(current.LastDllError()));
  }
  return text;
}

}  // namespace kelvane
