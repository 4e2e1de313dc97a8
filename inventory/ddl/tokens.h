// The parts of T-SQL text.
//
// Free functions without state.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

namespace kelvane::inventory {

constexpr bool isOfName(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
         c == '#' || c == '$' || c == '@' || static_cast<unsigned char>(c) >= 0x80;
}

constexpr bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

inline std::size_t behind(std::string_view text, std::string_view what, std::size_t from) {
  const std::size_t at = text.find(what, from);
  return at == std::string_view::npos ? text.size() : at + what.size();
}

inline std::string lowerCase(std::string_view word) {
  std::string lower(word);
  for (char& c : lower) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
  return lower;
}

/// A part of T-SQL text: a name, or something that ends one. Comments are none.
struct Token {
  enum class Type : std::uint8_t { name, quotedName, symbol, string };
  Type type;
  std::string_view text;
};

/// `visit` says whether to go on, or nothing.
template <class Visit>
void forEachToken(std::string_view text, bool quotedIdentifier, Visit visit) {
  bool goesOn = true;
  const auto tell = [&](const Token& token) {
    if constexpr (std::is_same_v<decltype(visit(token)), bool>) {
      goesOn = visit(token);
    } else {
      visit(token);
    }
  };
  for (std::size_t at = 0; at < text.size() && goesOn;) {
    const std::string_view rest = text.substr(at);
    const char c = text[at];
    if (rest.starts_with("--")) {
      at = behind(text, "\n", at);
    } else if (rest.starts_with("/*")) {
      at = behind(text, "*/", at + 2);
    } else if (c == '\'' || c == '"' || c == '[') {
      // A doubled quote begins another one at once.
      const std::size_t end = behind(text, c == '[' ? "]" : rest.substr(0, 1), at + 1);
      const bool isName = c == '[' || (c == '"' && quotedIdentifier);
      tell(Token{isName ? Token::Type::quotedName : Token::Type::string,
                 text.substr(at + 1, end - at - 2)});
      at = end;
    } else if (isOfName(c)) {
      std::size_t end = at;
      while (end < text.size() && isOfName(text[end])) ++end;
      tell(Token{Token::Type::name, text.substr(at, end - at)});
      at = end;
    } else {
      if (!isSpace(c)) tell(Token{Token::Type::symbol, rest.substr(0, 1)});
      ++at;
    }
  }
}

}  // namespace kelvane::inventory
