#include "drivers/embedded/engine/decimal.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace kelvane::embedded {

namespace {

std::string_view trimmed(std::string_view text) {
  const auto first = text.find_first_not_of(" \t\r\n");
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

// magnitudes: digits alone

int digitAt(std::string_view digits, std::size_t fromRight) {
  return fromRight < digits.size() ? digits[digits.size() - 1 - fromRight] - '0' : 0;
}

std::string_view significant(std::string_view digits) {
  digits.remove_prefix(std::min(digits.find_first_not_of('0'), digits.size()));
  return digits;
}

bool isLess(std::string_view a, std::string_view b) {
  a = significant(a);
  b = significant(b);
  return a.size() != b.size() ? a.size() < b.size() : a < b;
}

std::string sum(std::string_view a, std::string_view b) {
  std::string result(std::max(a.size(), b.size()) + 1, '0');
  int carry = 0;
  for (std::size_t i = 0; i < result.size(); ++i) {
    const int digit = digitAt(a, i) + digitAt(b, i) + carry;
    result[result.size() - 1 - i] = static_cast<char>('0' + digit % 10);
    carry = digit / 10;
  }
  return result;
}

// `a` is not less than `b`.
std::string difference(std::string_view a, std::string_view b) {
  std::string result(a.size(), '0');
  int borrow = 0;
  for (std::size_t i = 0; i < result.size(); ++i) {
    int digit = digitAt(a, i) - digitAt(b, i) - borrow;
    borrow = digit < 0 ? 1 : 0;
    if (digit < 0) digit += 10;
    result[result.size() - 1 - i] = static_cast<char>('0' + digit);
  }
  return result;
}

std::string product(std::string_view a, std::string_view b) {
  std::string result(a.size() + b.size(), '0');
  for (std::size_t i = 0; i < a.size(); ++i) {
    int carry = 0;
    for (std::size_t j = 0; j < b.size() || carry != 0; ++j) {
      char& place = result[result.size() - 1 - i - j];
      const int digit = place - '0' + digitAt(a, i) * digitAt(b, j) + carry;
      place = static_cast<char>('0' + digit % 10);
      carry = digit / 10;
    }
  }
  return result;
}

std::string quotient(std::string_view a, std::string_view b) {
  std::string result;
  std::string rest;
  for (const char digit : a) {
    rest += digit;
    char times = '0';
    for (; !isLess(rest, b); ++times) rest = difference(rest, b);
    result += times;
  }
  return result;
}

}  // namespace

std::string Decimal::text() const {
  std::string result = negative ? "-" : "";
  result += whole.empty() ? "0" : whole;
  return fraction.empty() ? result : result + "." + fraction;
}

void Decimal::normalize() {
  whole.erase(0, std::min(whole.find_first_not_of('0'), whole.size()));
  while (!fraction.empty() && fraction.back() == '0') fraction.pop_back();
  if (whole.empty() && fraction.empty()) negative = false;
}

void Decimal::round(std::size_t scale) {
  if (fraction.size() <= scale) return;
  const bool up = fraction[scale] >= '5';
  fraction.resize(scale);
  if (up) {
    const std::string all = sum(whole + fraction, "1");
    fraction = all.substr(all.size() - scale);
    whole = all.substr(0, all.size() - scale);
  }
  normalize();
}

void Decimal::truncate(std::size_t scale) {
  if (fraction.size() > scale) fraction.resize(scale);
  normalize();
}

std::optional<Decimal> parseDecimal(std::string_view text) {
  text = trimmed(text);
  Decimal decimal;
  if (!text.empty() && (text[0] == '-' || text[0] == '+')) {
    decimal.negative = text[0] == '-';
    text = trimmed(text.substr(1));
  }
  if (text.empty() || text == ".") return std::nullopt;
  std::string* part = &decimal.whole;
  for (const char c : text) {
    if (c == '.' && part == &decimal.whole) {
      part = &decimal.fraction;
    } else if (c >= '0' && c <= '9') {
      *part += c;
    } else {
      return std::nullopt;
    }
  }
  decimal.normalize();
  return decimal;
}

std::optional<Decimal> decimalOf(const Cell& value) {
  if (const auto* i = std::get_if<std::int64_t>(&value)) return parseDecimal(std::to_string(*i));
  if (const auto* d = std::get_if<double>(&value)) {
    if (!std::isfinite(*d) || std::abs(*d) >= 1e39) return std::nullopt;
    // Fifteen significant digits are what a double holds exactly. How many of them stand before the
    // point nobody knows but who writes them: a logarithm rounds 999999999999.999 up.
    std::array<char, 400> buffer{};
    std::snprintf(buffer.data(), buffer.size(), "%.14e", *d);
    const int exponent = std::atoi(std::strchr(buffer.data(), 'e') + 1);
    const int decimals = std::clamp(14 - exponent, 0, 38);
    std::snprintf(buffer.data(), buffer.size(), "%.*f", decimals, *d);
    return parseDecimal(buffer.data());
  }
  if (const auto* s = std::get_if<std::string>(&value)) return parseDecimal(*s);
  return std::nullopt;
}

Cell cellOf(const Decimal& value) {
  const std::string text = value.text();
  if (value.fraction.empty()) {
    std::int64_t number = 0;
    const char* const end = text.data() + text.size();
    if (std::from_chars(text.data(), end, number).ec == std::errc()) return number;
  }
  if (value.whole.size() + value.fraction.size() <= 15) {
    return std::strtod(text.c_str(), nullptr);
  }
  return text;
}

Cell cellOfNatural(std::uint64_t value) {
  return cellOf({false, value == 0 ? "" : std::to_string(value), ""});
}

Decimal calculated(char op, const Decimal& a, const Decimal& b, std::size_t scale) {
  if (op == '%') return calculated('-', a, calculated('*', calculated('/', a, b, 0), b, 0), 0);
  std::size_t places = std::max(a.fraction.size(), b.fraction.size());
  const auto aligned = [](const Decimal& value, std::size_t to) {
    return value.whole + value.fraction + std::string(to - value.fraction.size(), '0');
  };
  std::string digits;
  bool negative = a.negative != b.negative;
  if (op == '*') {
    digits = product(a.whole + a.fraction, b.whole + b.fraction);
    places = a.fraction.size() + b.fraction.size();
  } else if (op == '/') {
    digits = quotient(aligned(a, places) + std::string(scale, '0'), aligned(b, places));
    places = scale;
  } else {
    const std::string left = aligned(a, places), right = aligned(b, places);
    const bool adds = negative == (op == '-');
    negative = a.negative;
    if (adds) {
      digits = sum(left, right);
    } else if (isLess(left, right)) {
      digits = difference(std::string(left.size(), '0') + right, left);
      negative = !negative;
    } else {
      digits = difference(std::string(right.size(), '0') + left, right);
    }
  }
  if (digits.size() < places) digits.insert(0, places - digits.size(), '0');
  Decimal result{negative, digits.substr(0, digits.size() - places),
                 digits.substr(digits.size() - places)};
  result.normalize();
  return result;
}

std::string sortKey(const Decimal& value) {
  constexpr std::size_t kPlaces = 38;
  std::string digits(kPlaces - std::min(value.whole.size(), kPlaces), '0');
  digits += value.whole + value.fraction;
  digits.resize(std::max(digits.size(), 2 * kPlaces), '0');
  if (!value.negative) return "p" + digits;
  // The larger the magnitude, the earlier it comes.
  for (char& digit : digits) digit = static_cast<char>('0' + ('9' - digit));
  return "n" + digits;
}

}  // namespace kelvane::embedded
