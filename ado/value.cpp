#include "ado/value.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
#include <iterator>
#include <limits>
#include <optional>
#include <utility>

#include "model/text.h"

namespace kelvane::ado {
namespace {

constexpr std::u16string_view kSource = u"Kelvane.ado";

[[noreturn]] void throwNull() {
  throw RuntimeError(ErrorNumber::invalidNull, u"Invalid use of a null value",
                     std::u16string(kSource));
}
[[noreturn]] void throwMismatch(std::u16string_view wanted) {
  throw RuntimeError(ErrorNumber::typeMismatch,
                     u"The value cannot be converted to " + std::u16string(wanted),
                     std::u16string(kSource));
}

std::u16string widen(const char* begin, const char* end) { return {begin, end}; }

template <class Number>
std::u16string numberText(Number number) {
  char digits[64];
  const auto result = std::to_chars(std::begin(digits), std::end(digits), number);
  return widen(std::begin(digits), result.ptr);
}

// Divides a magnitude by ten in place and returns the remainder.
unsigned divideByTen(std::array<std::uint64_t, 2>& magnitude) {
  std::uint64_t remainder = 0;
  for (std::uint64_t* word : {&magnitude[1], &magnitude[0]}) {
    const std::uint64_t high = (remainder << 32) | (*word >> 32);
    const std::uint64_t low = ((high % 10) << 32) | (*word & 0xFFFFFFFFu);
    *word = ((high / 10) << 32) | (low / 10);
    remainder = low % 10;
  }
  return static_cast<unsigned>(remainder);
}

bool isZero(const std::array<std::uint64_t, 2>& magnitude) {
  return magnitude[0] == 0 && magnitude[1] == 0;
}

// The same number with the fewest decimals, which makes equal numbers equal representations.
Decimal normalized(Decimal number) {
  while (number.scale > 0) {
    auto quotient = number.magnitude;
    if (divideByTen(quotient) != 0) break;
    number.magnitude = quotient;
    --number.scale;
  }
  if (isZero(number.magnitude)) number.negative = false;
  return number;
}

void appendDigit(std::array<std::uint64_t, 2>& magnitude, unsigned digit) {
  std::uint64_t carry = digit;
  for (std::uint64_t& word : magnitude) {
    const std::uint64_t low = (word & 0xFFFFFFFFu) * 10 + carry;
    const std::uint64_t high = (word >> 32) * 10 + (low >> 32);
    word = (high << 32) | (low & 0xFFFFFFFFu);
    carry = high >> 32;
  }
}

// The nearest integer, of two the even one.
Decimal nearestInteger(Decimal number) {
  unsigned first = 0;   // of the decimals
  bool others = false;  // whether one of the others is not 0
  for (; number.scale > 0; --number.scale) {
    others = others || first != 0;
    first = divideByTen(number.magnitude);
  }
  const bool isOdd = (number.magnitude[0] & 1) != 0;
  if (first > 5 || (first == 5 && (others || isOdd))) {
    if (++number.magnitude[0] == 0) ++number.magnitude[1];
  }
  return number;
}

// The nearest number of a floating type; none when that type has none.
template <class Float>
std::optional<Float> rounded(const Decimal& number) {
  if (number.scale == 0 && number.magnitude[1] == 0) {
    const auto magnitude = static_cast<Float>(number.magnitude[0]);
    return number.negative ? -magnitude : magnitude;
  }
  const std::u16string text = number.text();
  const std::string digits(text.begin(), text.end());
  Float result = 0;
  const auto read = std::from_chars(digits.data(), digits.data() + digits.size(), result);
  return read.ec == std::errc() ? std::optional(result) : std::nullopt;
}

template <class Integer>
Decimal toDecimal(Integer number) {
  Decimal result;
  result.negative = number < 0;
  const auto bits = static_cast<std::uint64_t>(number);
  result.magnitude[0] = result.negative ? 0 - bits : bits;
  return result;
}

// An exact number as a Decimal, or none for other values. True counts as -1.
std::optional<Decimal> exactNumber(const Value& value) {
  if (const auto* flag = std::get_if<bool>(&value)) return toDecimal(*flag ? -1 : 0);
  if (const auto* number = std::get_if<std::int64_t>(&value)) return toDecimal(*number);
  if (const auto* number = std::get_if<std::uint64_t>(&value)) return toDecimal(*number);
  if (const auto* number = std::get_if<Decimal>(&value)) return *number;
  return std::nullopt;
}

// Days as automation hosts count them: from 1899-12-30, which is the day of a time without one.
struct SerialMoment {
  std::int64_t day;
  std::int64_t nanoseconds;
  bool operator==(const SerialMoment&) const = default;

  // The time of day counts away from that day, also before it.
  double number() const {
    constexpr double kDay = 86'400e9;
    const double time = static_cast<double>(nanoseconds) / kDay;
    return static_cast<double>(day) + (day < 0 ? -time : time);
  }
};

SerialMoment serialMoment(const DateTime& moment) {
  using enum DateTime::Parts;
  return {moment.parts == timeOnly ? 0 : std::int64_t{moment.days} + 2,
          moment.parts == dateOnly ? 0 : moment.nanoseconds};
}

// A double as a number of the other type; none beyond its range.
template <class Float>
std::optional<Float> narrowed(double number) {
  if (std::isfinite(number) && std::fabs(number) > std::numeric_limits<Float>::max())
    return std::nullopt;
  return static_cast<Float>(number);
}

// A value as a number of a floating type; none for text and bytes.
template <class Float>
std::optional<Float> approximateNumber(const Value& value) {
  if (const auto exact = exactNumber(value)) return rounded<Float>(*exact);
  if (const auto* number = std::get_if<float>(&value)) return *number;
  if (const auto* number = std::get_if<double>(&value)) return narrowed<Float>(*number);
  if (const auto* moment = std::get_if<DateTime>(&value))
    return narrowed<Float>(serialMoment(*moment).number());
  return std::nullopt;
}

template <class Float>
bool differentAs(const Value& a, const Value& b) {
  const auto left = approximateNumber<Float>(a), right = approximateNumber<Float>(b);
  return !left || !right || *left != *right;
}

constexpr std::u16string_view kBlanks = u" \t";

// `text` as a number; none when it is anything else than a number with blanks around it.
std::optional<double> parsedNumber(std::u16string_view text) {
  const auto [number, behind] = leadingNumber(text);
  const bool isNumber = behind.size() < text.size() &&
                        behind.find_first_not_of(kBlanks) == behind.npos && std::isfinite(number);
  return isNumber ? std::optional(number) : std::nullopt;
}

// `text` as an exact number; none for forms and lengths that the type does not have.
std::optional<Decimal> parsedDecimal(std::u16string_view text) {
  constexpr int kMostDigits = 38;
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == text.npos) return std::nullopt;
  text = text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
  Decimal number;
  number.negative = text.front() == u'-';
  if (number.negative || text.front() == u'+') text.remove_prefix(1);
  int digits = 0;
  bool behindPoint = false;
  for (const char16_t unit : text) {
    if (unit == u'.' && !std::exchange(behindPoint, true)) continue;
    if (unit < u'0' || unit > u'9' || ++digits > kMostDigits) return std::nullopt;
    appendDigit(number.magnitude, static_cast<unsigned>(unit - u'0'));
    if (behindPoint) ++number.scale;
  }
  return digits > 0 ? std::optional(number) : std::nullopt;
}

// The number that a conversion works on, for every kind of value that has one.
double numberOf(const Value& value, std::u16string_view wanted) {
  if (value.isNull()) throwNull();
  if (!std::holds_alternative<DateTime>(value)) {
    if (const auto number = approximateNumber<double>(value)) return *number;
  }
  if (const auto* text = std::get_if<std::u16string_view>(&value)) {
    if (const auto number = parsedNumber(*text)) return *number;
  }
  throwMismatch(wanted);
}

// An exact number as a 32-bit integer; none when it does not fit.
std::optional<std::int32_t> toInteger(const Decimal& number) {
  const auto [magnitude, scale, negative] = nearestInteger(number);
  const std::uint64_t most = std::numeric_limits<std::int32_t>::max() + (negative ? 1u : 0u);
  if (magnitude[1] != 0 || magnitude[0] > most) return std::nullopt;
  const auto result = static_cast<std::int64_t>(magnitude[0]);
  return static_cast<std::int32_t>(negative ? -result : result);
}

std::optional<std::int32_t> toInteger(double number) {
  const double nearest = std::nearbyint(number);
  const bool fits = nearest >= std::numeric_limits<std::int32_t>::min() &&
                    nearest <= std::numeric_limits<std::int32_t>::max();
  return fits ? std::optional(static_cast<std::int32_t>(nearest)) : std::nullopt;
}

struct ToText {
  std::u16string operator()(Null) const { throwNull(); }
  std::u16string operator()(bool flag) const { return flag ? u"True" : u"False"; }
  std::u16string operator()(std::int64_t number) const { return numberText(number); }
  std::u16string operator()(std::uint64_t number) const { return numberText(number); }
  std::u16string operator()(float number) const { return numberText(number); }
  std::u16string operator()(double number) const { return numberText(number); }
  std::u16string operator()(const Decimal& number) const { return number.text(); }
  std::u16string operator()(const DateTime& moment) const { return moment.text(); }
  std::u16string operator()(std::u16string_view text) const { return std::u16string(text); }
  std::u16string operator()(Bytes bytes) const {
    constexpr std::u16string_view kDigits = u"0123456789abcdef";
    std::u16string text = u"0x";
    for (std::byte byte : bytes) {
      text.push_back(kDigits[std::to_integer<std::size_t>(byte >> 4)]);
      text.push_back(kDigits[std::to_integer<std::size_t>(byte & std::byte{15})]);
    }
    return text;
  }
};

std::u16string padded(std::int64_t number, std::size_t width) {
  std::u16string digits = decimalText(number);
  return digits.size() < width ? std::u16string(width - digits.size(), u'0') + digits : digits;
}

}  // namespace

std::u16string Decimal::text() const {
  std::u16string reversed;
  auto rest = magnitude;
  while (!isZero(rest) || reversed.size() <= scale) {
    const unsigned digit = divideByTen(rest);
    reversed.push_back(static_cast<char16_t>(u'0' + digit));
  }
  if (negative && !isZero(magnitude)) reversed.push_back(u'-');
  std::u16string result(reversed.rbegin(), reversed.rend());
  if (scale > 0) result.insert(result.size() - scale, 1, u'.');
  return result;
}

bool operator==(const Decimal& a, const Decimal& b) {
  const Decimal left = normalized(a);
  const Decimal right = normalized(b);
  return left.magnitude == right.magnitude && left.scale == right.scale &&
         left.negative == right.negative;
}

std::u16string DateTime::text() const {
  using namespace std::chrono;
  std::u16string result;
  if (parts != Parts::timeOnly) {
    const year_month_day date{sys_days{year{1900} / January / 1} + std::chrono::days{days}};
    result = padded(static_cast<int>(date.year()), 4) + u"-" +
             padded(static_cast<unsigned>(date.month()), 2) + u"-" +
             padded(static_cast<unsigned>(date.day()), 2);
  }
  if (parts == Parts::dateOnly) return result;
  if (!result.empty()) result += u" ";
  const std::int64_t wholeSeconds = nanoseconds / 1'000'000'000;
  result += padded(wholeSeconds / 3600, 2) + u":" + padded(wholeSeconds / 60 % 60, 2) + u":" +
            padded(wholeSeconds % 60, 2);
  if (const std::int64_t fraction = nanoseconds % 1'000'000'000; fraction != 0) {
    std::u16string digits = padded(fraction, 9);
    digits.erase(digits.find_last_not_of(u'0') + 1);
    result += u"." + (digits.size() < 3 ? digits.append(3 - digits.size(), u'0') : digits);
  }
  return result;
}

std::u16string Value::toText() const {
  return std::visit(ToText{}, static_cast<const ValueBase&>(*this));
}

std::int32_t Value::toLong() const {
  constexpr std::u16string_view kWanted = u"a 32-bit integer";
  auto exact = exactNumber(*this);
  if (const auto* text = std::get_if<std::u16string_view>(this)) exact = parsedDecimal(*text);
  const auto number = exact ? toInteger(*exact) : toInteger(numberOf(*this, kWanted));
  if (!number) throwMismatch(kWanted);
  return *number;
}

bool Value::toBoolean() const {
  if (const auto* text = std::get_if<std::u16string_view>(this)) {
    if (equalText(*text, u"True", CaseMode::ignore)) return true;
    if (equalText(*text, u"False", CaseMode::ignore)) return false;
  }
  return numberOf(*this, u"a Boolean") != 0;
}

std::u16string NullToString(const Value& value) {
  return value.isNull() ? std::u16string() : value.toText();
}

std::int32_t NullToLong(const Value& value) { return value.isNull() ? 0 : value.toLong(); }

std::int16_t NullToShort(const Value& value) {
  const std::int32_t number = NullToLong(value);
  if (number < std::numeric_limits<std::int16_t>::min() ||
      number > std::numeric_limits<std::int16_t>::max())
    throwMismatch(u"a 16-bit integer");
  return static_cast<std::int16_t>(number);
}

bool different(const Value& a, const Value& b) {
  if (a.isNull() || b.isNull()) return false;
  if (const auto* text = std::get_if<std::u16string_view>(&a)) {
    const auto* other = std::get_if<std::u16string_view>(&b);
    return !other || *text != *other;
  }
  if (const auto* bytes = std::get_if<Bytes>(&a)) {
    const auto* other = std::get_if<Bytes>(&b);
    return !other || !std::ranges::equal(*bytes, *other);
  }
  const auto* leftMoment = std::get_if<DateTime>(&a);
  const auto* rightMoment = std::get_if<DateTime>(&b);
  if (leftMoment && rightMoment) return serialMoment(*leftMoment) != serialMoment(*rightMoment);
  const auto leftExact = exactNumber(a), rightExact = exactNumber(b);
  if (leftExact && rightExact) return *leftExact != *rightExact;
  const bool single = std::holds_alternative<float>(a) || std::holds_alternative<float>(b);
  return single ? differentAs<float>(a, b) : differentAs<double>(a, b);
}

}  // namespace kelvane::ado
