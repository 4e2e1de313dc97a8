#include "drivers/embedded/engine/convert.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <optional>

#include "drivers/embedded/engine/decimal.h"
#include "drivers/embedded/engine/memory_bytes.h"
#include "drivers/embedded/engine/moment.h"
#include "drivers/embedded/engine/typing.h"

namespace kelvane::embedded {
namespace {

struct Conversion {
  const ColumnType& from;
  const ColumnType& to;
  ConversionRequest request;

  [[noreturn]] void refuse(std::string_view value) const { fail(message::badConversion, value); }
  [[noreturn]] void overflow(std::string_view value) const {
    fail(message::conversionOverflow, value);
  }
  [[noreturn]] void fail(const message::Message<4>& message, std::string_view value) const {
    const bool isImplicit =
        request.form == ConversionForm::Implicit || request.form == ConversionForm::ImplicitCut;
    throw tsql::ServerError(message, request.line, isImplicit ? "implicit" : "explicit",
                            shownName(from.kind), value, shownName(to.kind));
  }
};

std::string_view trimmed(std::string_view text) {
  const auto first = text.find_first_not_of(" \t\r\n");
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

struct IntegerRange {
  TypeKind kind;
  std::int64_t low, high;
};
constexpr std::array kRanges = {IntegerRange{TypeKind::Tinyint, 0, 255},
                                IntegerRange{TypeKind::Smallint, -32768, 32767},
                                IntegerRange{TypeKind::Usmallint, 0, 65535},
                                IntegerRange{TypeKind::Int, -2147483648LL, 2147483647LL},
                                IntegerRange{TypeKind::Uint, 0, 4294967295LL}};

std::string formatReal(double value, int significant) {
  std::array<char, 40> buffer{};
  std::snprintf(buffer.data(), buffer.size(), "%.*g", significant, value);
  return buffer.data();
}

std::string padded(const Decimal& digits, int scale) {
  Decimal rounded = digits;
  rounded.round(static_cast<std::size_t>(scale));
  std::string text = rounded.text();
  if (scale == 0) return text;
  if (rounded.fraction.empty()) text += '.';
  return text.append(static_cast<std::size_t>(scale) - rounded.fraction.size(), '0');
}

Cell cellOfBytes(const Blob& bytes, const Conversion& c) {
  auto value = valueInMemory(bytes, c.to);
  if (!value) c.overflow("0x" + hexDigits(bytes));
  return *std::move(value);
}

Cell toInteger(const Cell& value, const Conversion& c) {
  if (const auto* bytes = std::get_if<Blob>(&value)) return cellOfBytes(*bytes, c);
  auto digits = decimalOf(value);
  // Too large for any exact type.
  if (!digits && std::holds_alternative<double>(value)) c.overflow(textOf(value, c.from, 0));
  const bool isText = isCharacter(c.from.kind);
  if (isText && trimmed(std::get<std::string>(value)).empty()) digits = Decimal{};
  if (!digits || (isText && !digits->fraction.empty())) c.refuse(textOf(value, c.from, 0));
  if (c.to.kind == TypeKind::Bit) {
    return std::int64_t{!digits->whole.empty() || !digits->fraction.empty()};
  }
  // Money is rounded, everything else is cut.
  if (!isExactFraction(c.from.kind) || c.from.precision) digits->fraction.clear();
  digits->round(0);
  const std::string text = digits->text();
  if (c.to.kind == TypeKind::Ubigint) {
    std::uint64_t number = 0;
    const char* const end = text.data() + text.size();
    if (std::from_chars(text.data(), end, number).ec != std::errc()) {
      c.overflow(textOf(value, c.from, 0));
    }
    return cellOf(*digits);
  }
  std::int64_t number = 0;
  if (std::from_chars(text.data(), text.data() + text.size(), number).ec != std::errc())
    c.overflow(textOf(value, c.from, 0));
  if (!isInRange(number, c.to.kind)) c.overflow(textOf(value, c.from, 0));
  return number;
}

Cell toExactFraction(const Cell& value, const Conversion& c) {
  if (const auto* bytes = std::get_if<Blob>(&value)) return cellOfBytes(*bytes, c);
  auto digits = decimalOf(value);
  if (!digits && std::holds_alternative<double>(value)) c.overflow(textOf(value, c.from, 0));
  if (!digits && isCharacter(c.from.kind)) {
    // Money may be written with its sign and thousands.
    std::string text(std::get<std::string>(value));
    std::erase_if(text, [](char ch) { return ch == '$' || ch == ','; });
    if (!isExactFraction(c.to.kind) || c.to.precision) text = std::get<std::string>(value);
    digits = trimmed(text).empty() ? Decimal{} : parseDecimal(text);
  }
  if (!digits) c.refuse(textOf(value, c.from, 0));
  const auto scale = static_cast<std::size_t>(scaleOf(c.to));
  const auto isNumeric = [](TypeKind kind) {
    return kind == TypeKind::Numeric || kind == TypeKind::Decimal;
  };
  const bool mayLose =
      digits->fraction.size() > scale && isNumeric(c.from.kind) && isNumeric(c.to.kind);
  if (mayLose && c.request.form == ConversionForm::Implicit) {
    c.fail(message::scaleLost, textOf(value, c.from, 0));
  }
  if (mayLose && c.request.form != ConversionForm::Computed) digits->truncate(scale);
  digits->round(scale);
  const bool fits = isNumeric(c.to.kind)
                        ? static_cast<int>(digits->whole.size()) <= wholeDigits(c.to)
                        : isMoney(*digits, c.to.kind);
  if (!fits) c.overflow(textOf(value, c.from, 0));
  return cellOf(*digits);
}

Cell toApproximate(const Cell& value, const Conversion& c) {
  if (const auto* bytes = std::get_if<Blob>(&value)) return cellOfBytes(*bytes, c);
  double number = 0;
  if (const auto* d = std::get_if<double>(&value)) {
    number = *d;
  } else if (const auto* i = std::get_if<std::int64_t>(&value)) {
    number = static_cast<double>(*i);
  } else if (const auto* s = std::get_if<std::string>(&value)) {
    const std::string text(trimmed(*s));
    char* end = nullptr;
    // Words and hexadecimal digits are numbers to C alone.
    if (text.find_first_not_of("+-.0123456789eE") != text.npos) c.refuse(text);
    number = std::strtod(text.c_str(), &end);
    if (*end != '\0') c.refuse(text);
  }
  if (!isReal(number, c.to.kind)) c.overflow(textOf(value, c.from, 0));
  if (c.to.kind == TypeKind::Real) number = static_cast<double>(static_cast<float>(number));
  return number;
}

Cell toMoment(const Cell& value, const Conversion& c) {
  if (const auto* bytes = std::get_if<Blob>(&value)) return cellOfBytes(*bytes, c);
  Moment moment = 0;
  if (isTemporal(c.from.kind)) {
    moment = std::get<std::int64_t>(value);
  } else {
    const std::string text = textOf(value, c.from, 0);
    const auto parsed = parseMoment(text);
    if (!parsed) c.refuse(text);
    moment = *parsed;
  }
  const auto stored = storedMoment(moment, c.to.kind);
  if (!stored) c.overflow(textOf(value, c.from, 0));
  return *stored;
}

Cell toBinary(const Cell& value, const Conversion& c) {
  const auto* text = isCharacter(c.from.kind) ? std::get_if<std::string>(&value) : nullptr;
  const bool isHex = text != nullptr && (text->starts_with("0x") || text->starts_with("0X"));
  Blob bytes = isHex ? bytesOfHex(std::string_view(*text).substr(2)) : memoryBytes(value, c.from);
  const auto length = static_cast<std::size_t>(c.to.length);
  if (!isLong(c.to.kind) && (isZeroFilled(c.to) || bytes.size() > length)) bytes.resize(length);
  return bytes;
}

Cell toText(const Cell& value, const Conversion& c) {
  const auto* bytes = isUnicode(c.to.kind) ? std::get_if<Blob>(&value) : nullptr;
  const std::string text = bytes != nullptr ? std::get<std::string>(cellOfBytes(*bytes, c))
                                            : textOf(value, c.from, c.request.style);
  if (isLong(c.to.kind)) return text;
  const std::string_view kept = cutText(text, c.to);
  if (kept.size() < text.size() && isInteger(c.from.kind)) {
    c.fail(message::resultTooNarrow, text);
  }
  return std::string(storedText(kept));
}

// 1234567.89 with a comma before each three digits of the whole.
std::string withCommas(std::string text) {
  const std::size_t first = text.starts_with('-') ? 1 : 0;
  for (std::size_t at = std::min(text.find('.'), text.size()); at > first + 3;) {
    at -= 3;
    text.insert(at, 1, ',');
  }
  return text;
}

}  // namespace

// The server counts money in ten-thousandths, in 8 bytes or 4.
bool isMoney(const Decimal& amount, TypeKind kind) {
  constexpr std::size_t kScale = 4;
  std::string units = (amount.negative ? "-" : "") + amount.whole + amount.fraction;
  units.append(kScale - amount.fraction.size(), '0');
  std::int64_t count = 0;
  const bool isCount =
      std::from_chars(units.data(), units.data() + units.size(), count).ec == std::errc();
  return isCount && (kind != TypeKind::Smallmoney || isInRange(count, TypeKind::Int));
}

bool isReal(double number, TypeKind kind) {
  const double most = kind == TypeKind::Real ? double{std::numeric_limits<float>::max()}
                                             : std::numeric_limits<double>::max();
  return std::abs(number) <= most;
}

std::optional<Moment> storedMoment(Moment moment, TypeKind kind) {
  // What comes behind it would round to the next day.
  constexpr Moment kLastTick = kMicrosecondsPerSecond / 300 + 1;
  const auto isWithin = [](Moment value, const CalendarTime& first, const CalendarTime& end) {
    return value >= momentOf(first) && value < momentOf(end);
  };
  const Moment time = moment - dayOf(moment) * kMicrosecondsPerDay;
  switch (kind) {
    case TypeKind::Datetime: {
      constexpr CalendarTime kEnd{.year = 10000};
      if (!isWithin(moment, {.year = 1753}, kEnd)) return std::nullopt;
      return roundToTicks(std::min(moment, momentOf(kEnd) - kLastTick));
    }
    case TypeKind::Smalldatetime: {
      const Moment rounded = roundToMinutes(moment);
      if (!isWithin(rounded, {.year = 1900}, {.year = 2079, .month = 6, .day = 7})) {
        return std::nullopt;
      }
      return rounded;
    }
    case TypeKind::Date:
      return dayOf(moment) * kMicrosecondsPerDay;
    case TypeKind::Time:
      return roundToTicks(std::min(time, kMicrosecondsPerDay - kLastTick));
    case TypeKind::Bigtime:
      return time;
    default:
      return moment;
  }
}

bool isInRange(std::int64_t value, TypeKind kind) {
  const auto range = std::ranges::find(kRanges, kind, &IntegerRange::kind);
  return range == kRanges.end() || (value >= range->low && value <= range->high);
}

std::string_view storedText(std::string_view text) {
  const auto last = text.find_last_not_of(' ');
  if (last == std::string_view::npos) return " ";
  return text.substr(0, last + 1);
}

std::string_view cutText(std::string_view text, std::size_t bytes) {
  if (text.size() <= bytes) return text;
  while (bytes > 0 && (static_cast<unsigned char>(text[bytes]) & 0xC0U) == 0x80U) --bytes;
  return text.substr(0, bytes);
}

std::string_view cutText(std::string_view text, const ColumnType& type) {
  auto room = static_cast<std::size_t>(type.length);
  if (text.size() <= room && !isUnicode(type.kind)) return text;
  std::size_t at = 0;
  while (at < text.size()) {
    const auto lead = static_cast<unsigned char>(text[at]);
    const std::size_t bytes = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    const std::size_t needed = !isUnicode(type.kind) ? 1 : bytes == 4 ? 4 : 2;
    if (needed > room) break;
    room -= needed;
    at = std::min(at + bytes, text.size());
  }
  return text.substr(0, at);
}

Blob bytesOf(std::string_view text) {
  const auto* data = reinterpret_cast<const std::byte*>(text.data());
  return Blob(data, data + text.size());
}

std::string hexDigits(const Blob& bytes) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (const std::byte b : bytes) {
    text += kDigits[std::to_integer<unsigned>(b) >> 4];
    text += kDigits[std::to_integer<unsigned>(b) & 0xFU];
  }
  return text;
}

Blob bytesOfHex(std::string_view digits) {
  std::string even(digits.size() % 2 == 0 ? "" : "0");
  even += digits;
  Blob bytes;
  for (std::size_t at = 0; at + 1 < even.size(); at += 2) {
    unsigned value = 0;
    std::from_chars(even.data() + at, even.data() + at + 2, value, 16);
    bytes.push_back(static_cast<std::byte>(value));
  }
  return bytes;
}

Cell exactNumber(std::string_view digits) {
  const auto parsed = parseDecimal(digits);
  return parsed ? cellOf(*parsed) : Cell{};
}

Cell realNumber(const std::string& digits) { return std::strtod(digits.c_str(), nullptr); }

std::pair<std::int64_t, std::int64_t> integerRange(TypeKind kind) {
  const auto* range = std::ranges::find(kRanges, kind, &IntegerRange::kind);
  if (range != kRanges.end()) return {range->low, range->high};
  using Limits = std::numeric_limits<std::int64_t>;
  return {kind == TypeKind::Ubigint ? 0 : Limits::min(), Limits::max()};
}

int wholeDigits(const ColumnType& type) {
  constexpr int kOfSmallmoney = 10;
  return (type.kind == TypeKind::Smallmoney ? kOfSmallmoney : precisionOf(type)) - scaleOf(type);
}

std::string exactText(const Cell& value, int scale) {
  const auto digits = decimalOf(value);
  return digits ? padded(*digits, scale) : "0";
}

std::string textOf(const Cell& value, const ColumnType& type, int style) {
  if (isTemporal(type.kind)) {
    const Moment moment = std::get<std::int64_t>(value);
    const bool timeOnly = type.kind == TypeKind::Time || type.kind == TypeKind::Bigtime;
    std::string text = formatMoment(moment, timeOnly && style == 0 ? 17 : style);
    return type.kind == TypeKind::Date && style == 0 ? text.substr(0, 11) : text;
  }
  if (const auto* text = std::get_if<std::string>(&value)) {
    if (isExactFraction(type.kind)) {
      const auto digits = parseDecimal(*text);
      return digits ? padded(*digits, scaleOf(type)) : *text;
    }
    return *text;
  }
  if (const auto* bytes = std::get_if<Blob>(&value)) {
    return std::string(reinterpret_cast<const char*>(bytes->data()), bytes->size());
  }
  if (isExactFraction(type.kind)) {
    const bool money = !type.precision;
    const auto digits = decimalOf(value);
    std::string text = digits ? padded(*digits, money ? 2 : scaleOf(type)) : "";
    return money && style == 1 ? withCommas(std::move(text)) : text;
  }
  if (const auto* number = std::get_if<std::int64_t>(&value)) {
    return isApproximate(type.kind) ? std::to_string(*number) + ".0" : std::to_string(*number);
  }
  const std::string text =
      formatReal(std::get<double>(value), type.kind == TypeKind::Real ? 7 : 15);
  return text.find_first_of(".en") == std::string::npos ? text + ".0" : text;
}

Cell convertCell(const Cell& value, const ColumnType& from, const ColumnType& to,
                 const ConversionRequest& request) {
  if (isNull(value)) return value;
  const Conversion conversion{from, to, request};
  switch (familyOf(to.kind)) {
    case TypeFamily::Character:
      return toText(value, conversion);
    case TypeFamily::Binary:
      return toBinary(value, conversion);
    case TypeFamily::Temporal:
      return toMoment(value, conversion);
    case TypeFamily::Number:
      break;
  }
  if (isInteger(to.kind)) return toInteger(value, conversion);
  return isApproximate(to.kind) ? toApproximate(value, conversion)
                                : toExactFraction(value, conversion);
}

}  // namespace kelvane::embedded
