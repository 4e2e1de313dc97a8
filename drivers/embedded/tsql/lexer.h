// Cuts a batch into tokens. Comments and blanks vanish here; everything else is the parser's.
//
// Tokens are views into the batch, which must outlive them. No shared state.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kelvane::tsql {

/// How a batch is to be read; a session changes it with `set quoted_identifier`.
struct ParseOptions {
  bool quotedIdentifier = false;  ///< "..." is an identifier, else a string
  std::size_t longestName = 255;  ///< in bytes; a longer identifier is refused with 103
  int release = 16;               ///< 12, 15 or 16: what came later is a syntax error
};

enum class TokenKind {
  End,
  Word,            ///< identifier or reserved word, also `#temporary`
  QuotedWord,      ///< [name], or "name" where that is an identifier
  Variable,        ///< @name
  GlobalVariable,  ///< @@name
  Integer,
  Decimal,
  Float,
  Money,
  String,
  Binary,
  Symbol,
};

/// How long the letters before the quote of `U&'...'` are.
inline constexpr std::size_t kUnicodePrefix = 2;

struct Token {
  TokenKind kind = TokenKind::End;
  std::string_view text;      ///< as written
  std::string_view reserved;  ///< the lower-case spelling when a Word is reserved, else empty
  std::uint32_t begin = 0;
  std::uint32_t end = 0;
  std::uint32_t line = 1;

  /// The name or string without its quotes; any other token as written.
  std::string value() const;
  /// The letters before the quote of `N'...'` and `U&'...'`.
  std::size_t prefix() const;
};

/// The tokens of `batch`, ended by one End token.
/// Throws ServerError 105 for a string or quoted name without its end, 113 for such a comment, 103
/// for a name that is too long.
std::vector<Token> tokenize(std::string_view batch, ParseOptions options);

}  // namespace kelvane::tsql
