#include "findings/known_lines.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <nlohmann/json.hpp>

namespace kelvane::findings {
namespace {

constexpr std::size_t kLongestValue = 80;

bool isBare(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
         std::string_view("_.$@-+/").find(c) != std::string_view::npos;
}

std::string unquoted(const std::string& token) {
  if (!token.starts_with('"')) return token;
  try {
    return nlohmann::json::parse(token).get<std::string>();
  } catch (const nlohmann::json::exception&) {
    return token;  // half of a surrogate pair: such a token is compared as it stands
  }
}

// Takes a line apart, word by word.
class LineReader {
 public:
  explicit LineReader(std::string_view line) : rest_(line) { skipBlanks(); }

  bool startsWith(std::string_view text) const { return rest_.starts_with(text); }
  bool take(std::string_view text) {
    if (!startsWith(text)) return false;
    rest_.remove_prefix(text.size());
    skipBlanks();
    return true;
  }
  void expect(std::string_view text) {
    if (!take(text)) refuse("'" + std::string(text) + "'");
  }
  // A plain word; empty where there is none.
  std::string word() {
    std::size_t end = 0;
    while (end < rest_.size() && isBare(rest_[end]) && !rest_.substr(end).starts_with("->")) ++end;
    return taken(end);
  }
  // A name or value, in the one way in which it is written.
  std::string token(std::string_view what) {
    std::string result;
    if (startsWith("\"")) {
      std::size_t end = 1;
      while (end < rest_.size() && rest_[end] != '"') end += rest_[end] == '\\' ? 2 : 1;
      if (end >= rest_.size())
        throw KnownDifferencesError("unterminated double quote: " + std::string(rest_));
      result = taken(end + 1);
      const std::string text = unquoted(result);
      if (text != result) result = textToken(text);
    } else if (startsWith("<")) {
      result = taken(std::min(rest_.find('>'), rest_.size() - 1) + 1);
    } else {
      result = word();
    }
    if (result.empty()) refuse(what);
    return result;
  }
  // All that is left.
  std::string remainder() { return taken(rest_.size()); }
  [[noreturn]] void refuse(std::string_view expected) const {
    throw KnownDifferencesError(
        "expected " + std::string(expected) +
        (rest_.empty() ? ", but the line ends" : ", not '" + std::string(rest_) + "'"));
  }

 private:
  void skipBlanks() { rest_.remove_prefix(std::min(rest_.find_first_not_of(" \t"), rest_.size())); }
  std::string taken(std::size_t length) {
    std::string text(rest_.substr(0, length));
    rest_.remove_prefix(length);
    skipBlanks();
    return text;
  }

  std::string_view rest_;
};

std::chrono::year_month_day dateOf(const std::string& text) {
  int year = 0;
  unsigned month = 0, day = 0;
  int length = 0;
  const bool complete =
      std::sscanf(text.c_str(), "%4d-%2u-%2u%n", &year, &month, &day, &length) == 3;
  const std::chrono::year_month_day date{std::chrono::year(year), std::chrono::month(month),
                                         std::chrono::day(day)};
  if (!complete || !date.ok() || dateText(date) != text)
    throw KnownDifferencesError("'" + text + "' is not a date such as 2027-01-31");
  return date;
}

// What stands behind the colon.
std::string valuesOf(LineReader& line) {
  if (line.take(kAnyValues)) return std::string(kAnyValues);
  const std::string first = line.token("two values, '*' or 'only in source'");
  if (first == "only" && !line.startsWith("->")) {
    line.expect("in");
    for (const std::string_view side : {"source", "target"})
      if (line.take(side)) return "only in " + std::string(side);
    line.refuse("'source' or 'target'");
  }
  line.expect("->");
  return first + " -> " + line.token("the value of the target");
}

}  // namespace

bool isBareToken(std::string_view utf8) {
  return !utf8.empty() && std::ranges::all_of(utf8, isBare);
}

std::string textToken(std::string_view utf8) {
  if (isBareToken(utf8)) return std::string(utf8);
  return nlohmann::json(utf8).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

bool isLongValue(std::u16string_view value) {
  return value.size() > kLongestValue || value.find_first_of(u"\r\n") != value.npos;
}

std::string longValueToken(std::u16string_view value) {
  std::uint64_t hash = 0xcbf29ce484222325;
  for (const char16_t unit : value) {
    for (const int shift : {0, 8}) hash = (hash ^ (unit >> shift & 0xFF)) * 0x100000001b3;
  }
  std::string digits(16, '0');
  for (std::size_t at = digits.size(); hash != 0; hash >>= 4)
    digits[--at] = "0123456789abcdef"[hash & 15];
  return "<" + std::to_string(value.size()) + " characters, " + digits + ">";
}

std::string dateText(std::chrono::year_month_day date) {
  char text[32];
  std::snprintf(text, sizeof text, "%04d-%02u-%02u", int(date.year()), unsigned(date.month()),
                unsigned(date.day()));
  return text;
}

ReadLine readKnownLine(std::string_view text, const LineWords& words) {
  LineReader line(text);
  ReadLine result;
  KnownLine& known = result.known;
  result.kind = line.word();
  if (!words.isKind(result.kind))
    throw KnownDifferencesError("'" + result.kind + "' is not a kind of object such as table");
  known.subject = result.kind;
  if (!words.isAlone(result.kind)) {
    const std::string name = line.token("the object's name");
    result.name = unquoted(name);
    known.subject += " " + name;
  }
  known.difference = known.subject;
  while (line.take(",")) {
    const std::string what = line.token("what differs");
    known.difference += ", " + what;
    if (!line.startsWith(",") && !line.startsWith(":")) {
      const std::string name = line.token("a name");
      result.parts.emplace_back(what, unquoted(name));
      known.difference += " " + name;
    } else {
      result.label = unquoted(what);
    }
  }
  line.expect(":");
  known.difference += ": " + valuesOf(line);
  if (line.take("until")) known.until = dateOf(line.word());
  line.expect("#");
  known.reason = line.remainder();
  if (known.reason.empty()) line.refuse("the reason after '#'");
  return result;
}

std::string_view takeLine(std::string_view& utf8, ListLines& lines) {
  const std::size_t end = std::min(utf8.find('\n'), utf8.size());
  std::string_view line = utf8.substr(0, end);
  utf8.remove_prefix(std::min(end + 1, utf8.size()));
  if (line.ends_with('\r')) {
    line.remove_suffix(1);
    lines.lineEnd = "\r\n";
  }
  lines.lines.emplace_back(line);
  line = line.substr(0, line.find_last_not_of(" \t\r") + 1);
  line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
  return line;
}

}  // namespace kelvane::findings
