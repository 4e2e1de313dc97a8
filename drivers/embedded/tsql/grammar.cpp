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
    : TokenReader(batch, options), texts_(texts) {}

Parser::Nesting::Nesting(Parser& p) : parser(p) {
  if (parser.depth_ == kMaxDepth) parser.nestedTooDeeply();
  ++parser.depth_;
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
bool Parser::atBareCall() const { return position() == firstStatement_ || previous().text == ";"; }

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
  firstStatement_ = position();
  StatementList statements = statementsUntilEnd();
  const bool isView =
      statements.size() == 1 && std::holds_alternative<CreateView>(statements.front()->node);
  if (wholeBatch_ || isView)
    statements.front()->range = {0, static_cast<std::uint32_t>(text().size()), 1};
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
