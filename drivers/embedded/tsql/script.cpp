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

// Lines by which isql reads another file or calls the operating system.
bool leavesScript(std::string_view line) {
  line = trimmed(line);
  return line.starts_with("!!") || line == ":r" || line.starts_with(":r ") ||
         line.starts_with(":r\t");
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
      } else if (equalsIgnoringCase(trimmed(line), "reset")) {
        at_ = std::min(end + 1, script_.size());
        startBatch(line_ + 1);
      } else if (leavesScript(line)) {
        throw ScriptError("line " + std::to_string(line_) + " is an isql command, '" +
                          std::string(trimmed(line)) + "', which only isql can execute");
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
      const std::size_t after = endOfItem(end);
      if (after > end) end = endOfLine(script_, after);
      at_ = after;
    }
    at_ = std::min(end + 1, script_.size());
    line_ +=
        static_cast<std::uint32_t>(std::ranges::count(script_.substr(begin, at_ - begin), '\n'));
  }

  std::size_t endOfItem(std::size_t lineEnd) {
    const char c = script_[at_];
    if (c == '\'' || c == '"') return endOfQuote(c);
    if (c == '[') return endOfName(lineEnd);
    if (isLineComment(script_, at_)) return endOfLine(script_, at_);
    if (isBlockComment(script_, at_) && !commentUnclosed_) {
      const std::size_t end = endOfBlockComment(script_, at_);
      if (end != kUnclosed) return end;
      commentUnclosed_ = true;
    }
    return at_ + 1;
  }

  // Of a name in brackets, which stands on one line.
  std::size_t endOfName(std::size_t lineEnd) {
    if (at_ < endOfUnclosedName_) return at_ + 1;
    const std::size_t end = endOfQuoted(script_.substr(0, lineEnd), at_, ']');
    if (end != kUnclosed) return end;
    endOfUnclosedName_ = lineEnd;
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
  std::size_t endOfUnclosedName_ = 0;  // the line's, on which no name ends any more
  std::vector<Batch> batches_;
};

// Walks over a batch word by word.
class StatementCutter {
 public:
  explicit StatementCutter(const Batch& batch) : batch_(batch), text_(batch.text) {}

  std::vector<Batch> run() {
    while (at_ < text_.size() && !restIsOne_) step();
    finish(text_.size());
    if (statements_.size() < 2) return {batch_};
    return std::move(statements_);
  }

 private:
  void step() {
    const char c = text_[at_];
    if (c == ';' && text_.substr(at_ + 1, 1).find_first_of("0123456789") == 0) {
      ++at_;  // of a procedure's number in its group
    } else if (c == ';') {
      ++at_;
      if (depth_ == 0 && !equalsIgnoringCase(wordAt(nextWord()), "else")) finish(at_ - 1);
    } else if (kBlanks.find(c) != std::string_view::npos) {
      ++at_;
    } else if (isComment()) {
      at_ = afterComment(at_);
    } else if (c == '\'' || c == '"' || c == '[') {
      const std::size_t end = endOfQuoted(text_, at_, c == '[' ? ']' : c);
      if (end == kUnclosed) restIsOne_ = true;
      at_ = std::min(end, text_.size());
      hasWords_ = true;
    } else {
      word(wordAt(at_));
    }
  }

  void word(std::string_view word) {
    const bool first = !hasWords_;
    hasWords_ = true;
    at_ += std::max<std::size_t>(word.size(), 1);
    if (first && statements_.empty() && equalsIgnoringCase(word, "create")) {
      restIsOne_ = createsRoutine();
    } else if (equalsIgnoringCase(word, "declare")) {
      restIsOne_ = depth_ == 0;
    } else if (equalsIgnoringCase(word, "case")) {
      ++depth_;
    } else if (equalsIgnoringCase(word, "begin")) {
      if (!equalsIgnoringCase(wordAt(nextWord()).substr(0, 4), "tran")) ++depth_;
    } else if (equalsIgnoringCase(word, "end")) {
      depth_ = std::max(depth_ - 1, 0);
    }
  }

  bool createsRoutine() const {
    std::size_t at = nextWord();
    if (equalsIgnoringCase(wordAt(at), "or")) at = nextWord(nextWord(at + 2) + 7);  // or replace
    constexpr auto kRoutines =
        std::to_array<std::string_view>({"proc", "procedure", "function", "trigger", "service"});
    return std::ranges::any_of(kRoutines, [&](std::string_view routine) {
      return equalsIgnoringCase(wordAt(at), routine);
    });
  }

  // A variable is a word here, so that `@end` ends nothing.
  std::string_view wordAt(std::size_t at) const {
    std::size_t end = at;
    while (end < text_.size() && belongsToWord(text_[end])) ++end;
    return text_.substr(std::min(at, text_.size()), end - std::min(at, end));
  }

  static bool belongsToWord(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
           c == '@' || c == '#' || c == '$' || static_cast<unsigned char>(c) >= 0x80;
  }

  bool isComment() const { return isLineComment(text_, at_) || isBlockComment(text_, at_); }

  std::size_t afterComment(std::size_t at) const {
    return std::min(isLineComment(text_, at) ? endOfLine(text_, at) : endOfBlockComment(text_, at),
                    text_.size());
  }

  std::size_t nextWord() const { return nextWord(at_); }
  std::size_t nextWord(std::size_t at) const {
    while (at < text_.size()) {
      if (isLineComment(text_, at) || isBlockComment(text_, at)) {
        at = afterComment(at);
      } else if (kBlanks.find(text_[at]) != std::string_view::npos) {
        ++at;
      } else {
        break;
      }
    }
    return at;
  }

  // The first statement keeps what stands before it, as a stored text begins with its batch.
  void finish(std::size_t end) {
    std::size_t begin = begin_;
    if (!statements_.empty()) {
      begin = std::min(text_.find_first_not_of(kBlanks, begin_), end);
    }
    line_ += lines(begin_, begin);
    if (hasWords_) statements_.push_back({text_.substr(begin, end - begin), line_, 1});
    line_ += lines(begin, at_);
    begin_ = at_;
    hasWords_ = false;
  }

  std::uint32_t lines(std::size_t begin, std::size_t end) const {
    return static_cast<std::uint32_t>(std::ranges::count(text_.substr(begin, end - begin), '\n'));
  }

  const Batch& batch_;
  std::string_view text_;
  std::size_t at_ = 0;
  std::size_t begin_ = 0;
  std::uint32_t line_ = batch_.firstLine;
  int depth_ = 0;
  bool hasWords_ = false;
  bool restIsOne_ = false;
  std::vector<Batch> statements_;
};

}  // namespace

void requireText(std::string_view script) {
  const std::string_view mark = script.substr(0, 2);
  if (mark == "\xFF\xFE" || mark == "\xFE\xFF")
    throw ScriptError("the script is UTF-16 text; convert it to UTF-8");
  const std::size_t nul = script.find('\0');
  if (nul == std::string_view::npos) return;
  const auto line = std::ranges::count(script.substr(0, nul), '\n') + 1;
  throw ScriptError("line " + std::to_string(line) +
                    " holds a NUL byte; the file is not an SQL script in UTF-8");
}

std::vector<Batch> splitScript(std::string_view script) {
  if (script.starts_with(kByteOrderMark)) script.remove_prefix(kByteOrderMark.size());
  return Splitter(script).run();
}

std::vector<Batch> splitAtSemicolons(const Batch& batch) {
  // `go 2` repeats the batch, not each of its statements.
  if (batch.repeat != 1 || batch.text.find(';') == std::string_view::npos) return {batch};
  return StatementCutter(batch).run();
}

}  // namespace kelvane::tsql
