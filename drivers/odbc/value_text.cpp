#include "drivers/odbc/value_text.h"

#include <charconv>

namespace kelvane::odbc {
namespace {

constexpr int kMostDigits = 38;

bool isDigit(char c) { return c >= '0' && c <= '9'; }

std::string_view trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(' ');
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

// Takes a number from the front of `text`, up to `most`, and the separator behind it.
std::optional<std::int64_t> takeNumber(std::string_view& text, int most, char separator) {
  int number = 0;
  const char* const end = text.data() + text.size();
  const auto [behind, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || number < 0 || number > most) return std::nullopt;
  text.remove_prefix(static_cast<std::size_t>(behind - text.data()));
  if (!text.empty()) {
    if (text.front() != separator) return std::nullopt;
    text.remove_prefix(1);
  }
  return number;
}

}  // namespace

std::optional<ado::Decimal> decimalOf(std::string_view text, int scale) {
  text = trimmed(text);
  ado::Decimal decimal;
  if (!text.empty() && (text.front() == '-' || text.front() == '+')) {
    decimal.negative = text.front() == '-';
    text.remove_prefix(1);
  }
  unsigned __int128 magnitude = 0;
  int digits = 0;
  int decimals = 0;
  bool behindPoint = false;
  bool anyDigit = false;
  const auto add = [&](char digit) {
    magnitude = magnitude * 10 + static_cast<unsigned>(digit - '0');
    digits += magnitude != 0;
    decimals += behindPoint;
    return digits <= kMostDigits && decimals <= kMostDigits;
  };
  for (const char c : text) {
    if (c == '.' && !behindPoint) {
      behindPoint = true;
    } else if (!isDigit(c) || !add(c)) {
      return std::nullopt;
    } else {
      anyDigit = true;
    }
  }
  if (!anyDigit) return std::nullopt;
  behindPoint = true;
  while (decimals < scale) {
    if (!add('0')) return std::nullopt;
  }
  decimal.scale = static_cast<std::uint8_t>(decimals);
  decimal.magnitude = {static_cast<std::uint64_t>(magnitude),
                       static_cast<std::uint64_t>(magnitude >> 64)};
  return decimal;
}

std::optional<ado::DateTime> timeOf(std::string_view text) {
  text = trimmed(text);
  text.remove_prefix(text.rfind(' ') + 1);  // npos + 1 is the start
  const auto hours = takeNumber(text, 23, ':');
  const auto minutes = takeNumber(text, 59, ':');
  const auto seconds = text.empty() ? 0 : takeNumber(text, 59, '.');
  if (!hours || !minutes || !seconds || text.size() > 9) return std::nullopt;
  std::int64_t fraction = 0;
  for (std::size_t i = 0; i < 9; ++i) {
    const char digit = i < text.size() ? text[i] : '0';
    if (!isDigit(digit)) return std::nullopt;
    fraction = fraction * 10 + (digit - '0');
  }
  ado::DateTime time;
  time.parts = ado::DateTime::Parts::timeOnly;
  time.nanoseconds = ((*hours * 60 + *minutes) * 60 + *seconds) * 1'000'000'000 + fraction;
  return time;
}

}  // namespace kelvane::odbc
