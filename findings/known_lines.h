// The lines of a list of known differences: their words, and how they are read and written.
//
// Lifetime: results own what they hold. Threading: free functions without state.
#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kelvane {

// A line that cannot be understood; the text says which and why.
struct KnownDifferencesError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

namespace findings {

/// Stands in place of two values that may be any.
inline constexpr std::string_view kAnyValues = "*";

/// The reason of a difference that nobody has given one for.
inline constexpr std::string_view kNoReason = "not explained yet";

/// Begins a new list.
inline constexpr std::string_view kListHead =
    "# Accepted differences, one per line, each with a reason after '#'. The optional last day\n"
    "# comes before that: until 2027-01-31. '*' instead of both values accepts any values.\n";

/// What every line of a list says, whatever records its difference is about.
struct KnownLine {
  std::size_t line = 0;                              ///< of the file, from 1
  std::string difference;                            ///< in the one way in which it is written
  std::string subject;                               ///< its first words: table dbo.t
  std::optional<std::chrono::year_month_day> until;  ///< the last day on which it is accepted
  std::string reason;                                ///< not empty
};

/// A difference as a line has it, up to its values.
struct WrittenDifference {
  std::string subject, within, values;

  std::string exact() const { return subject + within + ": " + values; }
  std::string any() const { return subject + within + ": " + std::string(kAnyValues); }
};

/// A line with its words taken apart.
struct ReadLine {
  KnownLine known;
  std::string kind;                                        ///< table
  std::string name;                                        ///< of the object
  std::vector<std::pair<std::string, std::string>> parts;  ///< words and names: column, a
  std::string label;  ///< what differs; empty: it is on one side alone
};

// What the first word of a line may be, and which of those has no name behind it.
struct LineWords {
  bool (*isKind)(std::string_view word);
  bool (*isAlone)(std::string_view word);
};

/// Throws KnownDifferencesError without the line's number.
ReadLine readKnownLine(std::string_view line, const LineWords& words);

/// A name or value as it stands in a line.
std::string textToken(std::string_view utf8);
bool isBareToken(std::string_view utf8);

/// Whether a value would make the line hard to read, and how it is told then: by its length and
/// FNV-1a hash.
bool isLongValue(std::u16string_view value);
std::string longValueToken(std::u16string_view value);

std::string dateText(std::chrono::year_month_day date);

/// A text's lines, without blanks around them; `read` is called for those that say something, with
/// their number from 1. Takes a byte order mark off.
struct ListLines {
  std::vector<std::string> lines;  ///< as they stand, without their ends
  std::string lineEnd = "\n";
};
template <class Read>
ListLines readListLines(std::string_view utf8, Read read);

/// Takes the first line off the text.
std::string_view takeLine(std::string_view& utf8, ListLines& lines);

template <class Read>
ListLines readListLines(std::string_view utf8, Read read) {
  if (utf8.starts_with("\xEF\xBB\xBF")) utf8.remove_prefix(3);
  ListLines result;
  while (!utf8.empty()) {
    const std::string_view line = takeLine(utf8, result);
    if (line.empty() || line.starts_with('#')) continue;
    try {
      read(line, result.lines.size());
    } catch (const KnownDifferencesError& error) {
      throw KnownDifferencesError(std::to_string(result.lines.size()) + ": " + error.what());
    }
  }
  return result;
}

}  // namespace findings
}  // namespace kelvane
