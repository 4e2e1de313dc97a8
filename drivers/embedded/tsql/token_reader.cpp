#include "drivers/embedded/tsql/token_reader.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <utility>

#include "drivers/embedded/tsql/error.h"
#include "drivers/embedded/tsql/words.h"

namespace kelvane::tsql {

TokenReader::TokenReader(std::string_view batch, ParseOptions options)
    : batch_(batch), options_(options), tokens_(tokenize(batch, options)) {}

const Token& TokenReader::peek(std::size_t ahead) const {
  return tokens_[std::min(at_ + ahead, tokens_.size() - 1)];
}

const Token& TokenReader::take() {
  const Token& token = peek();
  if (token.kind != TokenKind::End) ++at_;
  return token;
}

bool TokenReader::at(std::string_view word, std::size_t ahead) const {
  const Token& token = peek(ahead);
  if (token.kind != TokenKind::Word) return false;
  return token.reserved.empty() ? equalsIgnoringCase(token.text, word) : token.reserved == word;
}

bool TokenReader::atSymbol(std::string_view symbol, std::size_t ahead) const {
  return atKind(TokenKind::Symbol, ahead) && peek(ahead).text == symbol;
}

bool TokenReader::atName(std::size_t ahead) const {
  const Token& token = peek(ahead);
  return token.kind == TokenKind::QuotedWord ||
         (token.kind == TokenKind::Word && token.reserved.empty());
}

bool TokenReader::accept(std::string_view word) {
  if (!at(word)) return false;
  take();
  return true;
}

bool TokenReader::acceptSymbol(std::string_view symbol) {
  if (!atSymbol(symbol)) return false;
  take();
  return true;
}

void TokenReader::expect(std::string_view word) {
  if (!accept(word)) unexpected();
}

void TokenReader::expectSymbol(std::string_view symbol) {
  if (!acceptSymbol(symbol)) unexpected();
}

// At the end of the batch the server names the last token it saw.
void TokenReader::unexpected() const {
  const std::size_t last = tokens_.size() - 1;
  const Token& near = tokens_[at_ == last && last > 0 ? last - 1 : at_];
  const auto& message = near.reserved.empty() ? message::syntax : message::syntaxNearKeyword;
  throw ServerError(message, near.line, near.value());
}

void TokenReader::since(int release) const {
  if (options_.release < release) unexpected();
}

void TokenReader::nestedTooDeeply() const {
  throw ServerError(message::nestedTooDeeply, peek().line);
}

SourceRange TokenReader::from(const Token& first) const {
  const std::uint32_t end = at_ > 0 ? tokens_[at_ - 1].end : first.begin;
  return {first.begin, std::max(end, first.begin), first.line};
}

// names and small parts

std::string TokenReader::name() {
  if (!atName()) unexpected();
  std::string result = peek().value();
  if (result.empty()) unexpected();
  take();
  return result;
}

std::string TokenReader::nameOrString() {
  if (!atNameOrString()) unexpected();
  return take().value();
}

std::string TokenReader::variableName() {
  if (!atKind(TokenKind::Variable)) unexpected();
  return take().value();
}

// Any word, reserved or not, in lower case.
std::string TokenReader::wordText() {
  if (!atKind(TokenKind::Word)) unexpected();
  return lowerCase(take().text);
}

std::vector<std::string> TokenReader::parenthesizedNames() {
  std::vector<std::string> names;
  parenthesizedList([&] { names.push_back(name()); });
  return names;
}

// Between two dots a part may be missing.
std::vector<std::string> TokenReader::dottedParts() {
  std::vector<std::string> parts{name()};
  while (acceptSymbol(".")) {
    if (atSymbol("*")) {
      parts.emplace_back();
      break;
    }
    if (atSymbol(".")) {
      parts.emplace_back();
    } else {
      parts.push_back(at("syb_identity") ? take().value() : name());
    }
  }
  return parts;
}

ObjectName TokenReader::objectNameOf(std::vector<std::string> parts, const Token& first) const {
  ObjectName result;
  std::string* const slots[] = {&result.name, &result.owner, &result.database, &result.server};
  if (parts.size() > std::size(slots)) unexpected();
  std::size_t slot = 0;
  for (auto part = parts.rbegin(); part != parts.rend(); ++part) *slots[slot++] = std::move(*part);
  result.range = from(first);
  return result;
}

ObjectName TokenReader::objectName() {
  const Token& first = peek();
  std::vector<std::string> parts = dottedParts();
  if (parts.back().empty()) unexpected();
  return objectNameOf(std::move(parts), first);
}

std::int64_t TokenReader::integer(std::int64_t largest) {
  if (!atKind(TokenKind::Integer)) unexpected();
  std::int64_t value = 0;
  const std::string_view text = peek().text;
  const auto error = std::from_chars(text.data(), text.data() + text.size(), value).ec;
  if (error != std::errc() || value > largest) unexpected();
  take();
  return value;
}

int TokenReader::typeArgument() {
  constexpr std::int64_t kLargest = 1 << 20;
  return static_cast<int>(integer(kLargest));
}

// The names of several words, or empty.
std::string TokenReader::builtInTypeName() {
  const auto varying = [&](const std::string& base) {
    return accept("varying") ? base + " varying" : base;
  };
  if (accept("double")) {
    expect("precision");
    return "double precision";
  }
  if (accept("national")) {
    if (!at("char") && !at("character")) unexpected();
    return varying("national " + wordText());
  }
  if (at("unsigned") && atKind(TokenKind::Word, 1) && peek(1).reserved.empty()) {
    take();
    return "unsigned " + wordText();
  }
  for (const std::string_view base : {"char", "character", "nchar", "binary", "unichar"})
    if (at(base) && at("varying", 1)) return varying(wordText());
  return {};
}

DataType TokenReader::dataType() {
  const Token& first = peek();
  DataType type;
  type.name = builtInTypeName();
  if (type.name.empty()) {
    ObjectName typeName = objectName();
    type.owner = std::move(typeName.owner);
    type.name = std::move(typeName.name);
  }
  if (acceptSymbol("(")) {
    type.length = typeArgument();
    if (acceptSymbol(",")) type.scale = typeArgument();
    expectSymbol(")");
  }
  type.range = from(first);
  return type;
}

SortOrder TokenReader::sortOrder() {
  if (accept("desc")) return SortOrder::Descending;
  accept("asc");
  return SortOrder::Ascending;
}

void TokenReader::skipParenthesized() {
  expectSymbol("(");
  for (int open = 1; open > 0;) {
    if (atKind(TokenKind::End)) unexpected();
    if (atSymbol("(")) ++open;
    if (atSymbol(")")) --open;
    take();
  }
}

}  // namespace kelvane::tsql
