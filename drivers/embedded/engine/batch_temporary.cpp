// Temporary tables: what the catalog does for tables of the user, without a catalog.

#include <algorithm>
#include <array>

#include "drivers/embedded/catalog/keys.h"
#include "drivers/embedded/catalog/writer.h"
#include "drivers/embedded/engine/batch.h"

namespace kelvane::embedded {

using namespace tsql;

namespace {

constexpr std::size_t kSchemaLength = std::string_view("temp.").size();

ServerError notKept(const std::string& table, std::string_view what, std::uint32_t line) {
  return {message::noneOfTemporary, line, what, table};
}

}  // namespace

struct BatchRun::TemporaryKey {
  std::string name;
  bool unique = false;
  bool clustered = false;
  bool isConstraint = false;
  const std::vector<IndexKey>& keys;
  const std::vector<StorageOption>& options;
  std::uint32_t line = 0;
};

void BatchRun::createTemporary(const CreateTable& statement) {
  TemporaryTable table;
  table.name = statement.name.name;
  table.allPages = statement.lockScheme.empty() || statement.lockScheme == "allpages";
  for (const ColumnDefinition& definition : statement.columns) {
    Caller caller = session_.caller;
    caller.line = definition.range.line;
    if (definition.computed) throw notKept(table.name, "computed columns", caller.line);
    ColumnInfo column;
    column.name = definition.name;
    const ColumnType declared = server_.catalog.resolveType(definition.type, caller);
    const bool nullable = definition.nullability == Nullability::Unspecified
                              ? declared.nullable
                              : definition.nullability == Nullability::Null;
    column.type = withNullability(declared, nullable);
    column.type.identity = definition.identity;
    table.columns.push_back(column);
    table.defaults.push_back(definition.defaultClause
                                 ? std::string(definition.defaultClause->range.in(batch_->text))
                                 : "");
  }
  RowRules rules;
  const auto addCheck = [&](const Constraint& constraint) {
    const auto* check = std::get_if<CheckConstraint>(&constraint.node);
    if (check == nullptr) return;
    table.checks.emplace_back(check->range.in(batch_->text));
    const SourceText source{table.checks.back(), session_.caller.quotedIdentifier};
    rules.checks.push_back({constraint.name, checkCondition(source)});
  };
  for (const ColumnDefinition& column : statement.columns) {
    std::ranges::for_each(column.constraints, addCheck);
  }
  std::ranges::for_each(statement.constraints, addCheck);
  if (!rules.checks.empty()) table.rules = std::make_shared<const RowRules>(std::move(rules));

  addTemporary(std::move(table), statement.name.range.line);
  TemporaryTable& added = session_.temporaries.at(statement.name.name);
  try {
    for (const ColumnDefinition& column : statement.columns) {
      for (const Constraint& constraint : column.constraints) {
        addConstraint(added, constraint, &column);
      }
    }
    for (const Constraint& constraint : statement.constraints) {
      addConstraint(added, constraint, nullptr);
    }
  } catch (const ServerError&) {
    session_.dropTemporary(statement.name.name);
    throw;
  }
}

std::string BatchRun::addTemporary(TemporaryTable table, std::uint32_t line) {
  if (session_.temporaries.contains(table.name)) {
    throw ServerError(message::objectExists, line, table.name);
  }
  for (ColumnInfo& column : table.columns) {
    column.colid = static_cast<int>(&column - table.columns.data()) + 1;
    column.sqliteColumn = "c" + std::to_string(column.colid);
    table.sqliteColumns += (table.sqliteColumns.empty() ? "" : ", ") + column.sqliteColumn +
                           (isCharacter(column.type.kind) ? " TEXT COLLATE RTRIM" : "");
  }
  std::string sqliteTable = session_.temporaryStorage(table.sqliteColumns);
  table.sqliteTable = sqliteTable;
  table.definition = server_.definition(table);
  if (session_.nestLevel > 0) ownTemporaries_.push_back(table.name);
  session_.temporaries.emplace(table.name, std::move(table));
  return sqliteTable;
}

void BatchRun::addConstraint(TemporaryTable& table, const Constraint& constraint,
                             const ColumnDefinition* column) {
  if (std::holds_alternative<ForeignKeyConstraint>(constraint.node)) {
    throw notKept(table.name, "foreign keys", constraint.range.line);
  }
  const auto* key = std::get_if<KeyConstraint>(&constraint.node);
  if (key == nullptr) return;
  std::vector<IndexKey> own;
  if (key->columns.empty() && column != nullptr) own.emplace_back().column = column->name;
  const std::vector<IndexKey>& keys = own.empty() ? key->columns : own;
  if (key->primary) {
    for (const IndexKey& one : keys) {
      const ColumnInfo& of =
          keyColumn(table.columns, one.column, table.name, constraint.range.line);
      if (!of.type.nullable) continue;
      throw ServerError(message::nullablePrimaryKey, constraint.range.line, one.column, table.name);
    }
  }
  const std::string name =
      constraint.name.empty() ? concat(table.name, "_", table.indexes.size() + 1) : constraint.name;
  addIndex(table, {name, true, key->clustering == Clustering::Clustered, true, keys, key->options,
                   constraint.range.line});
}

void BatchRun::addIndex(TemporaryTable& table, const TemporaryKey& key) {
  constexpr std::array<std::string_view, 2> kLeavingOut = {"ignore_dup_key", "ignore_dup_row"};
  const auto has = [&](std::string_view option) {
    return std::ranges::count(key.options, option, &StorageOption::name) != 0;
  };
  for (const std::string_view option : kLeavingOut) {
    if (has(option)) throw notKept(table.name, concat("an index with ", option), key.line);
  }
  if (std::ranges::count(table.indexes, key.name, &TemporaryIndex::name) != 0) {
    throw ServerError(message::indexExists, key.line, table.name, key.name);
  }
  std::vector<ColumnInfo> columns;
  for (const IndexKey& one : key.keys) {
    if (one.expression) throw notKept(table.name, "an index of expressions", key.line);
    columns.push_back(keyColumn(table.columns, one.column, table.name, key.line));
  }
  const bool comparesRows = !key.unique && key.clustered && table.allPages && !has("allow_dup_row");
  const Differing differing = comparesRows ? Differing::rows : Differing::keys;
  if (comparesRows) columns = comparedInRows(table.columns);

  const std::string sqliteTable = table.sqliteTable.substr(kSchemaLength);
  const std::string index = concat(sqliteTable, "_", session_.nextTemporary());
  const bool differs = key.unique || comparesRows;
  const std::string list = differs ? equalNulls(columns) : columnList(columns);
  std::string violation;
  if (list.find('(') != list.npos) {
    violation = concat("index '", index, "'");
  } else {
    for (const ColumnInfo& column : columns) {
      violation += concat(violation.empty() ? " " : ", ", sqliteTable, ".", column.sqliteColumn);
    }
  }
  try {
    server_.catalog.store().execute(concat("CREATE ", differs ? "UNIQUE " : "", "INDEX temp.",
                                           index, " ON ", sqliteTable, "(", list, ")"));
  } catch (const StoreError& error) {
    if (!error.isDuplicateKey()) throw;
    throw existingDuplicates(differing, table.name, key.line);
  }
  table.indexes.push_back(
      {key.name, "temp." + index, differs ? violation : "", differing, key.isConstraint});
}

void BatchRun::createTemporaryIndex(const CreateIndex& statement) {
  const auto table = session_.temporaries.find(statement.table.name);
  const std::uint32_t line = statement.table.range.line;
  if (table == session_.temporaries.end()) {
    throw ServerError(message::indexTableNotFound, line, statement.table.name);
  }
  addIndex(table->second,
           {statement.name, statement.unique, statement.clustering == Clustering::Clustered, false,
            statement.keys, statement.options, line});
}

void BatchRun::dropTemporary(const ObjectName& name) {
  if (!session_.temporaries.contains(name.name)) {
    throw ServerError(message::dropNotFound, name.range.line, "table", name.name);
  }
  session_.dropTemporary(name.name);
}

// The table's name stands where an owner's would.
void BatchRun::dropTemporaryIndex(const ObjectName& name) {
  const std::string shown = concat(name.owner, ".", name.name);
  const auto missing = [&] {
    return ServerError(message::dropNotFound, name.range.line, "index", shown);
  };
  const auto table = session_.temporaries.find(name.owner);
  if (table == session_.temporaries.end()) throw missing();
  auto& indexes = table->second.indexes;
  const auto index = std::ranges::find(indexes, name.name, &TemporaryIndex::name);
  if (index == indexes.end()) throw missing();
  if (index->isConstraint) {
    throw ServerError(message::indexOfConstraint, name.range.line, shown);
  }
  server_.catalog.store().execute("DROP INDEX " + index->sqliteIndex);
  indexes.erase(index);
}

ServerError BatchRun::duplicateKeyError(const StoreError& error, std::uint32_t line) {
  const std::string_view complaint = error.what();
  for (const auto& [name, table] : session_.temporaries) {
    for (const TemporaryIndex& index : table.indexes) {
      if (index.violation.empty() || !complaint.ends_with(index.violation)) continue;
      return duplicateError(index.differing, name, index.name, line);
    }
  }
  return server_.catalog.duplicateKeyError(error, line);
}

}  // namespace kelvane::embedded
