#include "cli/words/row_options.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <optional>
#include <string_view>
#include <utility>

#include "cli/words/read_only_sql.h"
#include "model/text.h"

namespace kelvane::cli {
namespace {

constexpr std::string_view kColumns = "--columns", kIgnoreCase = "--ignore-case",
                           kIgnoreColumns = "--ignore-columns", kKey = "--key", kMap = "--map",
                           kNullIsEmpty = "--null-is-empty", kToleranceOption = "--tolerance",
                           kTrim = "--trim";

constexpr auto kOptions = std::to_array<Option>({
    {kColumns, kColumnPatterns, "only these columns, besides those of the key (*, ?)"},
    {kIgnoreCase, {}, "ignore upper and lower case in values"},
    {kIgnoreColumns, kColumnPatterns, "leave out these columns (*, ?)"},
    {kKey, kTableKey, "the key of a table, with commas between its columns"},
    {kMap, kHint, "a table or view has another name in the target"},
    {kNullIsEmpty, {}, "null equals a text that is empty or blank; null always equals null"},
    {kToleranceOption, kTolerated,
     "values that differ by no more are equal: price=0.01, datetime=3ms"},
    {kTrim, {}, "ignore blanks at both ends of texts"},
    {kWhere, kCondition, "only rows for which the condition is true"},
});

std::vector<std::string> listOf(std::string_view text) {
  std::vector<std::string> result;
  const std::u16string whole = toUtf16(text);
  for (const std::u16string_view one : split(whole, u',')) result.push_back(toUtf8(one));
  return result;
}

bool isListed(const std::vector<std::string>& list) {
  return !list.empty() && std::ranges::none_of(list, &std::string::empty);
}

std::map<std::string, std::vector<std::string>> keysOf(const Arguments& arguments) {
  std::map<std::string, std::vector<std::string>> keys;
  for (const std::string& text : arguments.values(kKey)) {
    const std::size_t equals = text.find('=');
    std::vector<std::string> key =
        listOf(equals == std::string::npos ? "" : std::string_view(text).substr(equals + 1));
    if (equals == 0 || !isListed(key))
      throw UsageError(arguments.called(kKey) + " takes TABLE=COLUMN,COLUMN..., not '" + text +
                       "'");
    keys[text.substr(0, equals)] = std::move(key);
  }
  return keys;
}

std::vector<std::array<std::string, 2>> mappedIn(const Arguments& arguments) {
  std::vector<std::array<std::string, 2>> mapped;
  for (const std::string& text : arguments.values(kMap)) {
    const std::size_t equals = text.find('=');
    if (equals == 0 || equals == std::string::npos || equals + 1 == text.size())
      throw UsageError(arguments.called(kMap) + " takes the names of two tables, such as " +
                       "dbo.old=dbo.new, not '" + text + "'");
    mapped.push_back({text.substr(0, equals), text.substr(equals + 1)});
  }
  return mapped;
}

std::vector<std::string> patternsOf(const Arguments& arguments, std::string_view option) {
  std::vector<std::string> patterns;
  for (const std::string& text : arguments.values(option)) {
    std::vector<std::string> list = listOf(text);
    if (!isListed(list))
      throw UsageError(arguments.called(option) + " takes names of columns with commas between " +
                       "them, not '" + text + "'");
    std::ranges::move(list, std::back_inserter(patterns));
  }
  return patterns;
}

// "0.01", "1e-6": the digits as they are written, where a decimal can hold them.
std::optional<ado::Decimal> exactOf(std::string_view text) {
  ado::Decimal number;
  int scale = 0;
  bool isFraction = false;
  std::size_t at = 0;
  for (; at < text.size() && text[at] != 'e' && text[at] != 'E'; ++at) {
    if (text[at] == '.') {
      isFraction = true;
      continue;
    }
    if (number.magnitude[0] > 100'000'000'000'000'000) return std::nullopt;
    number.magnitude[0] = number.magnitude[0] * 10 + static_cast<std::uint64_t>(text[at] - '0');
    scale += isFraction ? 1 : 0;
  }
  if (at < text.size()) {
    int exponent = 0;
    std::string_view digits = text.substr(at + 1);
    if (digits.starts_with('+')) digits.remove_prefix(1);
    std::from_chars(digits.data(), digits.data() + digits.size(), exponent);
    scale -= exponent;
  }
  for (; scale < 0; ++scale) {
    if (number.magnitude[0] > 100'000'000'000'000'000) return std::nullopt;
    number.magnitude[0] *= 10;
  }
  if (scale > 38) return std::nullopt;
  number.scale = static_cast<std::uint8_t>(scale);
  return number;
}

struct TimeUnit {
  std::string_view name;
  double nanoseconds;
};
constexpr auto kTimeUnits = std::to_array<TimeUnit>({
    {"us", 1e3},
    {"ms", 1e6},
    {"s", 1e9},
    {"min", 60e9},
    {"h", 3600e9},
    {"d", 86400e9},
});

// "0.01", "3ms"
std::optional<rows::Leniency> amountOf(std::string_view text) {
  double number = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || !std::isfinite(number) || number < 0) return std::nullopt;
  rows::Leniency within;
  if (stop == end) {
    const auto exact = exactOf(text);
    if (!exact) return std::nullopt;
    within.tolerance = number;
    within.exactTolerance = *exact;
    return within;
  }
  const auto unit = std::ranges::find(kTimeUnits, std::string_view(stop, end), &TimeUnit::name);
  if (unit == kTimeUnits.end() || number * unit->nanoseconds > 9e18) return std::nullopt;
  within.nanoseconds = std::llround(number * unit->nanoseconds);
  return within;
}

std::vector<rows::Tolerance> tolerancesOf(const Arguments& arguments) {
  std::vector<rows::Tolerance> tolerances;
  for (const std::string& text : arguments.values(kToleranceOption)) {
    const std::size_t equals = text.find('=');
    const auto within = equals == std::string::npos || equals == 0
                            ? std::nullopt
                            : amountOf(std::string_view(text).substr(equals + 1));
    if (!within)
      throw UsageError(arguments.called(kToleranceOption) +
                       " takes COLUMN=NUMBER or COLUMN=TIME, such as price=0.01 or "
                       "datetime=3ms (us, ms, s, min, h, d), not '" +
                       text + "'");
    tolerances.push_back({text.substr(0, equals), *within});
  }
  return tolerances;
}

// A condition may contain colons, but not behind a name alone.
RowOptions::Condition conditionOf(const std::string& text, const Arguments& arguments) {
  const std::size_t end =
      std::min(text.find_first_not_of(
                   "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_#$@.*?"),
               text.size());
  const bool hasTables = end > 0 && end < text.size() && text[end] == ':';
  RowOptions::Condition condition{hasTables ? text.substr(0, end) : std::string(),
                                  hasTables ? text.substr(end + 1) : text};
  if (condition.text.find_first_not_of(" \t\r\n") == std::string::npos)
    throw UsageError(arguments.called(kWhere) + " takes CONDITION or TABLES:CONDITION, not '" +
                     text + "'");
  // What ends the condition could be anything, and would be sent.
  if (const std::string why = whyNoCondition(condition.text); !why.empty())
    throw UsageError(arguments.called(kWhere) + ": '" + condition.text +
                     "' is no condition: " + why);
  return condition;
}

}  // namespace

OptionFamily rowOptionFamily() { return {"Rows and values", kOptions}; }

std::string_view givenRowOption(const Arguments& arguments) {
  const auto given = std::ranges::find_if(
      kOptions, [&](const Option& option) { return arguments.isGiven(option.name); });
  return given == kOptions.end() ? std::string_view() : given->name;
}

RowOptions rowOptionsOf(const Arguments& arguments) {
  RowOptions options;
  options.keys = keysOf(arguments);
  for (const std::string& text : arguments.values(kWhere))
    options.conditions.push_back(conditionOf(text, arguments));
  options.mapped = mappedIn(arguments);
  rows::PlanOptions& comparing = options.comparing;
  comparing.columns = patternsOf(arguments, kColumns);
  comparing.ignoredColumns = patternsOf(arguments, kIgnoreColumns);
  comparing.tolerances = tolerancesOf(arguments);
  comparing.texts.trims = arguments.has(kTrim);
  comparing.texts.emptyIsNull = arguments.has(kNullIsEmpty);
  comparing.texts.ignoresCase = arguments.has(kIgnoreCase);
  return options;
}

std::vector<std::string> rowOptionsInEffect(const Arguments& arguments) {
  std::vector<std::string> result;
  for (const Option& option : kOptions) {
    if (option.name == kKey || option.name == kMap || !arguments.has(option.name)) continue;
    if (option.value.empty()) {
      result.emplace_back(option.name);
      continue;
    }
    for (const std::string& value : arguments.values(option.name))
      result.push_back(std::string(option.name) + " " +
                       (value.find(' ') == std::string::npos ? value : "'" + value + "'"));
  }
  return result;
}

}  // namespace kelvane::cli
