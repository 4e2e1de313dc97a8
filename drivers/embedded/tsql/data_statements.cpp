#include "drivers/embedded/tsql/grammar.h"

namespace kelvane::tsql {

StatementNode Parser::selectStatement() {
  mayMakeTable_ = true;
  return SelectStatement{query()};
}

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
  } else if (startsQuery()) {
    result.source = query();
  } else {
    unexpected();
  }
  planClause();
  return result;
}

// `plan '(i_scan i t)'`
void Parser::planClause() {
  if (!at("plan") || !atKind(TokenKind::String, 1)) return;
  take();
  take();
  hints_.emplace_back("plan");
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
      ((at("all", 1) || at("index", 1) || at("table", 1) || at("partition", 1)) &&
       at("statistics", 2)))
    return utilityStatement();
  expect("update");
  Update result;
  result.top = topClause();
  result.target = objectName();
  targetHints();
  expect("set");
  commaList([&] { result.assignments.push_back(assignment()); });
  if (accept("from")) result.from = fromList();
  whereClause(result.where, result.currentOf);
  planClause();
  return result;
}

StatementNode Parser::deleteStatement() {
  if (at("statistics", 1)) return utilityStatement();
  expect("delete");
  Delete result;
  result.top = topClause();
  accept("from");
  result.target = objectName();
  targetHints();
  if (accept("from")) result.from = fromList();
  whereClause(result.where, result.currentOf);
  planClause();
  return result;
}

// `(index i prefetch 16 mru)` behind the table of an update or delete.
void Parser::targetHints() {
  if (!atSymbol("(")) return;
  skipParenthesized();
  hints_.emplace_back("index hint");
}

StatementNode Parser::truncateStatement() {
  if (at("lob", 1) || at("precomputed", 1)) return utilityStatement();
  expect("truncate");
  expect("table");
  Truncate result{objectName(), {}};
  if (at("partition")) {
    since(15);
    take();
    result.partition = name();
  }
  return result;
}

StatementNode Parser::mergeStatement() {
  since(15);
  expect("merge");
  accept("into");
  Merge result;
  result.target.name = objectName();
  if (!at("using")) result.target.alias = alias();
  expect("using");
  result.source = tableRef();
  expect("on");
  result.on = expression();
  do result.clauses.push_back(mergeClause());
  while (at("when"));
  planClause();
  return result;
}

MergeClause Parser::mergeClause() {
  MergeClause result;
  expect("when");
  result.matched = !accept("not");
  expect("matched");
  if (accept("and")) result.condition = expression();
  expect("then");
  if (!result.matched) {
    expect("insert");
    if (atSymbol("(")) result.columns = parenthesizedNames();
    expect("values");
    parenthesizedList([&] { result.values.push_back(expression()); });
  } else if (accept("update")) {
    expect("set");
    commaList([&] { result.assignments.push_back(assignment()); });
  } else {
    expect("delete");
  }
  return result;
}

}  // namespace kelvane::tsql
