// From lists: tables, views, derived tables, joins, and the outer joins written in conditions.

#include <algorithm>
#include <set>
#include <utility>

#include "drivers/embedded/engine/temporary_tables.h"
#include "drivers/embedded/engine/translator.h"
#include "drivers/embedded/engine/typing.h"
#include "drivers/embedded/engine/walk.h"
#include "drivers/embedded/tsql/ast.h"
#include "drivers/embedded/tsql/parser.h"

namespace kelvane::embedded {

using namespace tsql;

namespace {

constexpr int kMaxViewDepth = 16;
constexpr int kMaxViews = 512;

const Binary* outerEquality(const Expr& term) {
  const auto* binary = as<Binary>(term);
  const bool isOuter = binary != nullptr && (binary->op == BinaryOp::LeftOuterEqual ||
                                             binary->op == BinaryOp::RightOuterEqual);
  return isOuter ? binary : nullptr;
}

// The tables of this scope that the expression names, outside of its subqueries.
std::set<std::size_t> sourcesWithin(const Expr& expr, const Scope& scope) {
  std::set<std::size_t> sources;
  anyWithin(expr, [&](const Expr& part) {
    if (const auto* column = as<ColumnRef>(part)) {
      const FoundColumn found = scope.resolve(*column, part.range.line);
      if (!found.isOuter) sources.insert(found.source);
    }
    return false;
  });
  return sources;
}

bool hasSubquery(const Expr& expr) {
  return anyWithin(expr, [](const Expr& part) {
    return as<InSubquery>(part) || as<Exists>(part) || as<ScalarSubquery>(part) ||
           as<Quantified>(part);
  });
}

std::string sourceText(const Source& source) {
  return source.sqliteTable + " AS " + source.sqlAlias;
}

// SQLite makes a subquery of a join within parentheses, with all the columns of its tables. Those
// of the table that stands for all empty ones are too many, and rowids are not among them.
std::string nestedText(const Source& source) {
  if (!source.hasRowids) return sourceText(source);
  std::string columns = "rowid AS rowid";
  for (const SourceColumn& column : *source.columns) {
    if (column.computed.empty()) columns += ", " + column.sqliteColumn;
  }
  return "(SELECT " + columns + " FROM " + source.sqliteTable + ") AS " + source.sqlAlias;
}

std::shared_ptr<const SourceColumns> sourceColumns(const std::vector<ColumnInfo>& columns) {
  auto result = std::make_shared<SourceColumns>();
  for (const ColumnInfo& column : columns) {
    result->push_back({column.name, column.type, quotedName(column.sqliteColumn)});
  }
  return result;
}

// Where an outer join finds no row, its columns are null.
void acceptNulls(Source& source) {
  auto columns = std::make_shared<SourceColumns>(*source.columns);
  for (SourceColumn& column : *columns) column.type = withNullability(column.type, true);
  source.columns = std::move(columns);
}

}  // namespace

// The value of a computed column is its expression, wherever the column is named.
void Translator::computeColumns(const std::vector<ColumnInfo>& columns, Source& source) {
  const auto isComputed = [](const ColumnInfo& column) { return !column.computed.empty(); };
  if (std::ranges::none_of(columns, isComputed)) return;
  Scope scope{nullptr, {source}};
  for (std::size_t i = 0; i < columns.size(); ++i) {
    if (!isComputed(columns[i])) continue;
    const ExprPtr expression = parseExpression(columns[i].computed);
    auto known = std::make_shared<SourceColumns>(*scope.sources[0].columns);
    known->at(i).computed = "(" + value(*expression, &scope).sql + ")";
    scope.sources[0].columns = std::move(known);
  }
  source.columns = scope.sources[0].columns;
}

ColumnType Translator::typeOf(const Expr& expression, const ObjectName& table) {
  NamedTable named;
  named.name = table;
  const Scope scope{nullptr, {sourceOf(named)}, Clause::Definition};
  return value(expression, &scope).type;
}

ColumnType Translator::typeOf(const Expr& expression, const std::vector<ColumnInfo>& columns) {
  Source source;
  source.sqlAlias = newAlias();
  source.columns = sourceColumns(columns);
  computeColumns(columns, source);
  const Scope scope{nullptr, {source}, Clause::Definition};
  return value(expression, &scope).type;
}

std::vector<ColumnInfo> Translator::columns(int tableId) const {
  const auto read = [&] { return context_.catalog.columns(tableId); };
  if (context_.tableColumns == nullptr) return read();
  return *context_.tableColumns->of(tableId, context_.namesVersion, read);
}

// System tables never change, and every statement of the reader names some.
std::shared_ptr<const SourceColumns> Translator::systemColumns(int tableId) {
  auto& kept = (*context_.systemColumns)[tableId];
  if (!kept) kept = sourceColumns(context_.catalog.columns(tableId));
  return kept;
}

Source Translator::viewSource(const ObjectInfo& view, Source source) {
  if (++viewDepth_ > kMaxViewDepth) {
    throw ServerError(message::tooManyViews, 0);
  }
  if (++viewCount_ > kMaxViews) {
    throw ServerError(message::tooManyTables, 0, kMaxViews);
  }
  const SourceText stored = context_.catalog.source(view.id);
  const StatementList batch = parseBatch(stored.text, stored.options());
  const Query* definition = nullptr;
  if (!batch.empty()) {
    const auto* plain = std::get_if<CreateView>(&batch.front()->node);
    const auto* kept = std::get_if<CreatePrecomputed>(&batch.front()->node);
    definition = plain != nullptr  ? plain->query.get()
                 : kept != nullptr ? kept->query.get()
                                   : nullptr;
  }
  if (definition == nullptr) {
    throw ServerError(message::viewWithoutText, 0, view.name);
  }
  const std::string& database = context_.catalog.databaseOf(view.id);
  const Caller outer = std::exchange(caller_, context_.catalog.callerIn(database, caller_));
  const QueryText text = query(*definition, nullptr, QueryUse::Values);
  caller_ = outer;
  --viewDepth_;
  source.sqliteTable = "(" + text.sql + ")";
  const auto named = this->columns(view.id);
  auto columns = std::make_shared<SourceColumns>();
  for (std::size_t i = 0; i < text.columns.size() && i < named.size(); ++i) {
    columns->push_back({named[i].name, named[i].type, "r" + std::to_string(i + 1)});
  }
  source.columns = std::move(columns);
  return source;
}

void Translator::requireCreated(const ObjectName& name) const {
  if (context_.createdLater != nullptr && context_.createdLater->contains(name.name)) {
    throw NotYetCreated{};
  }
}

const TemporaryTable* Translator::temporary(const std::string& name) {
  const TemporaryTable* found = context_.temporaries.find(name);
  if (found == nullptr) return nullptr;
  temporaries_.push_back({name, found->definition});
  return found;
}

Source Translator::sourceOf(const NamedTable& table) {
  const ObjectName& name = table.name;
  requireCreated(name);
  Source source;
  source.exposedName = table.alias.empty() ? name.name : table.alias;
  if (table.alias.empty()) {
    source.owner = name.owner;
    source.database = name.database.empty() ? caller_.database : name.database;
    source.namesDatabase = !name.database.empty();
  }
  source.sqlAlias = newAlias();
  const bool isPlain = name.database.empty() && name.owner.empty();
  const bool holdsFiredRows = isPlain && context_.temporaries.find(name.name) != nullptr;
  if (name.name.starts_with('#') || holdsFiredRows) {
    const TemporaryTable* found = temporary(name.name);
    if (found == nullptr) {
      throw ServerError(message::objectNotFound, name.range.line, name.name);
    }
    source.sqliteTable = found->sqliteTable;
    source.hasRowids = true;
    source.columns = sourceColumns(found->columns);
    computeColumns(found->columns, source);
  } else {
    Caller caller = caller_;
    caller.line = name.range.line;
    const ObjectInfo object = context_.catalog.requireObject(name, caller);
    if (object.type == "V" || object.type == "RS") return viewSource(object, std::move(source));
    if (object.sqliteTable.empty()) {
      throw ServerError(message::objectNotFound, name.range.line, name.name);
    }
    source.sqliteTable = object.sqliteTable;
    source.hasRowids = object.type == "U";
    if (object.type == "S" && context_.systemColumns != nullptr) {
      source.columns = systemColumns(object.id);
    } else {
      const auto columns = this->columns(object.id);
      source.columns = sourceColumns(columns);
      computeColumns(columns, source);
    }
  }
  return source;
}

Source Translator::sourceOf(const DerivedTable& table, const Scope* outer) {
  Source source;
  source.exposedName = table.alias;
  source.sqlAlias = newAlias();
  const QueryText text = query(*table.query, outer, QueryUse::Values);
  source.sqliteTable = "(" + text.sql + ")";
  auto columns = std::make_shared<SourceColumns>();
  for (std::size_t i = 0; i < text.columns.size(); ++i) {
    const std::string& name = i < table.columns.size() ? table.columns[i] : text.columns[i].name;
    columns->push_back({name, text.columns[i].type, "r" + std::to_string(i + 1)});
  }
  source.columns = std::move(columns);
  return source;
}

Scope Translator::sourcesOf(const std::vector<TableRefPtr>& from) {
  Scope scope;
  const int aliases = aliases_;
  for (const auto& table : from) addSources(*table, scope);
  aliases_ = aliases;
  return scope;
}

void Translator::addSources(const TableRef& table, Scope& scope) {
  std::visit(
      Overloaded{
          [&](const NamedTable& t) { scope.sources.push_back(sourceOf(t)); },
          [&](const DerivedTable& t) { scope.sources.push_back(sourceOf(t, scope.outer)); },
          [&](const Join& join) {
            const auto left = scope.sources.size();
            addSources(*join.left, scope);
            const auto right = scope.sources.size();
            addSources(*join.right, scope);
            const bool keepsLeft = join.kind != JoinKind::Right && join.kind != JoinKind::Full;
            const bool keepsRight = join.kind != JoinKind::Left && join.kind != JoinKind::Full;
            for (auto i = left; i < scope.sources.size(); ++i) {
              if (!(i < right ? keepsLeft : keepsRight)) acceptNulls(scope.sources[i]);
            }
          },
      },
      table.node);
}

// `next` counts through the sources in the order in which addSources met them.
std::string Translator::renderTable(const TableRef& table, const Scope& scope, std::size_t& next,
                                    JoinPlace place) {
  const auto* join = std::get_if<Join>(&table.node);
  if (join == nullptr) {
    const Source& source = scope.sources[next++];
    return place == JoinPlace::Nested ? nestedText(source) : sourceText(source);
  }
  const char* word = " JOIN ";
  switch (join->kind) {
    case JoinKind::Left:
      word = " LEFT JOIN ";
      break;
    case JoinKind::Right:
      word = " RIGHT JOIN ";
      break;
    case JoinKind::Full:
      word = " FULL JOIN ";
      break;
    case JoinKind::Inner:
      break;
    case JoinKind::Cross:
      word = " CROSS JOIN ";
      break;
  }
  std::string sql = renderTable(*join->left, scope, next, place);
  const bool nested = std::holds_alternative<Join>(join->right->node);
  const std::string right =
      renderTable(*join->right, scope, next, nested ? JoinPlace::Nested : place);
  sql += word + (nested ? "(" + right + ")" : right);
  if (join->on) sql += " ON " + condition(*join->on, &scope, Polarity::Positive);
  return sql;
}

// `a.x *= b.y` keeps the rows of a. Whatever else is asked of b alone belongs to the join too.
Translator::FromText Translator::outerJoins(const std::vector<TableRefPtr>& from,
                                            const std::vector<const Expr*>& terms, Scope& scope) {
  if (from.size() != scope.sources.size()) {
    throw ServerError(message::mixedOuterJoins, from[0]->range.line);
  }
  std::vector<std::vector<std::string>> conditions(scope.sources.size());
  std::vector<std::set<std::size_t>> needs(scope.sources.size());
  FromText result;
  for (const Expr* term : terms) {
    const Binary* equality = outerEquality(*term);
    if (equality == nullptr) continue;
    const bool left = equality->op == BinaryOp::LeftOuterEqual;
    const auto kept = sourcesWithin(left ? *equality->left : *equality->right, scope);
    const auto inner = sourcesWithin(left ? *equality->right : *equality->left, scope);
    if (inner.size() != 1) {
      throw ServerError(message::outerJoinWithoutInner, term->range.line);
    }
    const std::size_t table = *inner.begin();
    conditions[table].push_back(compared(BinaryOp::Equal, value(*equality->left, &scope),
                                         value(*equality->right, &scope), term->range.line));
    needs[table].insert(kept.begin(), kept.end());
    acceptNulls(scope.sources[table]);
  }
  for (const Expr* term : terms) {
    if (outerEquality(*term) != nullptr) continue;
    const auto used = sourcesWithin(*term, scope);
    const bool ofInner =
        used.size() == 1 && !conditions[*used.begin()].empty() && !hasSubquery(*term);
    const std::string sql = condition(*term, &scope, Polarity::Positive);
    if (ofInner) {
      conditions[*used.begin()].push_back(sql);
    } else {
      result.conditions.push_back(sql);
    }
  }
  std::set<std::size_t> placed;
  for (std::size_t i = 0; i < scope.sources.size(); ++i) {
    if (!conditions[i].empty()) continue;
    result.sql += (result.sql.empty() ? "" : ", ") + sourceText(scope.sources[i]);
    placed.insert(i);
  }
  while (placed.size() < scope.sources.size()) {
    const auto before = placed.size();
    for (std::size_t i = 0; i < scope.sources.size(); ++i) {
      const bool ready =
          std::includes(placed.begin(), placed.end(), needs[i].begin(), needs[i].end());
      if (placed.count(i) != 0 || !ready || placed.empty()) continue;
      result.sql += " LEFT JOIN " + sourceText(scope.sources[i]) + " ON ";
      for (std::size_t c = 0; c < conditions[i].size(); ++c) {
        result.sql += (c == 0 ? "" : " AND ") + conditions[i][c];
      }
      placed.insert(i);
    }
    if (placed.size() == before) {
      throw ServerError(message::outerJoinCircle, from[0]->range.line);
    }
  }
  return result;
}

Translator::FromText Translator::fromText(const std::vector<TableRefPtr>& from, const Expr* where,
                                          Scope& scope) {
  for (const auto& table : from) addSources(*table, scope);
  const auto terms = conjuncts(where);
  if (std::any_of(terms.begin(), terms.end(),
                  [](const Expr* term) { return outerEquality(*term) != nullptr; })) {
    return outerJoins(from, terms, scope);
  }
  FromText result;
  std::size_t next = 0;
  for (const auto& table : from) {
    result.sql += (result.sql.empty() ? "" : ", ") + renderTable(*table, scope, next);
  }
  const std::string outerTables = std::exchange(joinedTables_, {});
  for (const Expr* term : terms) {
    result.conditions.push_back(condition(*term, &scope, Polarity::Conjunct));
  }
  result.sql += std::exchange(joinedTables_, outerTables);
  return result;
}

}  // namespace kelvane::embedded
