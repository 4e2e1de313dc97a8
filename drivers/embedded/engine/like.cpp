#include "drivers/embedded/engine/like.h"

#include <string>
#include <vector>

namespace kelvane::embedded {
namespace {

// One element of a pattern: any run, any character, or a set of ranges.
struct Element {
  enum class Kind { AnyRun, AnyOne, Set, NotSet } kind;
  std::vector<std::pair<char32_t, char32_t>> ranges = {};

  bool accepts(char32_t c) const {
    if (kind == Kind::AnyOne) return true;
    for (const auto& [low, high] : ranges) {
      if (low <= c && c <= high) return kind == Kind::Set;
    }
    return kind == Kind::NotSet;
  }
};

std::u32string codePoints(std::string_view text) {
  std::u32string result;
  for (std::size_t at = 0; at < text.size();) {
    const auto lead = static_cast<unsigned char>(text[at]);
    const std::size_t length = lead < 0xC0 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    char32_t c = length == 1 ? lead : lead & (0xFFU >> (length + 1));
    for (std::size_t i = 1; i < length && at + i < text.size(); ++i) {
      c = c << 6 | (static_cast<unsigned char>(text[at + i]) & 0x3FU);
    }
    result += c;
    at += length;
  }
  return result;
}

Element literal(char32_t c) { return {Element::Kind::Set, {{c, c}}}; }

// A bracket without its end stands for itself.
std::optional<Element> readSet(const std::u32string& pattern, std::size_t& at) {
  std::size_t i = at + 1;
  Element set{Element::Kind::Set};
  if (i < pattern.size() && pattern[i] == U'^') {
    set.kind = Element::Kind::NotSet;
    ++i;
  }
  for (const auto first = i; i < pattern.size(); ++i) {
    if (pattern[i] == U']' && i > first) {
      at = i;
      return set;
    }
    if (i + 2 < pattern.size() && pattern[i + 1] == U'-' && pattern[i + 2] != U']') {
      set.ranges.emplace_back(pattern[i], pattern[i + 2]);
      i += 2;
    } else {
      set.ranges.emplace_back(pattern[i], pattern[i]);
    }
  }
  return std::nullopt;
}

std::vector<Element> compile(const std::u32string& pattern, std::optional<char32_t> escape) {
  std::vector<Element> elements;
  for (std::size_t at = 0; at < pattern.size(); ++at) {
    const char32_t c = pattern[at];
    if (escape && c == *escape && at + 1 < pattern.size()) {
      elements.push_back(literal(pattern[++at]));
    } else if (c == U'%') {
      elements.push_back({Element::Kind::AnyRun});
    } else if (c == U'_') {
      elements.push_back({Element::Kind::AnyOne});
    } else if (c == U'[') {
      auto set = readSet(pattern, at);
      elements.push_back(set ? *set : literal(c));
    } else {
      elements.push_back(literal(c));
    }
  }
  return elements;
}

}  // namespace

bool matchesLike(std::string_view text, std::string_view pattern, std::optional<char32_t> escape) {
  const std::u32string characters = codePoints(text);
  const std::vector<Element> elements = compile(codePoints(pattern), escape);
  std::size_t textAt = 0;
  std::size_t elementAt = 0;
  // Where the last `%` stands and how much of the text it covers so far.
  std::optional<std::size_t> run;
  std::size_t covered = 0;
  while (true) {
    if (elementAt < elements.size() && elements[elementAt].kind == Element::Kind::AnyRun) {
      run = elementAt++;
      covered = textAt;
      continue;
    }
    if (elementAt == elements.size()) {
      if (characters.find_first_not_of(U' ', textAt) == std::u32string::npos) return true;
    } else if (textAt < characters.size() && elements[elementAt].accepts(characters[textAt])) {
      ++textAt;
      ++elementAt;
      continue;
    } 
    if (!run || covered >= characters.size()) return false;
    textAt = ++covered;
    elementAt = *run + 1;
  }
}

}  // namespace kelvane::embedded
