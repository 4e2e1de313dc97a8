#include "drivers/embedded/tsql/grammar.h"

#include <algorithm>
#include <charconv>
#include <functional>

#include "drivers/embedded/tsql/error.h"
#include "drivers/embedded/tsql/parser.h"
#include "drivers/embedded/tsql/words.h"

namespace kelvane::tsql {

const Parser::StatementRule Parser::kStatementRules[] = {
    {"alter", &Parser::alterStatement},
    {"begin", &Parser::beginStatement},
    {"break", &Parser::breakStatement},
    {"checkpoint", &Parser::utilityStatement},
    {"close", &Parser::closeStatement},
    {"commit", &Parser::commitStatement},
    {"connect", &Parser::utilityStatement},
    {"continue", &Parser::continueStatement},
    {"create", &Parser::createStatement},
    {"dbcc", &Parser::utilityStatement},
    {"deallocate", &Parser::deallocateStatement},
    {"declare", &Parser::declareStatement},
    {"delete", &Parser::deleteStatement},
    {"disk", &Parser::utilityStatement},
    {"drop", &Parser::dropStatement},
    {"dump", &Parser::utilityStatement},
    {"exec", &Parser::executeStatement},
    {"execute", &Parser::executeStatement},
    {"fetch", &Parser::fetchStatement},
    {"goto", &Parser::gotoStatement},
    {"grant", &Parser::grantStatement},
    {"if", &Parser::ifStatement},
    {"insert", &Parser::insertStatement},
    {"kill", &Parser::utilityStatement},
    {"load", &Parser::utilityStatement},
    {"lock", &Parser::utilityStatement},
    {"online", &Parser::utilityStatement},
    {"open", &Parser::openStatement},
    {"prepare", &Parser::utilityStatement},
    {"print", &Parser::printStatement},
    {"quiesce", &Parser::utilityStatement},
    {"raiserror", &Parser::raiseErrorStatement},
    {"readtext", &Parser::utilityStatement},
    {"reconfigure", &Parser::utilityStatement},
    {"reorg", &Parser::utilityStatement},
    {"return", &Parser::returnStatement},
    {"revoke", &Parser::revokeStatement},
    {"rollback", &Parser::rollbackStatement},
    {"save", &Parser::saveStatement},
    {"select", &Parser::selectStatement},
    {"set", &Parser::setStatement},
    {"setuser", &Parser::setUserStatement},
    {"shutdown", &Parser::utilityStatement},
    {"truncate", &Parser::truncateStatement},
    {"update", &Parser::updateStatement},
    {"use", &Parser::useStatement},
    {"waitfor", &Parser::waitForStatement},
    {"while", &Parser::whileStatement},
    {"writetext", &Parser::utilityStatement},
};

const Parser::StatementRule* Parser::statementRule(std::string_view word) {
  const auto rule = std::ranges::lower_bound(kStatementRules, word, {}, &StatementRule::word);
  return rule != std::end(kStatementRules) && rule->word == word ? rule : nullptr;
}

Parser::Parser(std::string_view batch, ParseOptions options, std::span<const TextSpan> texts)
    : batch_(batch), options_(options), tokens_(tokenize(batch, options)), texts_(texts) {}

Parser::Nesting::Nesting(Parser& p) : parser(p) {
  if (parser.depth_ == kMaxDepth) parser.nestedTooDeeply();
  ++parser.depth_;
}

// tokens

const Token& Parser::peek(std::size_t ahead) const {
  return tokens_[std::min(at_ + ahead, tokens_.size() - 1)];
}

const Token& Parser::take() {
  const Token& token = peek();
  if (token.kind != TokenKind::End) ++at_;
  return token;
}

bool Parser::at(std::string_view word, std::size_t ahead) const {
  const Token& token = peek(ahead);
  if (token.kind != TokenKind::Word) return false;
  return token.reserved.empty() ? equalsIgnoringCase(token.text, word) : token.reserved == word;
}

bool Parser::atSymbol(std::string_view symbol, std::size_t ahead) const {
  return atKind(TokenKind::Symbol, ahead) && peek(ahead).text == symbol;
}

bool Parser::atName(std::size_t ahead) const {
  const Token& token = peek(ahead);
  return token.kind == TokenKind::QuotedWord ||
         (token.kind == TokenKind::Word && token.reserved.empty());
}

bool Parser::accept(std::string_view word) {
  if (!at(word)) return false;
  take();
  return true;
}

bool Parser::acceptSymbol(std::string_view symbol) {
  if (!atSymbol(symbol)) return false;
  take();
  return true;
}

void Parser::expect(std::string_view word) {
  if (!accept(word)) unexpected();
}

void Parser::expectSymbol(std::string_view symbol) {
  if (!acceptSymbol(symbol)) unexpected();
}

// At the end of the batch the server names the last token it saw.
void Parser::unexpected() const {
  const std::size_t last = tokens_.size() - 1;
  const Token& near = tokens_[at_ == last && last > 0 ? last - 1 : at_];
  const auto& message = near.reserved.empty() ? message::syntax : message::syntaxNearKeyword;
  throw ServerError(message, near.line, near.value());
}

void Parser::since(int release) const {
  if (options_.release < release) unexpected();
}

void Parser::nestedTooDeeply() const { throw ServerError(message::nestedTooDeeply, peek().line); }

SourceRange Parser::from(const Token& first) const {
  const std::uint32_t end = at_ > 0 ? tokens_[at_ - 1].end : first.begin;
  return {first.begin, std::max(end, first.begin), first.line};
}

// names and small parts

std::string Parser::name() {
  if (!atName()) unexpected();
  std::string result = peek().value();
  if (result.empty()) unexpected();
  take();
  return result;
}

std::string Parser::nameOrString() {
  if (!atNameOrString()) unexpected();
  return take().value();
}

std::string Parser::variableName() {
  if (!atKind(TokenKind::Variable)) unexpected();
  return take().value();
}

// Any word, reserved or not, in lower case.
std::string Parser::wordText() {
  if (!atKind(TokenKind::Word)) unexpected();
  return lowerCase(take().text);
}

std::vector<std::string> Parser::parenthesizedNames() {
  std::vector<std::string> names;
  parenthesizedList([&] { names.push_back(name()); });
  return names;
}

// Between two dots a part may be missing.
std::vector<std::string> Parser::dottedParts() {
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

ObjectName Parser::objectNameOf(std::vector<std::string> parts, const Token& first) const {
  ObjectName result;
  std::string* const slots[] = {&result.name, &result.owner, &result.database, &result.server};
  if (parts.size() > std::size(slots)) unexpected();
  std::size_t slot = 0;
  for (auto part = parts.rbegin(); part != parts.rend(); ++part) *slots[slot++] = std::move(*part);
  result.range = from(first);
  return result;
}

ObjectName Parser::objectName() {
  const Token& first = peek();
  std::vector<std::string> parts = dottedParts();
  if (parts.back().empty()) unexpected();
  return objectNameOf(std::move(parts), first);
}

std::int64_t Parser::integer(std::int64_t largest) {
  if (!atKind(TokenKind::Integer)) unexpected();
  std::int64_t value = 0;
  const std::string_view text = peek().text;
  const auto error = std::from_chars(text.data(), text.data() + text.size(), value).ec;
  if (error != std::errc() || value > largest) unexpected();
  take();
  return value;
}

int Parser::typeArgument() {
  constexpr std::int64_t kLargest = 1 << 20;
  return static_cast<int>(integer(kLargest));
}

// The names of several words, or empty.
std::string Parser::builtInTypeName() {
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

DataType Parser::dataType() {
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

SortOrder Parser::sortOrder() {
  if (accept("desc")) return SortOrder::Descending;
  accept("asc");
  return SortOrder::Ascending;
}

void Parser::skipParenthesized() {
  expectSymbol("(");
  for (int open = 1; open > 0;) {
    if (atKind(TokenKind::End)) unexpected();
    if (atSymbol("(")) ++open;
    if (atSymbol(")")) --open;
    take();
  }
}

// statements

// For the statements whose own grammar does not say where they end.
bool Parser::endsStatement() const {
  return atKind(TokenKind::End) || atSymbol(";") || at("end") || at("else") ||
         statementRule(peek().reserved) != nullptr || atUnreservedStatement();
}

void Parser::skipSeparators() {
  while (acceptSymbol(";")) {
  }
}

// A procedure may be called without `exec` at the start of a batch. Scripts made for runners that
// cut at `;` have one after every semicolon, where nothing else could be meant.
bool Parser::atBareCall() const { return at_ == firstStatement_ || tokens_[at_ - 1].text == ";"; }

StatementNode Parser::statementNode() {
  if (const StatementRule* rule = statementRule(peek().reserved))
    return std::invoke(rule->parse, this);
  if (startsQuery()) return selectStatement();
  if (atName() && atSymbol(":", 1)) return labelStatement();
  if (atMerge()) return mergeStatement();
  if (atUnreservedStatement()) return utilityStatement();
  if (atName() && atBareCall()) return procedureCall();
  unexpected();
}

StatementPtr Parser::statement() {
  const Nesting nesting(*this);
  const int outerHeight = std::exchange(height_, 0);
  const Token& first = peek();
  std::vector<std::string> outerHints = std::exchange(hints_, {});
  auto result = std::make_unique<Statement>(Statement{{}, statementNode()});
  result->range = from(first);
  result->hints = std::exchange(hints_, std::move(outerHints));
  height_ = std::max(height_, outerHeight);
  return result;
}

StatementList Parser::statementsUntilEnd() {
  StatementList statements;
  for (skipSeparators(); !atKind(TokenKind::End); skipSeparators())
    statements.push_back(statement());
  return statements;
}

StatementList Parser::batch() {
  skipSeparators();
  firstStatement_ = at_;
  StatementList statements = statementsUntilEnd();
  const bool isView =
      statements.size() == 1 && std::holds_alternative<CreateView>(statements.front()->node);
  if (wholeBatch_ || isView)
    statements.front()->range = {0, static_cast<std::uint32_t>(batch_.size()), 1};
  return statements;
}

ExprPtr Parser::wholeExpression() {
  ExprPtr result = expression();
  if (!atKind(TokenKind::End)) unexpected();
  return result;
}

StatementList parseBatch(std::string_view batch, ParseOptions options) {
  return Parser(batch, options).batch();
}

ShapedBatch parseBatch(std::string_view batch, const BatchShape& shape, ParseOptions options) {
  Parser parser(batch, options, shape.texts);
  StatementList statements = parser.batch();
  return {std::move(statements), parser.tookEverySlot()};
}

ExprPtr parseExpression(std::string_view text, ParseOptions options) {
  return Parser(text, options).wholeExpression();
}

}  // namespace kelvane::tsql
