#include "report/visible_text.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include "model/text.h"

namespace kelvane::report {
namespace {

constexpr std::u16string_view kVisibleTab = u"\u2192";

struct Range {
  char32_t first, last;
};

// What has no picture of its own: controls, odd blanks, marks of direction, joiners, selectors,
// halves of pairs.
constexpr auto kInvisible = std::to_array<Range>({
    {0x0000, 0x001F}, {0x007F, 0x00A0},   {0x00AD, 0x00AD},   {0x034F, 0x034F}, {0x061C, 0x061C},
    {0x115F, 0x1160}, {0x1680, 0x1680},   {0x17B4, 0x17B5},   {0x180B, 0x180F}, {0x2000, 0x200F},
    {0x2028, 0x202F}, {0x205F, 0x206F},   {0x2800, 0x2800},   {0x3000, 0x3000}, {0x3164, 0x3164},
    {0xD800, 0xDFFF}, {0xFE00, 0xFE0F},   {0xFEFF, 0xFEFF},   {0xFFA0, 0xFFA0}, {0xFFF0, 0xFFFC},
    {0xFFFE, 0xFFFF}, {0x1D173, 0x1D17A}, {0xE0000, 0xE0FFF},
});

bool isInvisible(char32_t character) {
  const auto after =
      std::upper_bound(kInvisible.begin(), kInvisible.end(), character,
                       [](char32_t value, const Range& range) { return value < range.first; });
  return after != kInvisible.begin() && character <= (after - 1)->last;
}

bool isBlank(char32_t character) {
  return character == U' ' || character == U'\t' || character == U'\r' || character == U'\n';
}

// Takes the first character off a text that is not empty; half of a pair stands for itself.
char32_t takeCharacter(std::u16string_view& text) {
  const char16_t first = text[0];
  const bool pair = (first & 0xFC00) == 0xD800 && text.size() > 1 && (text[1] & 0xFC00) == 0xDC00;
  const char32_t character =
      pair ? 0x10000 + ((static_cast<char32_t>(first) & 0x3FF) << 10) + (text[1] & 0x3FF) : first;
  text.remove_prefix(pair ? 2 : 1);
  return character;
}

std::u16string hexadecimal(char32_t character, std::size_t digits) {
  std::u16string text;
  for (; character != 0 || text.size() < digits; character >>= 4)
    text.insert(text.begin(), u"0123456789ABCDEF"[character & 0xF]);
  return text;
}

std::u16string escaped(char32_t character) {
  switch (character) {
    case U'\t':
      return u"\\t";
    case U'\r':
      return u"\\r";
    case U'\n':
      return u"\\n";
    default:
      return u"\\u{" + hexadecimal(character, 1) + u"}";
  }
}

// The bytes of a character of UTF-8 that begins so; 1 where none does.
std::size_t lengthOfCharacter(char first) {
  const auto byte = static_cast<unsigned char>(first);
  return byte < 0xC2 ? 1 : byte < 0xE0 ? 2 : byte < 0xF0 ? 3 : byte < 0xF5 ? 4 : 1;
}

// Appends what `show` makes of each character, and those that it leaves alone as they are.
template <class Show>
std::u16string mapped(std::u16string_view text, Show show) {
  std::u16string result;
  while (!text.empty()) {
    const std::u16string_view from = text;
    const std::u16string shown = show(takeCharacter(text));
    result += shown.empty() ? from.substr(0, from.size() - text.size()) : shown;
  }
  return result;
}

bool needsQuotes(std::u16string_view value) {
  if (value.empty() || value.front() == u'"' || value.front() == u' ' || value.back() == u' ' ||
      value.find(u" -> ") != value.npos)
    return true;
  while (!value.empty())
    if (isInvisible(takeCharacter(value))) return true;
  return false;
}

}  // namespace

std::u16string showValue(std::u16string_view value) {
  if (!needsQuotes(value)) return std::u16string(value);
  return u'"' +
         mapped(value,
                [](char32_t character) -> std::u16string {
                  if (character == U'"') return u"\\\"";
                  if (character == U'\\') return u"\\\\";
                  return isInvisible(character) ? escaped(character) : u"";
                }) +
         u'"';
}

ShownPair showPair(std::u16string_view before, std::u16string_view after) {
  if (before == after || withoutBlanks(before) != withoutBlanks(after))
    return {showValue(before), showValue(after)};
  const auto shown = [](std::u16string_view value) {
    return value.empty() ? showValue(value) : showLine(value, Blanks::visible);
  };
  return {shown(before), shown(after)};
}

std::u16string showLine(std::u16string_view line, Blanks blanks) {
  if (blanks == Blanks::plain) {
    while (!line.empty() && (line.back() == u'\n' || line.back() == u'\r')) line.remove_suffix(1);
    return mapped(line, [](char32_t character) -> std::u16string {
      return isInvisible(character) && character != U'\t' ? escaped(character) : u"";
    });
  }
  return mapped(line, [](char32_t character) -> std::u16string {
    switch (character) {
      case U' ':
        return u"\u00B7";
      case U'\t':
        return std::u16string(kVisibleTab);
      case U'\r':
        return u"\u240D";
      case U'\n':
        return u"\u240A";
      default:
        return isInvisible(character) ? escaped(character) : u"";
    }
  });
}

std::u16string withoutBlanks(std::u16string_view text) {
  std::u16string result(text);
  std::erase_if(result, [](char16_t unit) { return isBlank(unit); });
  return result;
}

std::string showMessage(std::string_view utf8) {
  std::string result;
  while (!utf8.empty()) {
    std::string_view bytes = utf8.substr(0, lengthOfCharacter(utf8[0]));
    const std::u16string text = toUtf16(bytes);
    std::u16string_view rest = text;
    const char32_t character = takeCharacter(rest);
    if (toUtf8(text) != bytes) {
      bytes = bytes.substr(0, 1);
      result += "\\x" + toUtf8(hexadecimal(static_cast<unsigned char>(bytes[0]), 2));
    } else if (character == U'\t') {
      result += toUtf8(kVisibleTab);
    } else {
      result += isInvisible(character) ? toUtf8(escaped(character)) : std::string(bytes);
    }
    utf8.remove_prefix(bytes.size());
  }
  return result;
}

std::u16string lookAlikeNote(std::u16string_view a, std::u16string_view b) {
  for (std::int64_t position = 1; !a.empty() && !b.empty(); ++position) {
    const char32_t inA = takeCharacter(a);
    const char32_t inB = takeCharacter(b);
    if (inA == inB) continue;
    const auto plain = [](char32_t character) {
      return isBlank(character) || (character > 0x20 && character < 0x7F);
    };
    if (plain(inA) && plain(inB)) return {};
    return u"  (character " + decimalText(position) + u": U+" + hexadecimal(inA, 4) + u" | U+" +
           hexadecimal(inB, 4) + u")";
  }
  return {};
}

}  // namespace kelvane::report
