#include "model/text.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <limits>
#include <string>
#include <system_error>
#include <utility>

namespace kelvane {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

struct FoldingRun {
  char32_t first;
  char32_t last;
  std::uint32_t stride;
  std::int32_t delta;
};

constexpr FoldingRun kFoldingRuns[] = {
#include "model/case_folding_table.inc"
};

char32_t foldCodePoint(char32_t code) {
  if (code < 0x80) return code >= U'A' && code <= U'Z' ? code + 32 : code;
  const auto* run = std::upper_bound(
      std::begin(kFoldingRuns), std::end(kFoldingRuns), code,
      [](char32_t value, const FoldingRun& candidate) { return value < candidate.first; });
  if (run == std::begin(kFoldingRuns)) return code;
  --run;
  if (code > run->last || (code - run->first) % run->stride != 0) return code;
  return static_cast<char32_t>(static_cast<std::int32_t>(code) + run->delta);
}

// Letters that are small already and yet fold to another one.
constexpr char32_t kFoldedSmallLetters[] = {
    0x00B5, 0x017F, 0x0345, 0x03C2, 0x03D0, 0x03D1, 0x03D5, 0x03D6, 0x03F0, 0x03F1, 0x03F5,
    0x1C80, 0x1C81, 0x1C82, 0x1C83, 0x1C84, 0x1C85, 0x1C86, 0x1C87, 0x1C88, 0x1E9B, 0x1FBE};

// Cherokee letters fold to capitals; all others fold to small letters.
struct SmallCherokee {
  char32_t firstCapital, lastCapital, firstSmall;
};
constexpr SmallCherokee kSmallCherokee[] = {{0x13A0, 0x13EF, 0xAB70}, {0x13F0, 0x13F5, 0x13F8}};

char32_t lowerCodePoint(char32_t code) {
  const char32_t folded = foldCodePoint(code);
  if (code < 0x80) return folded;
  for (const auto& [first, last, small] : kSmallCherokee)
    if (folded >= first && folded <= last) return small + (folded - first);
  return std::ranges::binary_search(kFoldedSmallLetters, code) ? code : folded;
}

constexpr bool isHighSurrogate(char32_t unit) { return unit >= 0xD800 && unit < 0xDC00; }
constexpr bool isLowSurrogate(char32_t unit) { return unit >= 0xDC00 && unit < 0xE000; }

// The code point at `position`, which moves behind it; an unpaired surrogate is its own code point.
char32_t nextCodePoint(std::u16string_view text, std::size_t& position) {
  const char32_t unit = text[position++];
  if (!isHighSurrogate(unit) || position == text.size() || !isLowSurrogate(text[position]))
    return unit;
  return 0x10000 + ((unit - 0xD800) << 10) + (text[position++] - 0xDC00);
}

void appendUtf16(std::u16string& text, char32_t code) {
  if (code < 0x10000) {
    text.push_back(static_cast<char16_t>(code));
  } else {
    text.push_back(static_cast<char16_t>(0xD7C0 + (code >> 10)));
    text.push_back(static_cast<char16_t>(0xDC00 + (code & 0x3FF)));
  }
}

// Walks a text as the UTF-16 units of its code points' images.
template <char32_t image(char32_t)>
class MappedUnits {
 public:
  explicit MappedUnits(std::u16string_view text) : text_(text) {}

  bool next(char16_t& unit) {
    if (pending_ != 0) {
      unit = std::exchange(pending_, u'\0');
      return true;
    }
    if (position_ == text_.size()) return false;
    const char32_t code = image(nextCodePoint(text_, position_));
    if (code < 0x10000) {
      unit = static_cast<char16_t>(code);
    } else {
      unit = static_cast<char16_t>(0xD7C0 + (code >> 10));
      pending_ = static_cast<char16_t>(0xDC00 + (code & 0x3FF));
    }
    return true;
  }

 private:
  std::u16string_view text_;
  std::size_t position_ = 0;
  char16_t pending_ = 0;
};

template <char32_t image(char32_t)>
int compareMapped(std::u16string_view a, std::u16string_view b) {
  MappedUnits<image> left(a), right(b);
  char16_t leftUnit = 0, rightUnit = 0;
  for (;;) {
    const bool hasLeft = left.next(leftUnit);
    const bool hasRight = right.next(rightUnit);
    if (!hasLeft || !hasRight) return static_cast<int>(hasLeft) - static_cast<int>(hasRight);
    if (leftUnit != rightUnit) return leftUnit < rightUnit ? -1 : 1;
  }
}

// Several units at a time, each in its own 16 bits of a word.
constexpr std::size_t kUnitsInWord = sizeof(std::uint64_t) / sizeof(char16_t);
constexpr std::uint64_t inEveryUnit(char16_t unit) { return unit * 0x0001000100010001u; }

constexpr bool isAscii(std::uint64_t word) { return (word & inEveryUnit(0xFF80)) == 0; }
constexpr std::uint64_t lowerAscii(std::uint64_t word) {
  const std::uint64_t fromA = word + inEveryUnit(0x80 - u'A');  // bit 7 is set from 'A' on
  const std::uint64_t behindZ = word + inEveryUnit(0x80 - u'Z' - 1);
  return word | (fromA & ~behindZ & inEveryUnit(0x80)) >> 2;
}

// Mixes the words of a text into a hash.
class UnitHash {
 public:
  explicit UnitHash(std::size_t length) : state_(length * kFactor) {}
  void mix(std::uint64_t word) {
    state_ = (state_ ^ word) * kFactor;
    state_ ^= state_ >> 32;
  }
  std::size_t value() const { return static_cast<std::size_t>(state_ * kFactor >> 32); }

 private:
  static constexpr std::uint64_t kFactor = 0x9E3779B97F4A7C15u;
  std::uint64_t state_;
};

// The number of bytes of the well-formed UTF-8 sequence at the start of `bytes` and its code point;
// 0 when there is none.
std::size_t decodeUtf8(std::string_view bytes, char32_t& code) {
  const auto lead = static_cast<unsigned char>(bytes.front());
  const std::size_t length = lead < 0x80                    ? 1
                             : lead >= 0xC2 && lead <= 0xDF ? 2
                             : (lead & 0xF0) == 0xE0        ? 3
                             : lead >= 0xF0 && lead <= 0xF4 ? 4
                                                            : 0;
  if (length == 0 || bytes.size() < length) return 0;
  if (length == 1) {
    code = lead;
    return 1;
  }
  code = lead & (0x7Fu >> length);
  for (std::size_t at = 1; at < length; ++at) {
    const auto byte = static_cast<unsigned char>(bytes[at]);
    if ((byte & 0xC0) != 0x80) return 0;
    code = (code << 6) | (byte & 0x3F);
  }
  const bool overlong = (length == 3 && code < 0x800) || (length == 4 && code < 0x10000);
  const bool surrogate = code >= 0xD800 && code < 0xE000;
  return overlong || surrogate || code > 0x10FFFF ? 0 : length;
}

constexpr std::u16string_view kNumberCharacters = u"+-.0123456789eE";

// Whether the magnitude of a number that is far from 1 and not 0 lies above 1.
bool exceedsOne(std::string_view number) {
  const std::size_t mantissaEnd = std::min(number.find_first_of("eE"), number.size());
  const std::string_view mantissa = number.substr(0, mantissaEnd);
  const std::size_t point = std::min(mantissa.find('.'), mantissa.size());
  // Digits before the point, below 0 for zeros behind it.
  const auto digits = static_cast<std::int64_t>(point) -
                      static_cast<std::int64_t>(mantissa.find_first_of("123456789"));
  std::string_view exponentText = number.substr(mantissaEnd);
  if (exponentText.empty()) return digits > 0;
  exponentText.remove_prefix(exponentText.starts_with("e+") || exponentText.starts_with("E+") ? 2
                                                                                              : 1);
  std::int64_t exponent = 0;
  const auto read =
      std::from_chars(exponentText.data(), exponentText.data() + exponentText.size(), exponent);
  if (read.ec == std::errc::result_out_of_range) return !exponentText.starts_with('-');
  return digits + exponent > 0;
}

}  // namespace

std::u16string toUtf16(std::string_view utf8) {
  // Nearly all texts are ASCII alone, which needs no decoding.
  char bits = 0;
  for (const char byte : utf8) bits = static_cast<char>(bits | byte);
  if (!(bits & 0x80)) return {utf8.begin(), utf8.end()};
  std::u16string result;
  result.reserve(utf8.size());
  while (!utf8.empty()) {
    char32_t code = 0;
    std::size_t length = decodeUtf8(utf8, code);
    if (length == 0) {
      code = kReplacement;
      length = 1;
    }
    appendUtf16(result, code);
    utf8.remove_prefix(length);
  }
  return result;
}

std::string toUtf8(std::u16string_view utf16) {
  char16_t bits = 0;
  for (const char16_t unit : utf16) bits = static_cast<char16_t>(bits | unit);
  if (bits < 0x80) return {utf16.begin(), utf16.end()};
  std::string result;
  result.reserve(utf16.size());
  for (std::size_t position = 0; position < utf16.size();) {
    char32_t code = nextCodePoint(utf16, position);
    if (code >= 0xD800 && code < 0xE000) code = kReplacement;
    if (code < 0x80) {
      result.push_back(static_cast<char>(code));
      continue;
    }
    const int following = code < 0x800 ? 1 : code < 0x10000 ? 2 : 3;
    constexpr unsigned char kLeads[] = {0, 0xC0, 0xE0, 0xF0};
    result.push_back(static_cast<char>(kLeads[following] | (code >> (6 * following))));
    for (int left = following; left-- > 0;)
      result.push_back(static_cast<char>(0x80 | ((code >> (6 * left)) & 0x3F)));
  }
  return result;
}

std::u16string foldCase(std::u16string_view text) {
  std::u16string result;
  result.reserve(text.size());
  MappedUnits<foldCodePoint> units(text);
  for (char16_t unit = 0; units.next(unit);) result.push_back(unit);
  return result;
}

bool equalFolded(std::u16string_view a, std::u16string_view b) {
  return compareMapped<foldCodePoint>(a, b) == 0;
}

int compareLowerCase(std::u16string_view a, std::u16string_view b) {
  return compareMapped<lowerCodePoint>(a, b);
}

int compareText(std::u16string_view a, std::u16string_view b, CaseMode mode) {
  return mode == CaseMode::exact ? a.compare(b) : compareMapped<foldCodePoint>(a, b);
}

std::size_t hashText(std::u16string_view text, CaseMode mode) {
  UnitHash hash(text.size());
  for (std::u16string_view rest = text;; rest.remove_prefix(kUnitsInWord)) {
    const std::size_t length = std::min(rest.size(), kUnitsInWord);
    std::uint64_t word = 0;
    if (length > 0) std::memcpy(&word, rest.data(), length * sizeof(char16_t));
    if (mode == CaseMode::ignore) {
      if (!isAscii(word)) return hashText(foldCase(text), CaseMode::exact);
      word = lowerAscii(word);
    }
    hash.mix(word);
    if (length < kUnitsInWord) return hash.value();
  }
}

std::u16string replaceAll(std::u16string_view text, std::u16string_view what,
                          std::u16string_view with) {
  std::u16string result;
  result.reserve(text.size());
  for (;;) {
    const std::size_t found = text.find(what);
    result.append(text.substr(0, found));
    if (found == std::u16string_view::npos) return result;
    result.append(with);
    text.remove_prefix(found + what.size());
  }
}

std::vector<std::u16string_view> split(std::u16string_view text, char16_t separator) {
  std::vector<std::u16string_view> pieces;
  if (text.empty()) return pieces;
  for (;;) {
    const std::size_t found = text.find(separator);
    pieces.push_back(text.substr(0, found));
    if (found == std::u16string_view::npos) return pieces;
    text.remove_prefix(found + 1);
  }
}

std::u16string decimalText(std::int64_t number) {
  char digits[24];
  const auto result = std::to_chars(std::begin(digits), std::end(digits), number);
  return {std::begin(digits), result.ptr};
}

LeadingNumber leadingNumber(std::u16string_view text) {
  const std::size_t start = std::min(text.find_first_not_of(u" \t"), text.size());
  std::string ascii;
  for (const char16_t unit : text.substr(start)) {
    if (kNumberCharacters.find(unit) == kNumberCharacters.npos) break;
    ascii.push_back(static_cast<char>(unit));
  }
  const std::size_t plus = ascii.starts_with('+') && !ascii.starts_with("+-") ? 1 : 0;
  const char* const begin = ascii.data() + plus;
  double number = 0;
  const auto result = std::from_chars(begin, ascii.data() + ascii.size(), number);
  if (result.ec == std::errc::invalid_argument) return {0, text};
  if (result.ec == std::errc::result_out_of_range) {
    const double magnitude =
        exceedsOne({begin, result.ptr}) ? std::numeric_limits<double>::infinity() : 0;
    number = *begin == '-' ? -magnitude : magnitude;
  }
  return {number, text.substr(start + static_cast<std::size_t>(result.ptr - ascii.data()))};
}

}  // namespace kelvane
