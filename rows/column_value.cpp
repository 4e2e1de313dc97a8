#include "rows/column_value.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cmath>
#include <optional>
#include <span>
#include <utility>

#include "inventory/shown.h"
#include "model/text.h"
#include "rows/stored_type.h"

namespace kelvane::rows {
namespace {

using Kind = ValueType::Kind;
using Parts = ado::DateTime::Parts;

constexpr std::int64_t kSecond = 1'000'000'000, kMinute = 60 * kSecond, kDay = 1440 * kMinute;

/// As much of a text as a message has room for.
std::string quoted(std::string_view text) {
  constexpr std::size_t kMost = 40;
  if (text.size() <= kMost) return "'" + std::string(text) + "'";
  std::size_t end = kMost;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U) --end;
  return "'" + std::string(text.substr(0, end)) + "...'";
}

[[noreturn]] void refuse(std::string_view text, const ValueType& type, std::string_view expected) {
  throw BadValue(quoted(text) + " is no value of type " + type.name + "; " + std::string(expected));
}

constexpr bool isDigit(char c) { return c >= '0' && c <= '9'; }

/// Digits without zeros in front of them, and how many of them are decimals.
struct Digits {
  bool negative = false;
  std::string digits = {};
  int decimals = 0;

  bool operator==(const Digits&) const = default;
};

/// None where it is no number, or one that nobody writes out: 1e999.
std::optional<Digits> digitsOf(std::string_view text) {
  Digits result;
  std::size_t at = 0;
  if (at < text.size() && (text[at] == '-' || text[at] == '+')) result.negative = text[at++] == '-';
  bool hasDigits = false, isFraction = false;
  for (; at < text.size() && (isDigit(text[at]) || (text[at] == '.' && !isFraction)); ++at) {
    if (text[at] == '.') {
      isFraction = true;
      continue;
    }
    hasDigits = true;
    if (isFraction) ++result.decimals;
    result.digits += text[at];
  }
  if (!hasDigits) return std::nullopt;
  if (at < text.size() && (text[at] == 'e' || text[at] == 'E')) {
    if (++at < text.size() && text[at] == '+') ++at;
    int exponent = 0;
    const auto [end, error] =
        std::from_chars(text.data() + at, text.data() + text.size(), exponent);
    if (error != std::errc() || exponent > 400 || exponent < -400) return std::nullopt;
    at = static_cast<std::size_t>(end - text.data());
    result.decimals -= exponent;
  }
  if (at != text.size()) return std::nullopt;
  result.digits.erase(0, std::min(result.digits.find_first_not_of('0'), result.digits.size()));
  while (result.decimals > 0 && result.digits.ends_with('0')) {
    result.digits.pop_back();
    --result.decimals;
  }
  if (result.digits.empty()) return Digits{};
  if (result.decimals < 0) {
    result.digits.append(static_cast<std::size_t>(-result.decimals), '0');
    result.decimals = 0;
  }
  return result;
}

constexpr std::size_t kMostDigits = 38;

/// Of at most 38 digits.
ado::Decimal decimalOf(const Digits& number) {
  ado::Decimal result;
  for (const char digit : number.digits) {
    std::uint64_t carry = static_cast<std::uint64_t>(digit - '0');
    for (std::uint64_t& word : result.magnitude) {
      const std::uint64_t low = (word & 0xFFFFFFFFU) * 10 + carry;
      const std::uint64_t high = (word >> 32U) * 10 + (low >> 32U);
      word = (high << 32U) | (low & 0xFFFFFFFFU);
      carry = high >> 32U;
    }
  }
  result.scale = static_cast<std::uint8_t>(number.decimals);
  result.negative = number.negative;
  return result;
}

bool isGreater(const std::string& one, const std::string& other) {
  return one.size() != other.size() ? one.size() > other.size() : one > other;
}

ado::Value exactOf(std::string_view text, const ValueType& type) {
  const auto number = digitsOf(text);
  if (!number || number->digits.size() > kMostDigits || number->decimals > 38)
    refuse(text, type, "a number such as 1250 or -0.5 is expected");
  if (number->decimals > type.decimals) {
    refuse(text, type,
           type.decimals == 0
               ? "a whole number is expected"
               : "it has more decimals than the " + std::to_string(type.decimals) + " of the type");
  }
  if (type.isInteger) {
    const Digits bound = *digitsOf(number->negative ? type.least : type.most);
    if (isGreater(number->digits, bound.digits))
      refuse(text, type,
             "it is not between " + std::string(type.least) + " and " + std::string(type.most));
  } else if (static_cast<int>(number->digits.size()) - number->decimals >
             type.digits - type.decimals) {
    refuse(text, type, "it has too many digits before the point");
  }
  return decimalOf(*number);
}

template <class Float>
ado::Value floatOf(std::string_view text, const ValueType& type) {
  Float number = 0;
  std::string_view digits = text;
  if (digits.starts_with('+')) digits.remove_prefix(1);
  const char* const end = digits.data() + digits.size();
  const auto [stop, error] = std::from_chars(digits.data(), end, number);
  if (error != std::errc() || stop != end || !std::isfinite(number))
    refuse(text, type, "a number such as 1.5 or 2e-7 within the range of the type is expected");
  return number;
}

ado::Value bitOf(std::string_view text, const ValueType& type) {
  const std::u16string word = foldCase(toUtf16(text));
  if (word == u"1" || word == u"true") return true;
  if (word == u"0" || word == u"false") return false;
  refuse(text, type, "0, 1, true or false is expected");
}

ado::Value bytesOf(std::string_view text, const ValueType& type, ValueStorage& storage) {
  const auto valueOfDigit = [](char c) -> unsigned {
    if (isDigit(c)) return static_cast<unsigned>(c - '0');
    const char small = static_cast<char>(c | 0x20);
    return small >= 'a' && small <= 'f' ? static_cast<unsigned>(small - 'a' + 10) : 16;
  };
  std::string_view digits = text;
  if (digits.starts_with("0x") || digits.starts_with("0X")) digits.remove_prefix(2);
  const bool isHex = std::ranges::all_of(digits, [&](char c) { return valueOfDigit(c) < 16; }) &&
                     digits.size() % 2 == 0 && !text.empty();
  if (!isHex) refuse(text, type, "0x and an even number of hexadecimal digits are expected");
  storage.bytes.clear();
  for (std::size_t at = 0; at < digits.size(); at += 2)
    storage.bytes.push_back(
        static_cast<std::byte>(valueOfDigit(digits[at]) << 4U | valueOfDigit(digits[at + 1])));
  if (storage.bytes.size() < type.filledTo) storage.bytes.resize(type.filledTo);
  return ado::Bytes(storage.bytes);
}

/// Takes a date and a time of day off a text: as ISO has them, and as a server writes them
/// (Jan  2 2024  3:04:05:006PM).
class MomentScanner {
 public:
  explicit MomentScanner(std::string_view text) : rest_(text) {}

  std::optional<ado::DateTime> scan() {
    ado::DateTime moment;
    const auto day = scanDay();
    const bool hasDay = day.has_value();
    if (hasDay) {
      moment.days = *day;
      if (!rest_.empty() && rest_.front() == 'T') rest_.remove_prefix(1);
      skipBlanks();
      if (rest_.empty()) {
        moment.parts = Parts::dateOnly;
        return moment;
      }
    }
    const auto time = scanTime();
    if (!time || !rest_.empty()) return std::nullopt;
    moment.nanoseconds = *time;
    moment.parts = hasDay ? Parts::both : Parts::timeOnly;
    return moment;
  }

 private:
  void skipBlanks() { rest_.remove_prefix(std::min(rest_.find_first_not_of(' '), rest_.size())); }
  bool take(char c) {
    if (rest_.empty() || rest_.front() != c) return false;
    rest_.remove_prefix(1);
    return true;
  }
  std::optional<int> number(std::size_t least, std::size_t most) {
    std::size_t size = 0;
    int value = 0;
    while (size < rest_.size() && size < most && isDigit(rest_[size]))
      value = value * 10 + (rest_[size++] - '0');
    if (size < least) return std::nullopt;
    rest_.remove_prefix(size);
    return value;
  }

  static std::optional<std::int32_t> dayOf(int year, int month, int day) {
    using namespace std::chrono;
    const year_month_day date{std::chrono::year{year}, std::chrono::month{unsigned(month)},
                              std::chrono::day{unsigned(day)}};
    if (!date.ok() || year < 1) return std::nullopt;
    return static_cast<std::int32_t>(
        (sys_days(date) - sys_days(std::chrono::year{1900} / January / 1)).count());
  }

  /// None, and nothing taken, where there is no date.
  std::optional<std::int32_t> scanDay() {
    const std::string_view begin = rest_;
    if (const auto day = scanNamedMonth()) return day;
    rest_ = begin;
    if (const auto year = number(4, 4)) {
      const bool isParted = take('-');
      const auto month = number(2, 2);
      if (month && take('-') == isParted) {
        if (const auto day = number(2, 2)) return dayOf(*year, *month, *day);
      }
    }
    rest_ = begin;
    return std::nullopt;
  }
  std::optional<std::int32_t> scanNamedMonth() {
    constexpr std::string_view kMonths = "janfebmaraprmayjunjulaugsepoctnovdec";
    if (rest_.size() < 3) return std::nullopt;
    std::string word(rest_.substr(0, 3));
    for (char& c : word) c = static_cast<char>(c | 0x20);
    std::size_t month = 0;
    while (month < 12 && kMonths.substr(month * 3, 3) != word) ++month;
    if (month == 12) return std::nullopt;
    rest_.remove_prefix(3);
    skipBlanks();
    const auto day = number(1, 2);
    skipBlanks();
    const auto year = day ? number(4, 4) : std::nullopt;
    return year ? dayOf(*year, static_cast<int>(month) + 1, *day) : std::nullopt;
  }

  std::optional<std::int64_t> scanTime() {
    const auto hour = number(1, 2);
    if (!hour || !take(':')) return std::nullopt;
    const auto minute = number(2, 2);
    if (!minute || *minute > 59) return std::nullopt;
    int second = 0;
    std::int64_t fraction = 0;
    if (take(':')) {
      const auto seconds = number(2, 2);
      if (!seconds || *seconds > 59) return std::nullopt;
      second = *seconds;
      if (take(':')) {
        const auto thousandths = number(3, 3);
        if (!thousandths) return std::nullopt;
        fraction = std::int64_t{*thousandths} * 1'000'000;
      } else if (take('.')) {
        const std::size_t size = std::min(rest_.find_first_not_of("0123456789"), rest_.size());
        const auto digits = number(1, 9);
        if (!digits || size > 9) return std::nullopt;
        fraction = *digits;
        for (std::size_t at = size; at < 9; ++at) fraction *= 10;
      }
    }
    const auto wholeHour = behindHalves(*hour);
    if (!wholeHour) return std::nullopt;
    return ((std::int64_t{*wholeHour} * 60 + *minute) * 60 + second) * kSecond + fraction;
  }
  std::optional<int> behindHalves(int hour) {
    skipBlanks();
    const bool isFirst = rest_ == "AM" || rest_ == "am", isSecond = rest_ == "PM" || rest_ == "pm";
    if (!isFirst && !isSecond) return hour <= 23 ? std::optional(hour) : std::nullopt;
    rest_ = {};
    if (hour < 1 || hour > 12) return std::nullopt;
    return hour % 12 + (isSecond ? 12 : 0);
  }

  std::string_view rest_;
};

/// To what the type can keep, as the server rounds.
ado::DateTime rounded(ado::DateTime moment, const ValueType& type) {
  std::int64_t& time = moment.nanoseconds;
  if (type.unit > 0) {
    time = (time + type.unit / 2) / type.unit * type.unit;
  } else {
    // Drivers give a 300th as the nearest thousandth: .003, .007, .010.
    const std::int64_t ticks = (time * 3 + 5'000'000) / 10'000'000;
    time = (ticks * 10 + 1) / 3 * 1'000'000;
  }
  if (time >= kDay && moment.parts != Parts::timeOnly) {
    time -= kDay;
    ++moment.days;
  }
  return moment;
}

ado::Value momentOf(std::string_view text, const ValueType& type) {
  auto moment = MomentScanner(text).scan();
  const bool hasDay = moment && moment->parts != Parts::timeOnly;
  const bool wantsDay = type.parts != Parts::timeOnly;
  // A day alone is its beginning; of a time alone nobody knows the day.
  if (moment && wantsDay && !hasDay) moment.reset();
  if (!moment)
    refuse(text, type,
           type.parts == Parts::timeOnly ? "a time such as 13:05:00.123 is expected"
           : type.parts == Parts::dateOnly
               ? "a date such as 2024-02-29 is expected"
               : "a moment such as 2024-02-29 13:05:00.123 is expected");
  if (type.parts == Parts::timeOnly) {
    if (hasDay && moment->parts == Parts::dateOnly)
      refuse(text, type, "a time such as 13:05:00.123 is expected");
    moment->days = 0;
  }
  if (type.parts == Parts::dateOnly) {
    if (moment->nanoseconds != 0) refuse(text, type, "a date without a time of day is expected");
  }
  moment->parts = type.parts;
  const ado::DateTime kept = rounded(*moment, type);
  if (type.parts == Parts::timeOnly && kept.nanoseconds >= kDay)
    refuse(text, type, "rounded to what the type keeps, it is the next day");
  if (wantsDay && (kept.days < MomentScanner(type.least).scan()->days ||
                   kept.days > MomentScanner(type.most).scan()->days))
    refuse(text, type,
           "it is not between " + std::string(type.least) + " and " + std::string(type.most));
  return kept;
}

ado::Value textValueOf(std::string_view text, const ValueType& type, ValueStorage& storage) {
  if (type.endsBeforeBlanks) text = text.substr(0, text.find_last_not_of(' ') + 1);
  storage.text = text.empty() && type.hasEmptyAsBlank ? u" " : toUtf16(text);
  return std::u16string_view(storage.text);
}

/// A number of a file that says no more of it. One with too many digits is what is written there,
/// so that none is equal to another one.
ado::Value jsonNumberOf(std::string_view text, const ValueType& type, ValueStorage& storage) {
  const auto number = digitsOf(text);
  if (number && number->digits.size() <= kMostDigits && number->decimals <= 38)
    return decimalOf(*number);
  return textValueOf(text, type, storage);
}

std::string_view called(Spelling spelling) {
  return spelling == Spelling::number ? "a number" : "a truth value";
}

void requireUnicode(std::u16string_view text) {
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (text[at] < 0xD800 || text[at] > 0xDFFF) continue;
    const bool isPair = text[at] < 0xDC00 && at + 1 < text.size() && text[at + 1] >= 0xDC00 &&
                        text[at + 1] <= 0xDFFF;
    if (!isPair) throw BadValue("a text is not valid Unicode, so that UTF-8 cannot hold it");
    ++at;
  }
}

Kind kindOf(const StoredType& type) {
  switch (type.family) {
    case TypeFamily::exact:
      return type.name == "bit" ? Kind::bit : Kind::exact;
    case TypeFamily::single:
      return Kind::single;
    case TypeFamily::approximate:
      return Kind::approximate;
    case TypeFamily::moment:
      return Kind::moment;
    case TypeFamily::bytes:
      return Kind::bytes;
    case TypeFamily::text:
    case TypeFamily::unicode:
      break;
  }
  return Kind::text;
}

}  // namespace

ValueType valueTypeOf(const inventory::DataType& type) {
  ValueType result;
  result.name = inventory::shown(type);
  const StoredType* const stored = storedTypeNamed(type.name);
  if (stored == nullptr || isText(stored->family)) {
    result.hasEmptyAsBlank = true;
    result.endsBeforeBlanks = stored != nullptr && !stored->isLarge;
    return result;
  }
  result.kind = kindOf(*stored);
  result.digits = type.precision ? *type.precision : stored->precision;
  result.decimals = type.scale ? *type.scale : stored->scale;
  result.isInteger = !stored->most.empty() && stored->scale == 0;
  result.least = stored->least;
  result.most = stored->most;
  result.parts = stored->parts;
  result.unit = stored->unit;
  return result;
}

ValueType untypedText() { return {.name = "text"}; }
ValueType untypedJson() { return {.kind = Kind::json, .name = "JSON"}; }

ado::Value valueOf(std::string_view text, Spelling spelling, const ValueType& type,
                   ValueStorage& storage) {
  const bool isNumber = type.kind == Kind::exact || type.kind == Kind::single ||
                        type.kind == Kind::approximate || type.kind == Kind::bit;
  const bool fits = spelling == Spelling::text || type.kind == Kind::json ||
                    (spelling == Spelling::number ? isNumber : type.kind == Kind::bit) ||
                    (type.kind == Kind::text && !type.hasEmptyAsBlank);
  if (!fits)
    refuse(text, type, std::string(called(spelling)) + " stands there; write it within quotes");
  switch (type.kind) {
    case Kind::bit:
      return bitOf(text, type);
    case Kind::exact:
      return exactOf(text, type);
    case Kind::single:
      return floatOf<float>(text, type);
    case Kind::approximate:
      return floatOf<double>(text, type);
    case Kind::moment:
      return momentOf(text, type);
    case Kind::bytes:
      return bytesOf(text, type, storage);
    case Kind::json:
      if (spelling == Spelling::number) return jsonNumberOf(text, type, storage);
      if (spelling == Spelling::truth) return text == "true";
      break;
    case Kind::text:
      break;
  }
  return textValueOf(text, type, storage);
}

std::string textOf(const ado::Value& value, const ValueType& type) {
  if (type.kind == Kind::exact && type.decimals > 0) {
    std::string text = toUtf8(value.toText());
    const std::size_t point = text.find('.');
    const std::size_t has = point == std::string::npos ? 0 : text.size() - point - 1;
    if (point == std::string::npos) text += '.';
    const auto wanted = static_cast<std::size_t>(type.decimals);
    if (has < wanted) text.append(wanted - has, '0');
    return text;
  }
  if (const auto* text = std::get_if<std::u16string_view>(&value)) requireUnicode(*text);
  return toUtf8(value.toText());
}

}  // namespace kelvane::rows
