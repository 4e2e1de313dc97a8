#include "drivers/embedded/catalog/pattern.h"

#include <cstddef>

#include "drivers/embedded/catalog/utf8.h"

namespace kelvane::embedded {

namespace {

/// What one element of a pattern accepts at a place of the value, and where the pattern goes on.
struct Step {
  bool accepted = false;
  std::size_t next = 0;
};

Step matchSet(std::string_view pattern, std::size_t at, std::string_view character) {
  std::size_t i = at + 1;
  const bool negated = i < pattern.size() && pattern[i] == '^';
  if (negated) ++i;
  bool found = false;
  while (i < pattern.size() && pattern[i] != ']') {
    const std::string_view low = characterAt(pattern, i);
    i += low.size();
    std::string_view high = low;
    if (i + 1 < pattern.size() && pattern[i] == '-' && pattern[i + 1] != ']') {
      high = characterAt(pattern, i + 1);
      i += 1 + high.size();
    }
    // UTF-8 orders as its code points do.
    if (low <= character && character <= high) found = true;
  }
  return {found != negated, i < pattern.size() ? i + 1 : i};
}

Step matchOne(std::string_view pattern, std::size_t at, std::string_view character,
              std::optional<char> escape) {
  if (escape && pattern[at] == *escape && at + 1 < pattern.size()) {
    const std::string_view literal = characterAt(pattern, at + 1);
    return {literal == character, at + 1 + literal.size()};
  }
  if (pattern[at] == '_') return {true, at + 1};
  if (pattern[at] == '[') return matchSet(pattern, at, character);
  const std::string_view literal = characterAt(pattern, at);
  return {literal == character, at + literal.size()};
}

}  // namespace

bool matchesLike(std::string_view value, std::string_view pattern, std::optional<char> escape) {
  constexpr std::size_t kNone = std::string_view::npos;
  std::size_t v = 0;
  std::size_t p = 0;
  // Where to go on when the text after the last `%` did not fit: one character further.
  std::size_t resumeValue = 0;
  std::size_t resumePattern = kNone;
  while (v < value.size()) {
    if (p < pattern.size() && pattern[p] == '%' && escape != '%') {
      resumePattern = ++p;
      resumeValue = v;
      continue;
    }
    const std::string_view character = characterAt(value, v);
    if (p < pattern.size()) {
      const Step step = matchOne(pattern, p, character, escape);
      if (step.accepted) {
        v += character.size();
        p = step.next;
        continue;
      }
    } else if (value.find_first_not_of(' ', v) == kNone) {
      return true;
    }
    if (resumePattern == kNone) return false;
    resumeValue += characterAt(value, resumeValue).size();
    v = resumeValue;
    p = resumePattern;
  }
  while (p < pattern.size() && pattern[p] == '%') ++p;
  return p == pattern.size();
}

}  // namespace kelvane::embedded
