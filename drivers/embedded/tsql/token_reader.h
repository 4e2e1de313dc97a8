// The tokens of a batch, read from the first to the last, and the small parts that they make:
// names, types, lists.
//
// Internal to this folder. Tokens refer to the text of the batch, which must outlive the reader.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "drivers/embedded/tsql/ast/basics.h"
#include "drivers/embedded/tsql/lexer.h"

namespace kelvane::tsql {

class TokenReader {
 protected:
  TokenReader(std::string_view batch, ParseOptions options);

  // Tokens. Words are compared without regard to case; `word` must be in lower case.
  const Token& peek(std::size_t ahead = 0) const;
  const Token& take();
  /// The token before the one that comes next. There must be one.
  const Token& previous() const { return tokens_[at_ - 1]; }
  /// How many tokens have been taken.
  std::size_t position() const { return at_; }
  std::string_view text() const { return batch_; }
  bool at(std::string_view word, std::size_t ahead = 0) const;
  bool atSymbol(std::string_view symbol, std::size_t ahead = 0) const;
  bool atKind(TokenKind kind, std::size_t ahead = 0) const { return peek(ahead).kind == kind; }
  bool atName(std::size_t ahead = 0) const;
  bool atNameOrString() const { return atName() || atKind(TokenKind::String); }
  bool accept(std::string_view word);
  bool acceptSymbol(std::string_view symbol);
  void expect(std::string_view word);
  void expectSymbol(std::string_view symbol);
  [[noreturn]] void unexpected() const;
  /// Refuses the token before which the parser stands in releases before this one.
  void since(int release) const;
  [[noreturn]] void nestedTooDeeply() const;
  SourceRange from(const Token& first) const;

  // `item()` for each element of a comma list.
  template <class Item>
  void commaList(Item item) {
    do item();
    while (acceptSymbol(","));
  }
  // The same between parentheses; a comma before the closing one is forgiven, as the server does.
  template <class Item>
  void parenthesizedList(Item item) {
    expectSymbol("(");
    do item();
    while (acceptSymbol(",") && !atSymbol(")"));
    expectSymbol(")");
  }

  // Names and small parts.
  std::string name();
  std::string nameOrString();
  std::string variableName();
  std::string wordText();
  std::vector<std::string> parenthesizedNames();
  ObjectName objectName();
  ObjectName objectNameOf(std::vector<std::string> parts, const Token& first) const;
  std::vector<std::string> dottedParts();
  DataType dataType();
  std::string builtInTypeName();
  std::int64_t integer(std::int64_t largest = std::numeric_limits<std::int64_t>::max());
  int typeArgument();
  SortOrder sortOrder();
  void skipParenthesized();

 private:
  std::string_view batch_;
  ParseOptions options_;
  std::vector<Token> tokens_;
  std::size_t at_ = 0;
};

}  // namespace kelvane::tsql
