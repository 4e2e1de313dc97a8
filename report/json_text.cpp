#include "report/json_text.h"

#include "model/text.h"

namespace kelvane {
namespace {

bool isHigh(char16_t unit) { return (unit & 0xFC00) == 0xD800; }
bool isLow(char16_t unit) { return (unit & 0xFC00) == 0xDC00; }

std::string unicodeEscape(char16_t unit) {
  std::string escape = "\\u";
  for (int shift = 12; shift >= 0; shift -= 4) escape += "0123456789abcdef"[(unit >> shift) & 0xF];
  return escape;
}

std::string escaped(char16_t unit) {
  switch (unit) {
    case u'"':
      return "\\\"";
    case u'\\':
      return "\\\\";
    case u'\b':
      return "\\b";
    case u'\f':
      return "\\f";
    case u'\n':
      return "\\n";
    case u'\r':
      return "\\r";
    case u'\t':
      return "\\t";
    default:
      return unicodeEscape(unit);
  }
}

}  // namespace

std::string jsonString(std::u16string_view text) {
  std::string result = "\"";
  std::size_t plainFrom = 0;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const char16_t unit = text[at];
    if (isHigh(unit) && at + 1 < text.size() && isLow(text[at + 1])) {
      ++at;
      continue;
    }
    if (unit >= 0x20 && unit != u'"' && unit != u'\\' && !isHigh(unit) && !isLow(unit)) continue;
    result += toUtf8(text.substr(plainFrom, at - plainFrom));
    result += escaped(unit);
    plainFrom = at + 1;
  }
  return result + toUtf8(text.substr(plainFrom)) + '"';
}

}  // namespace kelvane
