#include "report/known_lines.h"

#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <utility>

#include "model/text.h"
#include "report/json_text.h"
#include "report/kind_words.h"

namespace kelvane {
namespace report {
namespace {

bool isBare(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
         std::string_view("_.$@-+/").find(c) != std::string_view::npos;
}

std::u16string unquoted(const std::string& token) {
  if (!token.starts_with('"')) return toUtf16(token);
  try {
    return toUtf16(nlohmann::json::parse(token).get<std::string>());
  } catch (const nlohmann::json::exception&) {
    return toUtf16(token);  // half of a surrogate pair: such a token is compared as it stands
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
      const std::u16string text = unquoted(result);
      if (toUtf8(text) != result) result = textToken(text);
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

std::string textToken(std::u16string_view text) {
  const std::string utf8 = toUtf8(text);
  const bool bare = !utf8.empty() && std::ranges::all_of(utf8, isBare);
  return bare ? utf8 : jsonString(text);
}

std::string dateText(std::chrono::year_month_day date) {
  char text[32];
  std::snprintf(text, sizeof text, "%04d-%02u-%02u", int(date.year()), unsigned(date.month()),
                unsigned(date.day()));
  return text;
}

KnownDifference readKnownLine(std::string_view text) {
  LineReader line(text);
  KnownDifference result;
  const std::string word = line.word();
  const auto kind = std::ranges::find(kKindWords, word, &KindWord::word);
  if (kind == kKindWords.end())
    throw KnownDifferencesError("'" + word + "' is not a kind of object such as table");
  result.kind = kind->kind;
  const std::string object = line.token("the object's name");
  result.object = unquoted(object);
  result.difference = word + " " + object;
  while (line.take(",")) {
    const std::string what = line.token("what differs");
    result.difference += ", " + what;
    if (!line.startsWith(",") && !line.startsWith(":")) {
      result.part = what;
      result.difference += " " + line.token("a name");
    } else {
      result.label = unquoted(what);
    }
  }
  line.expect(":");
  result.difference += ": " + valuesOf(line);
  if (line.take("until")) result.until = dateOf(line.word());
  line.expect("#");
  result.reason = line.remainder();
  if (result.reason.empty()) line.refuse("the reason after '#'");
  return result;
}

}  // namespace report

KnownList readKnownDifferences(std::string_view utf8) {
  if (utf8.starts_with("\xEF\xBB\xBF")) utf8.remove_prefix(3);
  KnownList result;
  while (!utf8.empty()) {
    const std::size_t end = std::min(utf8.find('\n'), utf8.size());
    std::string_view line = utf8.substr(0, end);
    utf8.remove_prefix(std::min(end + 1, utf8.size()));
    if (line.ends_with('\r')) {
      line.remove_suffix(1);
      result.lineEnd = "\r\n";
    }
    result.lines.emplace_back(line);
    line = line.substr(0, line.find_last_not_of(" \t\r") + 1);
    line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
    if (line.empty() || line.starts_with('#')) continue;
    try {
      result.known.push_back(report::readKnownLine(line));
    } catch (const KnownDifferencesError& error) {
      throw KnownDifferencesError(std::to_string(result.lines.size()) + ": " + error.what());
    }
    result.known.back().line = result.lines.size();
  }
  return result;
}

}  // namespace kelvane
