#include "drivers/embedded/tsql/grammar.h"

namespace kelvane::tsql {

StatementNode Parser::selectStatement() { return SelectStatement{query()}; }

StatementNode Parser::insertStatement() {
  expect("insert");
  accept("into");
  Insert result;
  result.table = objectName();
  if (atSymbol("(") && !startsQuery()) result.columns = parenthesizedNames();
  if (accept("values")) {
    InsertValues row;
    expectSymbol("(");
    commaList([&] { row.values.push_back(expression()); });
    expectSymbol(")");
    result.source = std::move(row);
  } else if (accept("default")) {
    expect("values");
    result.source = InsertDefaults{};
  } else if (at("exec") || at("execute")) {
    std::visit([&](auto&& call) { result.source = std::forward<decltype(call)>(call); },
               executeOrImmediate());
  } else if (startsQuery()) {
    result.source = query();
  } else {
    unexpected();
  }
  return result;
}

Assignment Parser::assignment() {
  const Token& first = peek();
  Assignment result;
  if (atKind(TokenKind::Variable)) {
    result.variable = variableName();
  } else {
    std::vector<std::string> parts = dottedParts();
    if (parts.back().empty()) unexpected();
    result.column = std::move(parts.back());
    parts.pop_back();
    if (!parts.empty()) result.qualifier = objectNameOf(std::move(parts), first);
  }
  expectSymbol("=");
  result.value = expression();
  result.range = from(first);
  return result;
}

void Parser::whereClause(ExprPtr& where, std::string& currentOf) {
  if (!accept("where")) return;
  if (accept("current")) {
    expect("of");
    currentOf = name();
  } else {
    where = expression();
  }
}

StatementNode Parser::updateStatement() {
  if (at("statistics", 1) ||
      ((at("all", 1) || at("index", 1) || at("table", 1)) && at("statistics", 2)))
    return utilityStatement();
  expect("update");
  Update result;
  result.top = topClause();
  result.target = objectName();
  if (atSymbol("(")) skipParenthesized();
  expect("set");
  commaList([&] { result.assignments.push_back(assignment()); });
  if (accept("from")) result.from = fromList();
  whereClause(result.where, result.currentOf);
  return result;
}

StatementNode Parser::deleteStatement() {
  if (at("statistics", 1)) return utilityStatement();
  expect("delete");
  Delete result;
  result.top = topClause();
  accept("from");
  result.target = objectName();
  if (atSymbol("(")) skipParenthesized();
  if (accept("from")) result.from = fromList();
  whereClause(result.where, result.currentOf);
  return result;
}

StatementNode Parser::truncateStatement() {
  expect("truncate");
  expect("table");
  Truncate result{objectName()};
  return result;
}

}  // namespace kelvane::tsql
