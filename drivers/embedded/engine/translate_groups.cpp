// Groups, and the columns that a query names beside aggregates without grouping by them.

#include <algorithm>
#include <string>

#include "drivers/embedded/engine/builtins.h"
#include "drivers/embedded/engine/translator.h"
#include "drivers/embedded/engine/walk.h"

namespace kelvane::embedded {

using namespace tsql;

namespace {

bool isAggregateCall(const Expr& expr) {
  const auto* call = as<Call>(expr);
  return call != nullptr && isAggregateName(call->function.name);
}

bool isOneTable(const Select& select) {
  return select.from.size() == 1 && !std::holds_alternative<Join>(select.from.front()->node);
}

// SQLite evaluates it before it looks for rows. The columns of such a query are known, so that a
// view or a procedure may hold it.
std::string refusal(const std::string& column) {
  return " WHERE ungrouped_column(" + quotedText(column) + ")";
}

}  // namespace

std::string Translator::keyText(const Expr& expr, const Scope* scope) {
  writesTexts_ = true;
  std::string text = collated(value(expr, scope));
  writesTexts_ = false;
  return text;
}

bool Translator::isKeyExpression(const Expr& expr, const Scope* scope) {
  const Grouping* grouping = scope == nullptr ? nullptr : scope->grouping;
  if (grouping == nullptr || grouping->expressions.empty() || isWithinKey_ || writesTexts_) {
    return false;
  }
  if (aggregated_ == scope || as<ColumnRef>(expr) || as<Literal>(expr)) return false;
  if (anyWithin(expr, isAggregateCall)) return false;
  isWithinKey_ = true;
  const std::string text = keyText(expr, scope);
  isWithinKey_ = false;
  return std::ranges::find(grouping->expressions, text) != grouping->expressions.end();
}

void Translator::noteColumn(const Scope* home, const SourceColumn& column,
                            const std::string& sql) const {
  Grouping* grouping = home->grouping;
  if (grouping == nullptr || isWithinKey_ || aggregated_ == home) return;
  if (std::ranges::find(grouping->keys, sql) == grouping->keys.end()) {
    grouping->rowColumn = column.name;
  }
}

void Translator::groupKeys(const Select& select, Scope& scope, SelectText& text) {
  scope.clause = Clause::GroupBy;
  text.grouping = std::make_unique<Grouping>();
  for (const auto& key : select.groupBy) {
    const SqlValue known = value(*key, &scope);
    text.grouping->keys.push_back(collated(known));
    if (!known.isColumn) text.grouping->expressions.push_back(keyText(*key, &scope));
  }
  scope.clause = Clause::Other;
  scope.grouping = text.grouping.get();
  text.tail += text.grouping->keys.empty() ? "" : " GROUP BY " + joined(text.grouping->keys, ", ");
  if (select.groupByAll && select.where) text.tail = " FROM " + text.rowsFrom + refusal("");
}

// The where clause decides what is aggregated, not which rows of a group there are.
void Translator::joinGroups(const Select& select, Scope& scope, SelectText& text) {
  Grouping& grouping = *text.grouping;
  if (!isOneTable(select) || select.groupByAll || (select.where && select.groupBy.empty())) {
    refuseColumn(text);
    return;
  }
  grouping.isJoined = true;
  grouping.alias = newAlias();
  std::size_t next = 0;
  text.rowsFrom = renderTable(*select.from.front(), scope, next);
  text.items = selectItems(select, scope);
  if (select.having) text.having = having(*select.having, scope);
}

void Translator::refuseColumn(SelectText& text) {
  text.tail = " FROM " + text.rowsFrom + refusal(text.grouping->rowColumn);
}

std::string Translator::having(const Expr& condition, Scope& scope) {
  scope.clause = Clause::Having;
  std::string sql = this->condition(condition, &scope, Polarity::Any);
  scope.clause = Clause::Other;
  return sql;
}

std::string Translator::joinedTail(const SelectText& text) {
  const Grouping& grouping = *text.grouping;
  std::vector<std::string> columns;
  std::vector<std::string> conditions;
  for (const std::string& key : grouping.keys) {
    const std::string name = "k" + std::to_string(columns.size() + 1);
    columns.push_back(key + " AS " + name);
    conditions.push_back(key + " IS " + grouping.alias + "." + name);
  }
  std::size_t number = 0;
  for (const std::string& aggregate : grouping.aggregates) {
    columns.push_back(aggregate + " AS a" + std::to_string(++number));
  }
  if (!text.having.empty()) conditions.push_back(text.having);
  std::string sql = " FROM " + text.rowsFrom + ", (SELECT " + joined(columns, ", ") + text.tail +
                    ") AS " + grouping.alias;
  if (!conditions.empty()) sql += " WHERE " + joined(conditions, " AND ");
  return sql;
}

}  // namespace kelvane::embedded
