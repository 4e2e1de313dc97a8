#include "inventory/compare/definition_text.h"

#include <algorithm>
#include <cctype>
#include <optional>
#include <utility>

#include "model/text.h"

namespace kelvane::inventory {
namespace {

constexpr bool isLineBreak(char letter) { return letter == '\n' || letter == '\r'; }

constexpr bool isContinuation(char unit) {
  return (static_cast<unsigned char>(unit) & 0xC0) == 0x80;
}
constexpr bool isQuote(char unit) { return unit == '\'' || unit == '"' || unit == '['; }

/// Behind the comment, the quoted text or the one letter that the text begins with.
std::size_t lengthOfFirst(std::string_view text) {
  if (text.starts_with("--")) return std::min(text.find_first_of("\r\n"), text.size());
  if (text.starts_with("/*")) {
    std::size_t depth = 1, at = 2;
    for (; at < text.size() && depth > 0; ++at) {
      if (text.substr(at).starts_with("/*")) {
        ++depth, ++at;
      } else if (text.substr(at).starts_with("*/")) {
        --depth, ++at;
      }
    }
    return std::min(at, text.size());
  }
  if (const char quote = text.front(); isQuote(quote)) {
    const std::size_t end = text.find(quote == '[' ? ']' : quote, 1);
    return end == text.npos ? text.size() : end + 1;
  }
  std::size_t length = 1;
  while (length < text.size() && isContinuation(text[length])) ++length;
  return length;
}

bool isWordLetter(char letter) {
  const auto code = static_cast<unsigned char>(letter);
  return code >= 0x80 || std::isalnum(code) != 0 || letter == '_' || letter == '@' ||
         letter == '#' || letter == '$';
}

/// Up to and with the line break, where only blanks stand before it.
std::size_t restOfLine(std::string_view text) {
  const std::size_t end = text.find_first_not_of(" \t");
  if (end == text.npos) return 0;
  if (!isLineBreak(text[end])) return 0;
  return end + (text.substr(end).starts_with("\r\n") ? 2 : 1);
}

/// Puts a definition together again without what is ignored. Where that stood between two words, a
/// blank keeps them apart.
class Reduction {
 public:
  Reduction(const Rules& rules, std::size_t length) : rules_(rules) { text_.reserve(length); }

  void keep(char letter) {
    if (isDropped_ && !text_.empty() && isWordLetter(text_.back()) && isWordLetter(letter))
      text_ += ' ';
    isDropped_ = false;
    text_ += letter;
  }
  void drop() { isDropped_ = true; }
  /// Takes off blanks at the begin of a line; false where something else stands on it.
  bool beginLineAgain() {
    const std::size_t last = text_.find_last_not_of(" \t");
    if (last != text_.npos && !isLineBreak(text_[last])) return false;
    text_.resize(last == text_.npos ? 0 : last + 1);
    return true;
  }
  void add(char letter) {
    const bool isIgnored = (letter == ' ' && rules_.ignoreSpaces) ||
                           (letter == '\t' && rules_.ignoreTabs) ||
                           (isLineBreak(letter) && rules_.ignoreLineBreaks);
    isIgnored ? drop() : keep(letter);
  }
  std::string take() { return std::move(text_); }

 private:
  const Rules& rules_;
  std::string text_;
  bool isDropped_ = false;
};

std::string folded(std::string_view letter) { return toUtf8(foldCase(toUtf16(letter))); }

char lowerCase(char letter) {
  return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

}  // namespace

std::string reduced(std::string_view definition, const Rules& rules) {
  Reduction text(rules, definition.size());
  while (!definition.empty()) {
    const std::string_view first = definition.substr(0, lengthOfFirst(definition));
    definition.remove_prefix(first.size());
    const bool isLineComment = first.starts_with("--");
    if (isLineComment || first.starts_with("/*")) {
      if (rules.ignoreComments) {
        text.drop();
        // A line that has nothing else goes as a whole.
        const std::size_t rest = restOfLine(definition);
        if (rest > 0 && text.beginLineAgain()) definition.remove_prefix(rest);
        continue;
      }
      for (const char letter : first) text.add(letter);
      // What follows is no part of the comment, whatever is ignored.
      if (isLineComment && !definition.empty()) text.keep('\n');
    } else if (isQuote(first.front())) {
      for (const char letter : first) text.keep(letter);
    } else if (first.size() > 1) {
      for (const char unit : rules.ignoreDefinitionCase ? folded(first) : std::string(first))
        text.keep(unit);
    } else {
      text.add(rules.ignoreDefinitionCase ? lowerCase(first.front()) : first.front());
    }
  }
  return text.take();
}

namespace {

bool isBlank(char letter) { return letter == ' ' || letter == '\t' || isLineBreak(letter); }

/// Behind the word, where it stands at `at`, in any case; npos where another one does.
std::size_t behindWord(std::string_view text, std::size_t at, std::string_view word) {
  if (text.size() - at < word.size()) return text.npos;
  for (std::size_t i = 0; i < word.size(); ++i) {
    if (std::tolower(static_cast<unsigned char>(text[at + i])) != word[i]) return text.npos;
  }
  const std::size_t end = at + word.size();
  return end < text.size() && isWordLetter(text[end]) ? text.npos : end;
}

/// Behind blanks and comments.
std::size_t behindBlanks(std::string_view text, std::size_t at) {
  while (at < text.size()) {
    const std::string_view rest = text.substr(at);
    if (isBlank(text[at])) {
      ++at;
    } else if (rest.starts_with("--") || rest.starts_with("/*")) {
      at += lengthOfFirst(rest);
    } else {
      break;
    }
  }
  return at;
}

/// Behind the word `create` that the text begins with.
std::size_t behindCreate(std::string_view text) {
  return behindWord(text, behindBlanks(text, 0), "create");
}

}  // namespace

std::string withoutReplace(std::string_view definition) {
  const std::size_t create = behindCreate(definition);
  if (create == definition.npos) return std::string(definition);
  const std::size_t behindOr = behindWord(definition, behindBlanks(definition, create), "or");
  if (behindOr == definition.npos) return std::string(definition);
  const std::size_t end = behindWord(definition, behindBlanks(definition, behindOr), "replace");
  if (end == definition.npos) return std::string(definition);
  return std::string(definition.substr(0, create)) + std::string(definition.substr(end));
}

std::optional<std::string> withReplace(std::string_view definition) {
  const std::string plain = withoutReplace(definition);
  const std::size_t create = behindCreate(plain);
  if (create == plain.npos) return std::nullopt;
  return plain.substr(0, create) + " or replace" + plain.substr(create);
}

bool sameDefinition(const Definition& a, const Definition& b, const Rules& rules) {
  using State = Definition::State;
  // A gap says so; what is in it is not known.
  if (a.state == State::unreadable || b.state == State::unreadable) return true;
  if (a.state != b.state) return false;
  if (a.state == State::hidden) return true;
  if (a.text == b.text) return true;
  return reduced(withoutReplace(a.text), rules) == reduced(withoutReplace(b.text), rules);
}

}  // namespace kelvane::inventory
