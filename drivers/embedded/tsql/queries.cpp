#include <algorithm>
#include <array>
#include <iterator>
#include <utility>

#include "drivers/embedded/tsql/grammar.h"
#include "drivers/embedded/tsql/words.h"

namespace kelvane::tsql {
namespace {

constexpr auto kTableHints =
    std::to_array<std::string_view>({"holdlock", "noholdlock", "readpast", "shared"});

// A query that cannot be spliced into another one is selected from instead.
Select selectFrom(QueryPtr query) {
  Select result;
  result.range = query->range;
  result.items.push_back({std::make_unique<Expr>(Expr{query->range, Star{}}), {}, {}});
  auto table = std::make_unique<TableRef>(
      TableRef{query->range, DerivedTable{std::move(query), "united", {}}});
  result.from.push_back(std::move(table));
  return result;
}

bool unitesAll(const Query& query) {
  return std::all_of(std::next(query.terms.begin()), query.terms.end(),
                     [](const UnionTerm& term) { return term.all; });
}

}  // namespace

QueryPtr Parser::parenthesizedQuery() {
  expectSymbol("(");
  QueryPtr result = query();
  expectSymbol(")");
  return result;
}

QueryPtr Parser::query() { return queryFrom(nullptr, peek()); }

// `leading` is a first operand that was read already.
QueryPtr Parser::queryFrom(QueryPtr leading, const Token& first) {
  const Nesting nesting(*this);
  QueryPtr result = leading ? std::move(leading) : std::make_unique<Query>();
  if (result->terms.empty()) unionOperand(*result, false);
  while (accept("union")) {
    const bool all = accept("all");
    unionOperand(*result, all);
  }
  selectTail(*result);
  result->range = from(first);
  return result;
}

// `a union (b union all c)` is the same as `a union b union c`, and `a union all (b union all c)`
// needs no parentheses either; what remains becomes a derived table.
void Parser::unionOperand(Query& query, bool all) {
  if (!atSymbol("(")) {
    query.terms.push_back({all, select()});
    return;
  }
  QueryPtr inner = parenthesizedQuery();
  const bool spliced = inner->orderBy.empty() && inner->compute.empty() &&
                       (query.terms.empty() || inner->isSingle() || !all || unitesAll(*inner));
  if (!spliced) {
    query.terms.push_back({all, selectFrom(std::move(inner))});
    return;
  }
  const bool first = query.terms.empty();
  for (UnionTerm& term : inner->terms) {
    if (!first) term.all = all;
    query.terms.push_back(std::move(term));
  }
}

Select Parser::select() {
  const Token& first = peek();
  Select result;
  const bool mayMakeTable = std::exchange(mayMakeTable_, false);
  expect("select");
  result.distinct = accept("distinct");
  if (!result.distinct) accept("all");
  result.top = topClause();
  commaList([&] { result.items.push_back(selectItem()); });
  if (mayMakeTable && accept("into")) {
    result.intoExisting = at("existing") && at("table", 1);
    if (result.intoExisting) {
      take();
      take();
    }
    result.into = objectName();
    tableTail(result.intoStorage);
  }
  if (accept("from")) result.from = fromList();
  if (accept("where")) result.where = expression();
  if (accept("group")) {
    expect("by");
    result.groupByAll = accept("all");
    commaList([&] { result.groupBy.push_back(expression()); });
  }
  if (accept("having")) result.having = expression();
  result.range = from(first);
  return result;
}

std::optional<std::uint64_t> Parser::topClause() {
  if (!at("top") || !atKind(TokenKind::Integer, 1)) return std::nullopt;
  take();
  return static_cast<std::uint64_t>(integer());
}

SelectItem Parser::selectItem() {
  SelectItem item;
  const Token& first = peek();
  if (atSymbol("=", 1) && atKind(TokenKind::Variable)) {
    item.variable = variableName();
  } else if (atSymbol("=", 1) && atNameOrString()) {
    item.alias = take().value();
  }
  if (acceptSymbol("=")) {
    item.value = expression();
    return item;
  }
  if (acceptSymbol("*")) {
    item.value = std::make_unique<Expr>(Expr{from(first), Star{}});
    return item;
  }
  item.value = expression();
  item.alias = alias();
  return item;
}

bool Parser::atJoin() const {
  if (at("join")) return true;
  if (at("inner") || at("cross")) return at("join", 1);
  if (at("left") || at("right") || at("full"))
    return at("join", 1) || (at("outer", 1) && at("join", 2));
  return false;
}

bool Parser::atAlias() const {
  return atNameOrString() && !atSymbol(":", 1) && !atJoin() && !atUnreservedStatement();
}

std::string Parser::alias() {
  if (accept("as")) return nameOrString();
  return atAlias() ? take().value() : std::string();
}

std::vector<TableRefPtr> Parser::fromList() {
  std::vector<TableRefPtr> tables;
  commaList([&] { tables.push_back(tableRef()); });
  return tables;
}

TableRefPtr Parser::tableRef() {
  const Token& first = peek();
  TableRefPtr result = tableFactor();
  while (atJoin()) result = join(std::move(result), first);
  return result;
}

JoinKind Parser::joinKind() {
  // The server has neither.
  if (at("full") || at("cross")) unexpected();
  JoinKind kind = JoinKind::Inner;
  if (at("left")) kind = JoinKind::Left;
  if (at("right")) kind = JoinKind::Right;
  if (at("full")) kind = JoinKind::Full;
  if (at("cross")) kind = JoinKind::Cross;
  if (!at("join")) take();
  accept("outer");
  expect("join");
  return kind;
}

TableRefPtr Parser::join(TableRefPtr left, const Token& first) {
  const Nesting nesting(*this);
  Join result{joinKind(), std::move(left), nullptr, nullptr};
  const Token& right = peek();
  result.right = tableFactor();
  if (result.kind != JoinKind::Cross) {
    // In `a join b join c on x on y` the join of b and c stands within.
    while (atJoin()) result.right = join(std::move(result.right), right);
    expect("on");
    result.on = expression();
  }
  growTaller();
  return std::make_unique<TableRef>(TableRef{from(first), std::move(result)});
}

TableRefPtr Parser::tableFactor() {
  const Nesting nesting(*this);
  const Token& first = peek();
  auto result = std::make_unique<TableRef>();
  if (atSymbol("(") && !startsQuery()) {
    take();
    result = tableRef();
    expectSymbol(")");
  } else if (atSymbol("(")) {
    DerivedTable table;
    table.query = parenthesizedQuery();
    table.alias = alias();
    if (!table.alias.empty() && atSymbol("(")) table.columns = parenthesizedNames();
    result->node = std::move(table);
  } else {
    result->node = namedTable();
  }
  result->range = from(first);
  return result;
}

NamedTable Parser::namedTable() {
  NamedTable table;
  table.name = objectName();
  tableHints();
  table.alias = alias();
  tableHints();
  return table;
}

// `holdlock`, `(index i prefetch 16 mru)`
void Parser::tableHints() {
  for (;;) {
    const auto hint = std::ranges::find_if(kTableHints, [&](auto word) { return at(word); });
    if (hint != kTableHints.end()) {
      hints_.emplace_back(*hint);
      take();
    } else if (atSymbol("(")) {
      hints_.emplace_back("index hint");
      skipParenthesized();
    } else {
      return;
    }
  }
}

void Parser::selectTail(Query& query) {
  if (accept("order")) {
    expect("by");
    commaList([&] {
      OrderItem item{expression(), SortOrder::Ascending};
      item.order = sortOrder();
      query.orderBy.push_back(std::move(item));
    });
  }
  rowLimit(query);
  while (accept("compute")) {
    ComputeClause clause;
    commaList([&] { clause.aggregates.push_back(expression()); });
    if (accept("by")) commaList([&] { clause.by.push_back(expression()); });
    query.compute.push_back(std::move(clause));
  }
  forClause(query);
  isolationClause();
  planClause();
}

// `rows limit 10 offset 5`, in either order
void Parser::rowLimit(Query& query) {
  if (!at("rows") || (!at("limit", 1) && !at("offset", 1))) return;
  since(16);
  take();
  RowLimit limit;
  while (at("limit") || at("offset")) {
    std::uint64_t& part = at("limit") ? limit.count : limit.offset;
    take();
    part = static_cast<std::uint64_t>(integer());
  }
  query.limit = limit;
}

void Parser::forClause(Query& query) {
  if (!accept("for")) return;
  if (accept("browse")) {
    query.forClause = ForClause::Browse;
  } else if (accept("read")) {
    expect("only");
    query.forClause = ForClause::ReadOnly;
  } else if (accept("xml")) {
    query.forClause = ForClause::Xml;
    if (!accept("schema")) accept("all");
    xmlTail();
  } else {
    expect("update");
    query.forClause = ForClause::Update;
    if (accept("of")) commaList([&] { query.updateColumns.push_back(name()); });
  }
}

// `option 'tablename=a' returns varchar(90)`, behind `for xml` and the arguments of XML functions.
std::optional<DataType> Parser::xmlTail() {
  if (accept("option")) constant();
  if (!accept("returns")) return std::nullopt;
  accept("as");
  return dataType();
}

// `at isolation 0`, `at isolation read uncommitted`: one user, one level.
void Parser::isolationClause() {
  if (!at("at") || !at("isolation", 1)) return;
  take();
  take();
  hints_.emplace_back("at isolation");
  if (atKind(TokenKind::Integer)) {
    take();
  } else if (accept("serializable")) {
  } else if (accept("repeatable")) {
    expect("read");
  } else {
    expect("read");
    if (!accept("uncommitted")) expect("committed");
  }
}

}  // namespace kelvane::tsql
