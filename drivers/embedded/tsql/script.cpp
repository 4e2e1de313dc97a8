#include "drivers/embedded/tsql/script.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <optional>

#include "drivers/embedded/tsql/scan.h"
#include "drivers/embedded/tsql/words.h"

namespace kelvane::tsql {
namespace {

constexpr std::string_view kBlanks = " \t\r\n\v\f";
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

std::string_view trimmed(std::string_view line) {
  const std::size_t first = line.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return line.substr(first, line.find_last_not_of(kBlanks) - first + 1);
}

// The count of a `go` line, nothing for any other line.
std::optional<std::uint32_t> goCount(std::string_view line) {
  line = trimmed(line);
  if (!equalsIgnoringCase(line.substr(0, 2), "go")) return std::nullopt;
  const std::string_view rest = trimmed(line.substr(2));
  if (rest.empty()) return 1;
  if (rest.size() == line.size() - 2) return std::nullopt;
  std::uint32_t count = 0;
  const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), count);
  if (end != rest.data() + rest.size()) return std::nullopt;
  return error == std::errc() ? count : std::numeric_limits<std::uint32_t>::max();
}

bool endsScript(std::string_view line) {
  line = trimmed(line);
  return equalsIgnoringCase(line, "exit") || equalsIgnoringCase(line, "quit");
}

class Splitter {
 public:
  explicit Splitter(std::string_view script) : script_(script) {}

  std::vector<Batch> run() {
    while (at_ < script_.size()) {
      const std::size_t end = endOfLine(script_, at_);
      const std::string_view line = script_.substr(at_, end - at_);
      if (const auto count = goCount(line)) {
        finishBatch(*count);
        at_ = std::min(end + 1, script_.size());
        startBatch(line_ + 1);
      } else if (endsScript(line)) {
        break;
      } else {
        skipLine(end);
      }
    }
    finishBatch(1);
    return std::move(batches_);
  }

 private:
  void startBatch(std::uint32_t line) {
    begin_ = at_;
    line_ = firstLine_ = line;
  }

  void finishBatch(std::uint32_t repeat) {
    const std::string_view text = script_.substr(begin_, at_ - begin_);
    if (!trimmed(text).empty()) batches_.push_back({text, firstLine_, repeat});
  }

  // Goes to the first line that does not begin inside a comment or a string.
  void skipLine(std::size_t end) {
    const std::size_t begin = at_;
    while (at_ < end) {
      const std::size_t after = endOfItem();
      if (after > end) end = endOfLine(script_, after);
      at_ = after;
    }
    at_ = std::min(end + 1, script_.size());
    line_ +=
        static_cast<std::uint32_t>(std::ranges::count(script_.substr(begin, at_ - begin), '\n'));
  }

  std::size_t endOfItem() {
    const char c = script_[at_];
    if (c == '\'' || c == '"') return endOfQuote(c);
    if (isLineComment(script_, at_)) return endOfLine(script_, at_);
    if (isBlockComment(script_, at_) && !commentUnclosed_) {
      const std::size_t end = endOfBlockComment(script_, at_);
      if (end != kUnclosed) return end;
      commentUnclosed_ = true;
    }
    return at_ + 1;
  }

  // A quote that nothing closes spoils its own batch only, and is looked for only once, so that the
  // work stays linear.
  std::size_t endOfQuote(char quote) {
    bool& unclosed = quote == '\'' ? singleUnclosed_ : doubleUnclosed_;
    if (unclosed) return at_ + 1;
    const std::size_t end = endOfQuoted(script_, at_, quote);
    if (end != kUnclosed) return end;
    unclosed = true;
    return at_ + 1;
  }

  std::string_view script_;
  std::size_t at_ = 0;
  std::size_t begin_ = 0;
  std::uint32_t line_ = 1;
  std::uint32_t firstLine_ = 1;
  bool singleUnclosed_ = false;
  bool doubleUnclosed_ = false;
  bool commentUnclosed_ = false;
  std::vector<Batch> batches_;
};

void refuseBinary(std::string_view script) {
  const std::string_view mark = script.substr(0, 2);
  if (mark == "\xFF\xFE" || mark == "\xFE\xFF")
    throw ScriptError("the script is UTF-16 text; convert it to UTF-8");
  const std::size_t nul = script.find('\0');
  if (nul == std::string_view::npos) return;
  const auto line = std::ranges::count(script.substr(0, nul), '\n') + 1;
  throw ScriptError("line " + std::to_string(line) +
                    " holds a NUL byte; the file is not an SQL script in UTF-8");
}

}  // namespace

std::vector<Batch> splitScript(std::string_view script) {
  refuseBinary(script);
  if (script.starts_with(kByteOrderMark)) script.remove_prefix(kByteOrderMark.size());
  return Splitter(script).run();
}

}  // namespace kelvane::tsql
