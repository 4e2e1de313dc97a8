#include "drivers/embedded/engine/write_translator.h"

#include <algorithm>
#include <iterator>

#include "drivers/embedded/catalog/ordered_triggers.h"
#include "drivers/embedded/engine/column_values.h"
#include "drivers/embedded/engine/temporary_tables.h"
#include "drivers/embedded/engine/typing.h"
#include "drivers/embedded/tsql/ast.h"

namespace kelvane::embedded {

using namespace tsql;

namespace {

const NamedTable* tableWithAlias(const TableRef& table, const std::string& alias) {
  if (const auto* join = std::get_if<Join>(&table.node)) {
    const NamedTable* left = tableWithAlias(*join->left, alias);
    return left != nullptr ? left : tableWithAlias(*join->right, alias);
  }
  const auto* named = std::get_if<NamedTable>(&table.node);
  return named != nullptr && named->alias == alias ? named : nullptr;
}

// The target of a change may be called by its alias.
const ObjectName& realName(const ObjectName& target, const std::vector<TableRefPtr>& from) {
  for (const auto& table : from) {
    const NamedTable* named = tableWithAlias(*table, target.name);
    if (named != nullptr) return named->name;
  }
  return target;
}

const ColumnInfo& columnOf(const WriteTarget& target, const ViewColumn& column,
                           std::uint32_t line) {
  if (!column.column) throw ServerError(message::viewColumnDerived, line, target.view->name);
  return target.columns.at(*column.column);
}

const ColumnInfo& requireColumn(const WriteTarget& target, const std::string& name,
                                std::uint32_t line) {
  for (const ViewColumn& column : target.viewColumns) {
    if (column.name == name) return columnOf(target, column, line);
  }
  if (target.view != nullptr) throw ServerError(message::unknownColumn, line, name);
  for (const ColumnInfo& column : target.columns) {
    const bool isMeant = column.name == name || (name == "syb_identity" && column.type.identity);
    if (!isMeant) continue;
    if (!column.computed.empty()) {
      throw ServerError(message::computedColumnWritten, line, name, target.name);
    }
    return column;
  }
  throw ServerError(message::unknownColumn, line, name);
}

std::string limitText(const std::optional<std::uint64_t>& limit) {
  return limit ? " LIMIT " + std::to_string(*limit) : "";
}

// The rows of a cursor are copies, which do not lead back to their table.
void refuseCursorRow(const std::string& cursor, std::uint32_t line) {
  if (cursor.empty()) return;
  throw ServerError(message::cursorRowChanged, line, cursor);
}

}  // namespace

WriteTarget WriteTranslator::writeTarget(const ObjectName& name) {
  const auto notFound = [&] {
    return ServerError(message::objectNotFound, name.range.line, name.name);
  };
  translator_.requireCreated(name);
  WriteTarget target;
  target.name = name.name;
  if (name.name.starts_with('#')) {
    const TemporaryTable* found = translator_.temporary(name.name);
    if (found == nullptr) throw notFound();
    target.sqliteTable = found->sqliteTable;
    target.columns = found->columns;
    target.defaults = found->defaults;
    target.rules = found->rules;
    return target;
  }
  Caller caller = translator_.caller();
  caller.line = name.range.line;
  Catalog& catalog = translator_.context().catalog;
  ObjectInfo object = catalog.requireObject(name, caller);
  if (object.type == "V") {
    target.view = std::make_shared<const ViewTarget>(viewTarget(catalog, object, caller));
    object = target.view->table;
    target.name = object.name;
  }
  if (object.type == "S") {
    throw ServerError(message::systemTableWritten, name.range.line);
  }
  if (object.sqliteTable.empty()) throw notFound();
  target.id = object.id;
  target.sqliteTable = object.sqliteTable;
  target.columns = translator_.columns(object.id);
  if (target.view != nullptr) target.viewColumns = viewColumns(target);
  return target;
}

std::vector<const ColumnInfo*> WriteTranslator::listedColumns(const Insert& statement,
                                                              const WriteTarget& target) const {
  const std::uint32_t line = statement.table.range.line;
  std::vector<const ColumnInfo*> columns;
  for (const std::string& name : statement.columns) {
    const ColumnInfo& column = requireColumn(target, name, line);
    if (column.type.identity && !translator_.context().writesIdentity) {
      throw ServerError(message::identityValueGiven, line, target.name);
    }
    if (std::ranges::find(columns, &column) != columns.end()) {
      throw ServerError(message::columnWrittenTwice, line, name);
    }
    columns.push_back(&column);
  }
  if (!statement.columns.empty()) return columns;
  const auto add = [&](const ColumnInfo& column) {
    const bool isGiven = !column.type.identity || translator_.context().writesIdentity;
    if (column.computed.empty() && isGiven) columns.push_back(&column);
  };
  for (const ViewColumn& column : target.viewColumns) add(columnOf(target, column, line));
  if (target.view == nullptr) std::ranges::for_each(target.columns, add);
  return columns;
}

std::optional<FiredTrigger> WriteTranslator::triggerOf(const WriteTarget& target,
                                                       const TriggerSlot& slot,
                                                       std::vector<std::string> written) {
  if (target.isTemporary()) return std::nullopt;
  const SystemRecords& records = translator_.context().catalog.recordsOf(target.id);
  const SysObject* table = records.object(target.id);
  if (table == nullptr) return std::nullopt;
  std::vector<int> ids = firedTriggers(records, *table, slot);
  if (ids.empty()) return std::nullopt;
  return FiredTrigger{std::move(ids), target.id, target.sqliteTable, std::move(written)};
}

Plan WriteTranslator::finishInsert(const WriteTarget& target,
                                   const std::vector<WrittenColumn>& columns,
                                   const std::string& from) {
  RowConditions conditions(translator_, target);
  const RowRules& rules = conditions.rules();
  const bool insertsOneRow = from.empty();
  std::string names, selected;
  const bool restrictsRows = rules.restrictsRows() || checksRows(target);
  for (const WrittenColumn& written : columns) {
    const std::string name = quotedName(written.column->sqliteColumn);
    names += (names.empty() ? "" : ", ") + name;
    selected += (selected.empty() ? "" : ", ") + written.sql;
    if (restrictsRows) selected += " AS " + name;
  }
  std::string query = "SELECT " + selected + from;
  if (restrictsRows) {
    const std::string row = translator_.newAlias();
    const Scope newRow = conditions.newRow(row, {});
    auto obeyed = conditions.conditions(newRow, {nullptr, insertsOneRow});
    std::ranges::move(checkOptions(target, newRow), std::back_inserter(obeyed));
    // The limit keeps SQLite from writing the values, identities among them, in two places.
    query = "SELECT " + names + " FROM (" + query + " LIMIT -1) AS " + row;
    query += " WHERE " + (obeyed.empty() ? "1" : joined(obeyed, " AND "));
  } else if (!rules.ignoredDuplicates.empty()) {
    query += " WHERE 1";  // or ON would belong to a join
  }
  for (const std::string& key : rules.ignoredDuplicates) {
    query += " ON CONFLICT " + key + " DO NOTHING";
  }
  Plan plan = translator_.finish("INSERT INTO " + target.sqliteTable + " (" + names + ") " + query);
  plan.leavesOutDuplicates = !rules.ignoredDuplicates.empty();
  if (!insertsOneRow) conditions.testOwnReferences(nullptr, plan);
  if (!target.isTemporary() && target.sqliteTable == kNoRows) plan.rowlessTable = target.id;
  std::vector<std::string> written;
  for (const WrittenColumn& one : columns) {
    if (one.isGiven || one.sql != "NULL") written.push_back(one.column->name);
  }
  plan.trigger = triggerOf(target, kInsertSlot, std::move(written));
  plan.givesIdentity = std::ranges::any_of(
      target.columns, [](const ColumnInfo& column) { return column.type.identity; });
  return plan;
}

Plan WriteTranslator::insertRows(const Insert& statement, const WriteTarget& target,
                                 const std::vector<SqlValue>& values, const std::string& from) {
  const std::uint32_t line = statement.table.range.line;
  const auto listed = listedColumns(statement, target);
  if (listed.size() != values.size()) {
    throw ServerError(message::valuesDoNotMatch, line);
  }
  ColumnValues written(translator_, target);
  std::vector<WrittenColumn> columns;
  for (std::size_t i = 0; i < listed.size(); ++i) {
    const bool isTimestamp = listed[i]->type.kind == TypeKind::Timestamp;
    // Rows of a query bring the timestamps of their own table, which do not count here.
    const std::string sql = isTimestamp
                                ? written.nextTimestamp(from.empty() ? values[i].sql : "NULL")
                                : written.filled(values[i], *listed[i], line);
    columns.push_back({listed[i], sql, true});
  }
  for (const ColumnInfo& column : target.columns) {
    if (!column.computed.empty() || std::ranges::count(listed, &column) != 0) continue;
    columns.push_back({&column, written.omitted(column, line)});
  }
  return finishInsert(target, columns, from);
}

Plan WriteTranslator::insert(const Insert& statement, const WriteTarget& target) {
  std::vector<SqlValue> values;
  std::string from;
  if (const auto* given = std::get_if<InsertValues>(&statement.source)) {
    values = translator_.boundValues(given->values);
  } else if (std::holds_alternative<InsertDefaults>(statement.source)) {
    ColumnValues written(translator_, target);
    std::vector<WrittenColumn> columns;
    for (const ColumnInfo& column : target.columns) {
      if (!column.computed.empty()) continue;
      columns.push_back({&column, written.omitted(column, statement.table.range.line)});
    }
    return finishInsert(target, columns, "");
  } else {
    const Translator::QueryText text = translator_.query(*std::get<QueryPtr>(statement.source),
                                                         nullptr, Translator::QueryUse::Result);
    const std::string alias = translator_.newAlias();
    from = " FROM (" + text.sql + ") AS " + alias;
    for (std::size_t i = 0; i < text.columns.size(); ++i) {
      values.push_back({alias + ".r" + std::to_string(i + 1), text.columns[i].type});
      values.back().isNull = text.nulls[i];
    }
  }
  return insertRows(statement, target, values, from);
}

Plan WriteTranslator::insertBound(const Insert& statement, const WriteTarget& target,
                                  const std::vector<ColumnType>& types) {
  std::vector<SqlValue> values;
  for (std::size_t i = 0; i < types.size(); ++i) {
    values.push_back({translator_.parameter(Parameter::Source::Bound, "", i), types[i]});
  }
  return insertRows(statement, target, values, "");
}

Plan WriteTranslator::insertStored(const Insert& statement, const WriteTarget& target,
                                   std::vector<ColumnType>& types) {
  types.clear();
  std::vector<SqlValue> values;
  for (const ColumnInfo* column : listedColumns(statement, target)) {
    SqlValue& stored = values.emplace_back();
    stored.sql = translator_.parameter(Parameter::Source::Bound, "", types.size());
    stored.type = column->type;
    // What came from the column itself, and is known not to be null, needs no conversion.
    stored.isColumn = stored.isLiteral = true;
    types.push_back(column->type);
  }
  return insertRows(statement, target, values, "");
}

// The rows of a from list that holds the table to change, or to which it is added.
WriteTranslator::JoinedTarget WriteTranslator::joinedTarget(const ObjectName& name,
                                                            const WriteTarget& target,
                                                            const std::vector<TableRefPtr>& from,
                                                            const Expr* where) {
  JoinedTarget joined;
  const Scope probe = translator_.sourcesOf(from);
  std::optional<std::size_t> source = probe.sourceNamed(name);
  const auto isTarget = [&](std::size_t i) {
    return target.view == nullptr && probe.sources[i].sqliteTable == target.sqliteTable;
  };
  for (std::size_t i = 0; !source && i < probe.sources.size(); ++i) {
    if (isTarget(i)) source = i;
  }
  std::vector<std::string> conditions;
  std::string extra;
  const bool isListed = source.has_value();
  if (!isListed) {
    ChangedRows rows = changedRows(name, target);
    joined.scope.sources.push_back(std::move(rows.source));
    conditions = std::move(rows.conditions);
    extra = target.sqliteTable + " AS " + joined.scope.sources[0].sqlAlias + ", ";
    source = 0;
  }
  joined.source = *source;
  joined.scope.clause = Clause::Where;
  std::size_t next = joined.scope.sources.size();
  for (const auto& table : from) translator_.addSources(*table, joined.scope);
  if (isListed && target.view != nullptr) {
    if (from.size() != joined.scope.sources.size()) {
      throw ServerError(message::notSupported, name.range.line,
                        "Changes of a view that is joined with 'join'");
    }
    Source& view = joined.scope.sources[*source];
    ChangedRows rows = changedRows(name, target);
    rows.source.exposedName = view.exposedName;
    view = std::move(rows.source);
    conditions = std::move(rows.conditions);
  }
  std::string list;
  for (const auto& table : from) {
    list += (list.empty() ? "" : ", ") + translator_.renderTable(*table, joined.scope, next);
  }
  joined.from = " FROM " + extra + list;
  if (where != nullptr) {
    conditions.push_back(
        translator_.condition(*where, &joined.scope, Translator::Polarity::Positive));
  }
  if (!conditions.empty()) joined.from += " WHERE " + chained(conditions, " AND ");
  return joined;
}

std::string WriteTranslator::variableSet(const Assignment& assignment, const Scope& scope) {
  const std::uint32_t line = assignment.range.line;
  const Variables& variables = translator_.context().variables;
  const auto found = variables.find(assignment.variable);
  if (found == variables.end()) {
    throw ServerError(message::undeclaredVariable, line, assignment.variable);
  }
  const SqlValue value = translator_.value(*assignment.value, &scope);
  return "set_variable(" + quotedText(assignment.variable) + ", " +
         translator_.assigned(value, withNullability(found->second.type, true), line) + ")";
}

// Each value stands in the rows that are picked, under the name of its column, and in `plain` for a
// statement that needs none.
WriteTranslator::ChangedColumns WriteTranslator::changedColumns(const Update& statement,
                                                                const WriteTarget& target,
                                                                const JoinedTarget& rows,
                                                                const std::string& rowAlias) {
  for (const Assignment& assignment : statement.assignments) {
    if (assignment.column.empty()) translator_.assignsByRow(assignment.variable);
  }
  ChangedColumns changes;
  ColumnValues written(translator_, target);
  const auto change = [&](const ColumnInfo& column, const std::string& sql) {
    const std::string item = quotedName(column.sqliteColumn);
    const std::string separator = changes.plain.empty() ? "" : ", ";
    changes.plain += separator + item + " = " + sql;
    changes.fromPicked += separator + item + " = " + rowAlias + "." + item;
    changes.picked += ", " + sql + " AS " + item;
  };
  for (const Assignment& assignment : statement.assignments) {
    const std::uint32_t line = assignment.range.line;
    if (assignment.column.empty()) {
      const std::string name = "v" + std::to_string(&assignment - statement.assignments.data());
      changes.picked += ", " + variableSet(assignment, rows.scope) + " AS " + name;
      changes.noted += (changes.noted.empty() ? "" : ", ") + rowAlias + "." + name;
      continue;
    }
    const ColumnInfo& column = requireColumn(target, assignment.column, line);
    if (column.type.kind == TypeKind::Timestamp) {
      throw ServerError(message::timestampUpdated, line);
    }
    if (column.type.identity && !translator_.context().writesIdentity) {
      throw ServerError(message::identityUpdated, line, column.name, target.name);
    }
    change(column, written.filled(translator_.value(*assignment.value, &rows.scope), column, line));
    if (!changes.colids.insert(column.colid).second) {
      throw ServerError(message::columnWrittenTwice, line, column.name);
    }
    changes.newValues[column.colid] = rowAlias + "." + quotedName(column.sqliteColumn);
    changes.names.push_back(target.view == nullptr ? assignment.column : column.name);
  }
  for (const ColumnInfo& column : target.columns) {
    if (column.type.kind == TypeKind::Timestamp) change(column, written.nextTimestamp());
  }
  return changes;
}

Plan WriteTranslator::update(const Update& statement) {
  const ObjectName& name = realName(statement.target, statement.from);
  refuseCursorRow(statement.currentOf, name.range.line);
  const WriteTarget target = writeTarget(name);
  const bool joins = !statement.from.empty();
  JoinedTarget rows;
  std::string where;
  if (joins) {
    rows = joinedTarget(statement.target, target, statement.from, statement.where.get());
  } else {
    rows.scope.clause = Clause::Where;
    where = whereText(name, target, statement.where.get(), rows.scope);
    rows.from = " FROM " + target.sqliteTable + " AS " + rows.scope.sources[0].sqlAlias + where;
  }
  rows.scope.clause = Clause::Set;
  const std::string rowAlias = translator_.newAlias(), changed = translator_.newAlias();
  ChangedColumns changes = changedColumns(statement, target, rows, rowAlias);
  RowConditions rules(translator_, target);
  std::vector<std::string> conditions;
  if (rules.rules().restrictsRows() || checksRows(target)) {
    const Scope newRow = rules.newRow(changed, changes.newValues);
    conditions = rules.conditions(newRow, {&changes.colids, false});
    std::ranges::move(checkOptions(target, newRow), std::back_inserter(conditions));
  }
  // SQLite leaves out what nobody reads.
  if (!changes.noted.empty()) conditions.push_back("is_set(" + changes.noted + ")");
  const std::string& alias = rows.scope.sources[rows.source].sqlAlias;
  std::string sql = "UPDATE " + target.sqliteTable + " AS ";
  const auto limit = translator_.rowLimit(statement.top);
  if (joins || limit || !conditions.empty()) {
    if (changes.fromPicked.empty()) changes.fromPicked = "rowid = " + changed + ".rowid";
    // As for an insert, the limit keeps each value in one place.
    std::string limited = conditions.empty() ? "" : " LIMIT -1";
    if (limit) limited = (joins ? " GROUP BY rid" : "") + limitText(limit);
    conditions.insert(conditions.begin(), changed + ".rowid = " + rowAlias + ".rid");
    sql += changed + " SET " + changes.fromPicked + " FROM (SELECT " + alias + ".rowid AS rid" +
           changes.picked + rows.from + limited + ") AS " + rowAlias + " WHERE " +
           joined(conditions, " AND ");
  } else {
    sql += alias + " SET " + changes.plain + where;
  }
  Plan plan = translator_.finish(std::move(sql));
  plan.updatedTable = target.sqliteTable;
  if (!target.isTemporary()) plan.updatedStore = rowStore(target.id);
  plan.trigger = triggerOf(target, kUpdateSlot, std::move(changes.names));
  rules.testDependents(&changes.colids, plan);
  rules.testOwnReferences(&changes.colids, plan);
  return plan;
}

Plan WriteTranslator::remove(const Delete& statement) {
  const ObjectName& name = realName(statement.target, statement.from);
  refuseCursorRow(statement.currentOf, name.range.line);
  const WriteTarget target = writeTarget(name);
  const auto limit = translator_.rowLimit(statement.top);
  std::string sql;
  std::string where;
  if (!statement.from.empty()) {
    const JoinedTarget rows =
        joinedTarget(statement.target, target, statement.from, statement.where.get());
    sql = "DELETE FROM " + target.sqliteTable + " WHERE rowid IN (SELECT " +
          rows.scope.sources[rows.source].sqlAlias + ".rowid" + rows.from +
          (limit ? " GROUP BY 1" : "") + limitText(limit) + ")";
  } else {
    Scope scope;
    scope.clause = Clause::Where;
    where = whereText(name, target, statement.where.get(), scope);
    const std::string named = target.sqliteTable + " AS " + scope.sources[0].sqlAlias + where;
    sql = "DELETE FROM " + named;
    if (limit) {
      sql = "DELETE FROM " + target.sqliteTable + " WHERE rowid IN (SELECT " +
            scope.sources[0].sqlAlias + ".rowid FROM " + named + limitText(limit) + ")";
    }
  }
  auto trigger = triggerOf(target, kDeleteSlot, {});
  // Without a condition SQLite throws all rows away at once, and nobody hears of them.
  if (trigger && statement.from.empty() && where.empty() && !limit) sql += " WHERE 1";
  Plan plan = translator_.finish(std::move(sql));
  plan.trigger = std::move(trigger);
  RowConditions(translator_, target).testDependents(nullptr, plan);
  return plan;
}

Plan WriteTranslator::truncate(const Truncate& statement) {
  const WriteTarget target = writeTarget(statement.table);
  if (target.view != nullptr) {
    throw ServerError(message::viewNotUpdatable, statement.table.range.line, target.view->name);
  }
  Plan plan = translator_.finish("DELETE FROM " + target.sqliteTable);
  RowConditions(translator_, target).testDependents(nullptr, plan);
  return plan;
}

std::vector<std::string> WriteTranslator::orphanTests(const WriteTarget& target) {
  Plan plan;
  RowConditions(translator_, target).testAll(plan);
  return std::move(plan.tests);
}

}  // namespace kelvane::embedded
