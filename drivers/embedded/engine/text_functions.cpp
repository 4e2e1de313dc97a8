// Texts, their sounds, their bytes, and what can be read from them.

#include <array>
#include <bit>
#include <cctype>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>

#include "drivers/embedded/engine/convert.h"
#include "drivers/embedded/engine/decimal.h"
#include "drivers/embedded/engine/digest.h"
#include "drivers/embedded/engine/function_families.h"
#include "drivers/embedded/engine/memory_bytes.h"
#include "drivers/embedded/engine/moment.h"
#include "drivers/embedded/engine/typing.h"
#include "model/text.h"

namespace kelvane::embedded {
namespace {

using tsql::ServerError;

// soundex and difference

bool isLetter(char c) { return std::isalpha(static_cast<unsigned char>(c)) != 0; }

// A first letter and the digits of the consonants behind it. Of neighbours with the same digit only
// one counts, but the first letter hides none; what is no letter ends the word.
std::string soundex(std::string_view text) {
  static constexpr std::string_view kDigits = "01230120022455012623010202";  // of a to z
  constexpr std::size_t kLength = 4;
  if (text.empty() || !isLetter(text.front())) return std::string(kLength, '0');
  std::string code(1, static_cast<char>(std::toupper(static_cast<unsigned char>(text.front()))));
  char last = '0';
  for (const char c : text.substr(1)) {
    if (!isLetter(c) || code.size() == kLength) break;
    const char digit =
        kDigits[static_cast<std::size_t>(std::tolower(static_cast<unsigned char>(c)) - 'a')];
    if (digit != '0' && digit != last) code += digit;
    last = digit;
  }
  code.resize(kLength, '0');
  return code;
}

void soundOf(FunctionCall& call) {
  if (!anyNull(call)) call.result(std::string_view(soundex(call.text(0))));
}

void likeness(FunctionCall& call) {
  if (anyNull(call)) return;
  const std::string a = soundex(call.text(0)), b = soundex(call.text(1));
  int same = 0;
  for (std::size_t i = 0; i < a.size(); ++i) same += a[i] == b[i] ? 1 : 0;
  call.result(same);
}

// letters

struct LetterRange {
  char16_t first, last;  // small ones
  int distance;          // from a capital
  int step = 1;          // 2 where small and capital ones alternate
};
// Latin, Greek and Cyrillic.
constexpr LetterRange kSmallLetters[] = {
    {u'a', u'z', 0x20},   {0xE0, 0xF6, 0x20},   {0xF8, 0xFE, 0x20},   {0xFF, 0xFF, 0xFF - 0x178},
    {0x101, 0x12F, 1, 2}, {0x133, 0x137, 1, 2}, {0x13A, 0x148, 1, 2}, {0x14B, 0x177, 1, 2},
    {0x17A, 0x17E, 1, 2}, {0x3AC, 0x3AC, 0x26}, {0x3AD, 0x3AF, 0x25}, {0x3B1, 0x3C1, 0x20},
    {0x3C3, 0x3CB, 0x20}, {0x3CC, 0x3CC, 0x40}, {0x3CD, 0x3CE, 0x3F}, {0x430, 0x44F, 0x20},
    {0x450, 0x45F, 0x50},
};

char16_t recased(char16_t letter, bool toUpper) {
  for (const LetterRange& range : kSmallLetters) {
    const int small = toUpper ? letter : letter + range.distance;
    if (small < range.first || small > range.last || (small - range.first) % range.step != 0) {
      continue;
    }
    return static_cast<char16_t>(toUpper ? small - range.distance : small);
  }
  return letter;
}

void recase(FunctionCall& call, bool toUpper) {
  if (anyNull(call)) return;
  const std::string_view given = call.text(0);
  if (std::ranges::all_of(given, [](char c) { return static_cast<unsigned char>(c) < 0x80; })) {
    std::string ascii(given);
    for (char& c : ascii) {
      const auto byte = static_cast<unsigned char>(c);
      c = static_cast<char>(toUpper ? std::toupper(byte) : std::tolower(byte));
    }
    return call.result(std::string_view(ascii));
  }
  std::u16string text = toUtf16(given);
  for (char16_t& letter : text) letter = recased(letter, toUpper);
  call.result(std::string_view(toUtf8(text)));
}

// numbers as texts

std::string fixedText(const Cell& value, int decimals) {
  if (const auto exact = decimalOf(value)) return exactText(cellOf(*exact), decimals);
  std::array<char, 400> buffer{};
  const auto* real = std::get_if<double>(&value);
  std::snprintf(buffer.data(), buffer.size(), "%.*f", decimals, real == nullptr ? 0.0 : *real);
  return buffer.data();
}

// As many digits behind the point as there is room for; asterisks when even the rest does not fit.
void numberText(FunctionCall& call) {
  constexpr std::int64_t kDefaultWidth = 10, kWidest = 255, kMostDecimals = 16;
  if (call.isNull(0)) return;
  const auto width = static_cast<std::size_t>(
      std::clamp<std::int64_t>(call.isNull(1) ? kDefaultWidth : call.integer(1), 1, kWidest));
  const Cell third = call.cell(2);
  const auto* fill = std::get_if<std::string>(&third);
  const Cell value = call.cell(0);
  std::string text;
  if (fill != nullptr) {
    text = fixedText(value, static_cast<int>(call.integer(3)));
  } else {
    auto decimals =
        std::clamp<std::int64_t>(call.isNull(2) ? 0 : call.integer(2), 0, kMostDecimals);
    text = fixedText(value, static_cast<int>(decimals));
    while (text.size() > width && decimals > 0)
      text = fixedText(value, static_cast<int>(--decimals));
  }
  if (text.size() > width) text.assign(width, '*');
  const char filling = fill != nullptr && !fill->empty() ? fill->front() : ' ';
  text.insert(0, width - text.size(), filling);
  call.result(std::string_view(text));
}

// hexadecimal digits

bool isHexText(std::string_view digits) {
  return std::ranges::all_of(digits,
                             [](char c) { return std::isxdigit(static_cast<unsigned char>(c)); });
}

// (text, digits of the result): with or without 0x, filled up with zeros on the left.
void hexToInteger(FunctionCall& call) {
  if (anyNull(call)) return;
  std::string_view digits = storedText(call.text(0));
  if (digits.starts_with("0x") || digits.starts_with("0X")) digits.remove_prefix(2);
  const auto most = static_cast<std::size_t>(call.integer(1));
  if (digits.empty() || digits.size() > most || !isHexText(digits)) {
    throw ServerError(message::badConversion, kUnknownLine, "explicit", "VARCHAR", call.text(0),
                      (most == 8 ? "INT" : "BIGINT"));
  }
  std::uint64_t value = 0;
  std::from_chars(digits.data(), digits.data() + digits.size(), value, 16);
  call.result(most == 8 ? std::int64_t{static_cast<std::int32_t>(value)}
                        : static_cast<std::int64_t>(value));
}

void integerToHex(FunctionCall& call) {
  if (anyNull(call)) return;
  const bool isShort = call.integer(1) == 8;
  std::array<char, 20> buffer{};
  std::snprintf(
      buffer.data(), buffer.size(), isShort ? "%08llX" : "%016llX",
      static_cast<unsigned long long>(call.integer(0)) & (isShort ? 0xFFFFFFFFULL : ~0ULL));
  call.result(std::string_view(buffer.data()));
}

void bytesToText(FunctionCall& call) {
  const Cell cell = call.cell(0);
  if (const auto* bytes = std::get_if<Blob>(&cell)) textResult(call, hexDigits(*bytes));
}

void textToBytes(FunctionCall& call) {
  if (call.isNull(0)) return;
  const std::string_view digits = storedText(call.text(0));
  if (isHexText(digits)) call.result(Cell(bytesOfHex(digits)));
}

// what a text can become

bool isNumberText(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
  if (text.empty()) return false;
  std::string digits(storedText(text));
  if (digits.front() == '+' || digits.front() == '-') digits.erase(0, 1);
  const bool isMoney = digits.starts_with('$');
  if (isMoney) digits.erase(0, 1);
  if (digits.empty() || digits == ".") return true;  // which convert() takes for zero
  if (isMoney) std::erase(digits, ',');
  if (digits.find_first_not_of("0123456789.eE+-") != std::string::npos) return false;
  const char first = digits.front();
  if (first != '.' && std::isdigit(static_cast<unsigned char>(first)) == 0) return false;
  double value = 0;
  const char* const end = digits.data() + digits.size();
  const auto [rest, error] = std::from_chars(digits.data(), end, value);
  return error == std::errc() && rest == end;
}

void isNumeric(FunctionCall& call) {
  call.result(!call.isNull(0) && isNumberText(call.text(0)) ? 1 : 0);
}

void isDate(FunctionCall& call) {
  constexpr int kFirstYear = 1753;
  const auto moment = call.isNull(0) ? std::nullopt : parseMoment(call.text(0));
  call.result(moment && calendarOf(*moment).year >= kFirstYear ? 1 : 0);
}

// (text, most characters)
void validName(FunctionCall& call) {
  if (call.isNull(0)) return;
  const std::string_view name = call.text(0);
  const std::int64_t most = call.isNull(1) ? 30 : call.integer(1);
  const auto starts = [](char c) {
    return isLetter(c) || c == '_' || static_cast<unsigned char>(c) >= 0x80;
  };
  const auto continues = [&](char c) {
    return starts(c) || std::isdigit(static_cast<unsigned char>(c)) != 0 || c == '$' || c == '#' ||
           c == '@';
  };
  const bool valid = !name.empty() && starts(name.front()) &&
                     std::ranges::all_of(name, continues) && Characters(name).count() <= most;
  call.result(valid ? 1 : 0);
}

// Unicode

constexpr std::uint32_t kFirstSurrogate = 0xD800, kFirstLow = 0xDC00, kLastSurrogate = 0xDFFF;

void toUnichar(FunctionCall& call) {
  constexpr std::int64_t kLast = 0x10FFFF;
  if (call.isNull(0)) return;
  const std::int64_t code = call.integer(0);
  if (code < 0 || code > kLast || (code >= kFirstSurrogate && code <= kLastSurrogate)) {
    throw ServerError(message::notUnicode, kUnknownLine, code);
  }
  std::u16string text;
  constexpr std::int64_t kFirstPair = 0x10000;
  if (code >= kFirstPair) {
    text += static_cast<char16_t>(kFirstSurrogate + ((code - kFirstPair) >> 10));
    text += static_cast<char16_t>(kFirstLow + ((code - kFirstPair) & 0x3FF));
  } else {
    text += static_cast<char16_t>(code);
  }
  call.result(std::string_view(toUtf8(text)));
}

// (text, position from 1, whether the high half is asked for)
void isSurrogate(FunctionCall& call) {
  if (anyNull(call)) return;
  const std::u16string text = toUtf16(call.text(0));
  const std::int64_t at = call.integer(1) - 1;
  if (at < 0 || at >= static_cast<std::int64_t>(text.size())) return;
  const std::uint32_t unit = text[static_cast<std::size_t>(at)];
  const std::uint32_t first = call.integer(2) != 0 ? kFirstSurrogate : kFirstLow;
  constexpr std::uint32_t kEach = 0x400;
  call.result(unit >= first && unit < first + kEach ? 1 : 0);
}

// order

// Collations whose order is that of the bytes.
bool isBinaryCollation(const Cell& collation) {
  constexpr std::int64_t kUtf8Binary = 24, kBinary = 50;
  if (isNull(collation)) return true;
  if (const auto* id = std::get_if<std::int64_t>(&collation)) {
    return *id == kUtf8Binary || *id == kBinary;
  }
  const auto* name = std::get_if<std::string>(&collation);
  return name != nullptr && (*name == "binary" || *name == "utf8bin");
}

void requireBinary(const Cell& collation, const char* function) {
  if (isBinaryCollation(collation)) return;
  const auto* name = std::get_if<std::string>(&collation);
  throw ServerError(message::onlyBinaryCollation, kUnknownLine, function,
                    (name != nullptr ? *name : textOf(collation, intType(), 0)));
}

void compareTexts(FunctionCall& call) {
  if (call.isNull(0) || call.isNull(1)) return;
  requireBinary(call.cell(2), "compare()");
  const int order = storedText(call.text(0)).compare(storedText(call.text(1)));
  call.result(order < 0 ? -1 : order > 0 ? 1 : 0);
}

void sortKeyOf(FunctionCall& call) {
  if (call.isNull(0)) return;
  constexpr std::int64_t kUnicode = 20;  // the default of the server
  requireBinary(call.isNull(1) ? Cell(kUnicode) : call.cell(1), "sortkey()");
  call.result(Cell(bytesOf(storedText(call.text(0)))));
}

// digests

// (value, its type in four numbers, the word behind `using`)
void bytesInMemory(FunctionCall& call) {
  if (call.isNull(0)) return;
  ColumnType type;
  type.kind = static_cast<TypeKind>(call.integer(1));
  type.length = static_cast<int>(call.integer(2));
  if (call.integer(3) != 0) {
    type.precision = static_cast<int>(call.integer(3));
    type.scale = static_cast<int>(call.integer(4));
  }
  const std::string_view order = call.text(5);
  if (isCharacter(type.kind) && order.starts_with("unicode")) type.kind = TypeKind::Univarchar;
  call.result(Cell(memoryBytes(
      call.cell(0), type, order.ends_with("msb") ? ByteOrder::HighFirst : ByteOrder::LowFirst)));
}

// (algorithm, `text` or `bytes`, parts...): nothing for a text of nothing but nulls.
void digestOf(FunctionCall& call) {
  Blob bytes;
  bool any = false;
  for (int i = 2; i < call.count(); ++i) {
    const Cell cell = call.cell(i);
    const auto* part = std::get_if<Blob>(&cell);
    if (part == nullptr) continue;
    any = true;
    bytes.insert(bytes.end(), part->begin(), part->end());
  }
  const bool asText = call.text(1) == "text";
  const bool isMd5 = call.text(0) == "md5";
  if (asText && !any) return;
  const Blob digest = isMd5 ? md5(bytes) : sha1(bytes);
  call.result(asText ? Cell(hexDigits(digest)) : Cell(digest));
}

}  // namespace

void registerTextFunctions(Database& store) {
  struct Named {
    const char* name;
    int count;
    void (*function)(FunctionCall&);
  };
  constexpr int kAnyCount = -1;
  for (const Named& named : {Named{"sound_of", 1, soundOf},
                             {"likeness", 2, likeness},
                             {"number_text", 4, numberText},
                             {"hex_to_integer", 2, hexToInteger},
                             {"integer_to_hex", 2, integerToHex},
                             {"bytes_to_text", 1, bytesToText},
                             {"text_to_bytes", 1, textToBytes},
                             {"is_number", 1, isNumeric},
                             {"is_date", 1, isDate},
                             {"valid_identifier", 2, validName},
                             {"to_unichar", 1, toUnichar},
                             {"is_surrogate", 3, isSurrogate},
                             {"compare_texts", 3, compareTexts},
                             {"sort_key_of", 2, sortKeyOf},
                             {"bytes_in_memory", 6, bytesInMemory},
                             {"lower_text", 1, [](FunctionCall& c) { recase(c, false); }},
                             {"upper_text", 1, [](FunctionCall& c) { recase(c, true); }},
                             {"digest_of", kAnyCount, digestOf}}) {
    store.addFunction(named.name, named.count, FunctionKind::Fixed, named.function);
  }
}

}  // namespace kelvane::embedded
