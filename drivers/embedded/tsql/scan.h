// Where comments and quoted texts end: what the lexer and the splitter of scripts must agree on.
#pragma once

#include <cstddef>
#include <string_view>

namespace kelvane::tsql {

inline constexpr std::size_t kUnclosed = std::string_view::npos;

/// The first byte after the text quoted from `at`, or kUnclosed. A doubled closing quote does not
/// end it. `closing` is `]` for a bracket.
inline std::size_t endOfQuoted(std::string_view text, std::size_t at, char closing) {
  for (std::size_t i = at + 1;; i += 2) {
    i = text.find(closing, i);
    if (i == kUnclosed) return kUnclosed;
    if (i + 1 == text.size() || text[i + 1] != closing) return i + 1;
  }
}

inline bool isLineComment(std::string_view text, std::size_t at) {
  return text.substr(at, 2) == "--";
}

inline bool isBlockComment(std::string_view text, std::size_t at) {
  return text.substr(at, 2) == "/*";
}

/// The line end that closes a `--` comment, or the end of the text.
inline std::size_t endOfLine(std::string_view text, std::size_t at) {
  const std::size_t end = text.find('\n', at);
  return end == std::string_view::npos ? text.size() : end;
}

/// The first byte after a block comment, or kUnclosed. Comments do not nest.
inline std::size_t endOfBlockComment(std::string_view text, std::size_t at) {
  const std::size_t end = text.find("*/", at + 2);
  return end == kUnclosed ? kUnclosed : end + 2;
}

}  // namespace kelvane::tsql
