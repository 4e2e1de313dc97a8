// Queries: select lists, unions, grouping, ordering, limits.

#include <algorithm>
#include <charconv>

#include "drivers/embedded/engine/builtins.h"
#include "drivers/embedded/engine/translator.h"
#include "drivers/embedded/engine/typing.h"
#include "drivers/embedded/engine/walk.h"
#include "drivers/embedded/tsql/words.h"

namespace kelvane::embedded {

using namespace tsql;

namespace {

bool isAggregate(const Expr& expr) {
  const auto* call = as<Call>(expr);
  return call != nullptr && isAggregateName(call->function.name);
}

bool isIdentityCall(const Expr& expr) {
  const auto* call = as<Call>(expr);
  return call != nullptr && call->function.owner.empty() &&
         tsql::lowerCase(call->function.name) == "identity";
}

bool aggregates(const Select& select) {
  return std::any_of(select.items.begin(), select.items.end(),
                     [](const SelectItem& item) { return anyWithin(*item.value, isAggregate); });
}

std::string listed(const std::vector<SqlValue>& items, bool collate) {
  std::string sql;
  int position = 0;
  for (const SqlValue& item : items) {
    if (!sql.empty()) sql += ", ";
    sql += (collate ? collated(item) : item.sql) + " AS r" + std::to_string(++position);
  }
  return sql;
}

}  // namespace

Plan Translator::finish(std::string sql, std::vector<ResultColumn> columns) {
  Plan plan{std::move(sql), std::move(parameters_), std::move(columns), std::move(assumptions_),
            std::move(temporaries_)};
  plan.holdsTexts = holdsTexts_;
  return plan;
}

std::optional<std::uint64_t> Translator::rowLimit(std::optional<std::uint64_t> top) const {
  if (context_.rowLimit == 0) return top;
  return std::min(top.value_or(context_.rowLimit), context_.rowLimit);
}

Plan Translator::select(const Query& whole) {
  const Select& first = whole.terms.front().select;
  const bool assigns = !first.items.empty() && !first.items.front().variable.empty();
  for (const SelectItem& item : first.items) {
    if (item.variable.empty() == assigns) {
      throw ServerError(message::assignsAndSelects, item.value->range.line);
    }
    if (!assigns) continue;
    if (context_.variables.find(item.variable) == context_.variables.end()) {
      throw ServerError(message::undeclaredVariable, item.value->range.line, item.variable);
    }
    if (!first.from.empty() || first.items.size() > 1) assignedVariables_.push_back(item.variable);
  }
  // One assignment after the other sees the ones before it only where there are rows to walk.
  if (first.from.empty()) assignedVariables_.clear();
  QueryText text = query(whole, nullptr, QueryUse::Result);
  return finish(std::move(text.sql), std::move(text.columns));
}

Plan Translator::selectInto(const Query& query) {
  makesTable_ = true;
  Plan plan = select(query);
  const Select& first = query.terms.front().select;
  const bool passesOn = query.isSingle() && first.from.size() == 1 && first.groupBy.empty() &&
                        !std::holds_alternative<Join>(first.from.front()->node) &&
                        !aggregates(first);
  const auto isIdentity = [](const ResultColumn& column) { return column.type.identity; };
  const bool isMade = std::ranges::any_of(
      first.items, [](const SelectItem& item) { return isIdentityCall(*item.value); });
  if ((!passesOn && !isMade) || std::ranges::count_if(plan.columns, isIdentity) > 1) {
    for (ResultColumn& column : plan.columns) column.type.identity = false;
  }
  return plan;
}

Plan Translator::values(const std::vector<const Expr*>& expressions) {
  std::vector<SqlValue> items;
  std::vector<ResultColumn> columns;
  for (const Expr* expr : expressions) {
    items.push_back(value(*expr, nullptr));
    columns.push_back({"", items.back().type});
  }
  return finish("SELECT " + listed(items, false), std::move(columns));
}

Plan Translator::test(const Expr& expr) {
  // A statement of its own, so false and unknown are the same here too.
  return finish("SELECT " + condition(expr, nullptr, Polarity::Positive) + " IS TRUE",
                {{"", intType()}});
}

std::vector<SqlValue> Translator::selectItems(const Select& select, const Scope& scope) {
  std::vector<SqlValue> items;
  for (const SelectItem& item : select.items) {
    const auto* star = as<Star>(*item.value);
    if (star == nullptr) {
      items.push_back(value(*item.value, &scope));
      if (!item.alias.empty()) items.back().name = item.alias;
      continue;
    }
    const auto only = star->table.empty() ? std::nullopt : scope.sourceNamed(star->table);
    if (!star->table.empty() && !only) {
      throw ServerError(message::unknownPrefix, item.value->range.line, star->table.name);
    }
    for (std::size_t i = 0; i < scope.sources.size(); ++i) {
      if (only && *only != i) continue;
      for (const SourceColumn& column : *scope.sources[i].columns) {
        noteColumn(&scope, column, scope.sources[i].sqlOf(column));
        items.push_back({scope.sources[i].sqlOf(column), column.type, column.name});
        items.back().isColumn = true;
      }
    }
  }
  return items;
}

// SQLite knows that all rows are one group only by an aggregate in the select list.
void Translator::makeOneGroup(SelectText& text) {
  std::string& sql = text.items.front().sql;
  sql = "CASE WHEN count(*) >= 0 THEN " + sql + " END";
}

// Of a query that only has to have rows or none, the select list says nothing.
void Translator::groupedText(const Select& select, Scope& scope, QueryUse use, SelectText& text) {
  groupKeys(select, scope, text);
  text.items = selectItems(select, scope);
  if (use == QueryUse::Existence) text.grouping->rowColumn.clear();
  const std::string condition = select.having ? having(*select.having, scope) : "";
  if (!text.grouping->rowColumn.empty()) {
    joinGroups(select, scope, text);
  } else if (!condition.empty()) {
    text.tail += " HAVING " + condition;
  }
}

Translator::SelectText Translator::selectText(const Select& select, const Query& whole,
                                              Scope& scope, QueryUse use) {
  SelectText text;
  text.distinct = select.distinct;
  text.limit = select.top;
  scope.clause = Clause::Where;
  FromText from = fromText(select.from, select.where.get(), scope);
  // Without groups a condition on them is one on the rows.
  text.hasGroups = !select.groupBy.empty() || aggregates(select) ||
                   (select.having && anyWithin(*select.having, isAggregate));
  if (select.having && !text.hasGroups) {
    from.conditions.push_back(condition(*select.having, &scope, Polarity::Positive));
  }
  scope.clause = Clause::Other;
  if (!from.sql.empty()) text.tail = " FROM " + from.sql;
  if (!from.conditions.empty()) text.tail += " WHERE " + chained(from.conditions, " AND ");
  if (text.hasGroups) {
    text.rowsFrom = std::move(from.sql);
    groupedText(select, scope, use, text);
  } else {
    text.items = selectItems(select, scope);
  }
  // Rows that the order leaves equal stay as the table has them.
  const bool oneTable = scope.sources.size() == 1 && !scope.sources[0].sqliteTable.empty();
  if (whole.isSingle() && oneTable && !select.distinct && !text.hasGroups) {
    text.rowOrder = scope.sources[0].sqlAlias + ".rowid";
  }
  return text;
}

void Translator::uniteTypes(std::vector<SelectText>& terms, std::uint32_t line) {
  const std::size_t count = terms.front().items.size();
  for (const SelectText& term : terms) {
    if (term.items.size() == count) continue;
    throw ServerError(message::unequalUnion, line);
  }
  for (std::size_t column = 0; column < count; ++column) {
    std::optional<ColumnType> type;
    bool nullable = false;
    for (const SelectText& term : terms) {
      const SqlValue& item = term.items[column];
      nullable = nullable || item.isNull || item.type.nullable;
      if (!item.isNull) type = type ? commonType(*type, item.type, line) : item.type;
    }
    const ColumnType common = withNullability(type.value_or(intType()), nullable);
    for (SelectText& term : terms) {
      SqlValue& item = term.items[column];
      item.sql = assigned(item, common, line);
      item.type = common;
      item.isNull = false;
    }
  }
}

// The result column, or what it is made of where its own form does not sort.
std::string Translator::orderedBy(const SelectText& first, std::size_t ordinal,
                                  const Query& query) {
  const SqlValue& item = first.items[ordinal - 1];
  if (isWide(item.type) && query.isSingle() && !first.distinct) {
    return "decimal_key(" + item.sql + ")";
  }
  return std::to_string(ordinal);
}

std::string Translator::orderText(const Query& query, const SelectText& first, const Scope& scope) {
  std::string sql;
  for (const OrderItem& item : query.orderBy) {
    const std::uint32_t line = item.value->range.line;
    std::string term;
    if (const auto* literal = as<Literal>(*item.value)) {
      std::size_t ordinal = 0;
      if (literal->kind == LiteralKind::Integer) {
        const std::string& digits = literal->text;
        std::from_chars(digits.data(), digits.data() + digits.size(), ordinal);
      }
      if (ordinal < 1 || ordinal > first.items.size()) {
        throw ServerError(message::orderByOutOfRange, line, literal->text);
      }
      term = orderedBy(first, ordinal, query);
    } else if (const auto* column = as<ColumnRef>(*item.value);
               column != nullptr && column->table.empty()) {
      const auto named =
          std::find_if(first.items.begin(), first.items.end(),
                       [&](const SqlValue& value) { return value.name == column->column; });
      if (named != first.items.end()) {
        term = orderedBy(first, static_cast<std::size_t>(named - first.items.begin()) + 1, query);
      }
    }
    if (term.empty()) {
      if (!query.isSingle()) {
        throw ServerError(message::orderByOutsideUnion, line);
      }
      if (!first.hasGroups && anyWithin(*item.value, isAggregate)) {
        throw ServerError(message::orderByAggregate, line);
      }
      const SqlValue key = value(*item.value, &scope);
      term = isWide(key.type) ? "decimal_key(" + key.sql + ")" : collated(key);
    }
    sql += (sql.empty() ? " ORDER BY " : ", ") + term;
    if (item.order == SortOrder::Descending) sql += " DESC";
  }
  if (!sql.empty() && !first.rowOrder.empty()) sql += ", " + first.rowOrder;
  return sql;
}

Translator::QueryText Translator::query(const Query& whole, const Scope* outer, QueryUse use) {
  std::vector<SelectText> terms;
  Scope firstScope{outer};
  for (const UnionTerm& term : whole.terms) {
    Scope scope{outer};
    terms.push_back(selectText(term.select, whole, scope, use));
    if (terms.size() == 1) firstScope = std::move(scope);
  }
  if (terms.size() > 1) uniteTypes(terms, whole.range.line);
  const bool sets = terms.size() > 1;
  std::string order;
  if (use != QueryUse::Existence) order = orderText(whole, terms.front(), firstScope);
  if (const Grouping* grouping = terms.front().grouping.get();
      grouping != nullptr && !grouping->isJoined && !grouping->rowColumn.empty()) {
    refuseColumn(terms.front());
  }
  if (whole.forClause == ForClause::Xml) {
    return {"SELECT rows_as_xml() AS r1", {{"", plainType(TypeKind::Text)}}, {false}};
  }
  QueryText result;
  for (std::size_t i = 0; i < terms.size(); ++i) {
    if (i > 0) result.sql += whole.terms[i].all ? " UNION ALL " : " UNION ";
    const bool collate = sets || terms[i].distinct || use == QueryUse::Values;
    const bool isLimited = sets && terms[i].limit;
    if (isLimited) result.sql += "SELECT * FROM (";
    result.sql += terms[i].distinct ? "SELECT DISTINCT " : "SELECT ";
    const Select& select = whole.terms[i].select;
    const bool isJoined = terms[i].grouping && terms[i].grouping->isJoined;
    const bool isBare = select.groupBy.empty() && !aggregates(select);
    if (use == QueryUse::Existence && !sets && isBare) {
      result.sql += terms[i].hasGroups && !isJoined ? "count(*)" : "1";
    } else {
      if (isBare && terms[i].hasGroups && !isJoined) makeOneGroup(terms[i]);
      result.sql += listed(terms[i].items, collate);
    }
    result.sql += isJoined ? joinedTail(terms[i]) : terms[i].tail;
    if (isLimited) result.sql += " LIMIT " + std::to_string(*terms[i].limit) + ")";
  }
  result.sql += order;
  auto limit = sets ? std::nullopt : terms.front().limit;
  if (use == QueryUse::Result) limit = rowLimit(limit);
  const std::uint64_t offset = whole.limit ? whole.limit->offset : 0;
  if (whole.limit && whole.limit->count != 0) {
    limit = std::min(limit.value_or(whole.limit->count), whole.limit->count);
  }
  if (limit || offset != 0) result.sql += " LIMIT " + (limit ? std::to_string(*limit) : "-1");
  if (offset != 0) result.sql += " OFFSET " + std::to_string(offset);
  for (const SqlValue& item : terms.front().items) {
    result.columns.push_back({item.name, item.type});
    result.nulls.push_back(item.isNull);
  }
  return result;
}

}  // namespace kelvane::embedded
