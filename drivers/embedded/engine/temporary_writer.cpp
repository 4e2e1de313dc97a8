#include "drivers/embedded/engine/temporary_writer.h"

#include <algorithm>
#include <array>
#include <set>

#include "drivers/embedded/catalog/keys.h"
#include "drivers/embedded/catalog/writer.h"
#include "drivers/embedded/engine/temporary_records.h"
#include "drivers/embedded/engine/translator.h"

namespace kelvane::embedded {

using namespace tsql;

namespace {

constexpr std::size_t kSchemaLength = std::string_view("temp.").size();

void addCheck(TemporaryTable& table, RowRules& rules, const Constraint& constraint, Frame& frame) {
  const auto* check = std::get_if<CheckConstraint>(&constraint.node);
  if (check == nullptr) return;
  table.checks.emplace_back(check->range.in(frame.batch()->text));
  const SourceText source{table.checks.back(), frame.session().caller.quotedIdentifier};
  rules.checks.push_back({constraint.name, checkCondition(source)});
}

}  // namespace

ServerError notKept(const std::string& table, std::string_view what, std::uint32_t line) {
  return {message::noneOfTemporary, line, what, table};
}

ColumnInfo temporaryColumn(const ColumnDefinition& definition,
                           const std::vector<ColumnInfo>& before, Frame& frame) {
  ColumnInfo column;
  column.name = definition.name;
  if (definition.computed) {
    const TranslationContext context = frame.context();
    column.type = withNullability(Translator(context).typeOf(*definition.computed, before),
                                  definition.nullability != Nullability::NotNull);
    column.computed = definition.computed->range.in(frame.batch()->text);
    return column;
  }
  Caller caller = frame.session().caller;
  caller.line = definition.range.line;
  const ColumnType declared = frame.server().catalog.resolveType(definition.type, caller);
  const bool nullable = definition.nullability == Nullability::Unspecified
                            ? declared.nullable
                            : definition.nullability == Nullability::Null;
  column.type = withNullability(declared, nullable);
  column.type.identity = definition.identity;
  return column;
}

void TemporaryWriter::create(const CreateTable& statement) {
  TemporaryTable table;
  table.name = statement.name.name;
  std::set<std::string_view> names;
  table.allPages = statement.lockScheme.empty() || statement.lockScheme == "allpages";
  RowRules rules;
  for (const ColumnDefinition& definition : statement.columns) {
    if (!names.insert(definition.name).second) {
      throw ServerError(message::duplicateColumn, definition.range.line, definition.name,
                        table.name);
    }
    table.columns.push_back(temporaryColumn(definition, table.columns, frame_));
    table.defaults.push_back(
        definition.defaultClause
            ? std::string(definition.defaultClause->range.in(frame_.batch()->text))
            : "");
    for (const Constraint& constraint : definition.constraints) {
      addCheck(table, rules, constraint, frame_);
    }
  }
  for (const Constraint& constraint : statement.constraints) {
    addCheck(table, rules, constraint, frame_);
  }
  if (!rules.checks.empty()) table.rules = std::make_shared<const RowRules>(std::move(rules));

  TemporaryTable& added = add(std::move(table), statement.name.range.line);
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
    drop(statement.name);
    throw;
  }
}

void placeColumns(TemporaryTable& table) {
  table.sqliteColumns.clear();
  for (ColumnInfo& column : table.columns) {
    column.colid = static_cast<int>(&column - table.columns.data()) + 1;
    column.sqliteColumn = "c" + std::to_string(column.colid);
    table.sqliteColumns += (table.sqliteColumns.empty() ? "" : ", ") + column.sqliteColumn +
                           (isCharacter(column.type.kind) ? " TEXT COLLATE RTRIM" : "");
  }
}

TemporaryTable& TemporaryWriter::add(TemporaryTable table, std::uint32_t line) {
  if (session_.temporaries.find(table.name) != nullptr) {
    throw ServerError(message::objectExists, line, table.name);
  }
  placeColumns(table);
  if (table.id == 0) {
    table.id = newTemporaryId(server_.catalog, table.name, session_.number);
  }
  TemporaryTable& added = session_.temporaries.add(std::move(table));
  show(added);
  if (session_.calls.level > 0) own_.push_back(added.name);
  return added;
}

void TemporaryWriter::dropOwn() {
  for (const std::string& name : own_) {
    const TemporaryTable* table = session_.temporaries.find(name);
    if (table == nullptr) continue;
    hideTemporary(server_.catalog, table->id);
    session_.temporaries.drop(name);
  }
}

void TemporaryWriter::show(const TemporaryTable& table) {
  showTemporary(server_.catalog, table, session_.number);
}

void TemporaryWriter::addConstraint(TemporaryTable& table, const Constraint& constraint,
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

void TemporaryWriter::addIndex(TemporaryTable& table, const Key& key) {
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
  TemporaryIndex index;
  index.name = key.name;
  for (const IndexKey& one : key.keys) {
    if (one.expression) throw notKept(table.name, "an index of expressions", key.line);
    keyColumn(table.columns, one.column, table.name, key.line);
    index.keys.push_back({one.column, one.order == SortOrder::Descending});
  }
  const bool comparesRows = !key.unique && key.clustered && table.allPages && !has("allow_dup_row");
  index.differing = comparesRows ? Differing::rows : Differing::keys;
  index.isConstraint = key.isConstraint;
  index.isUnique = key.unique;
  index.isClustered = key.clustered;
  storeIndex(table, std::move(index), key.line);
  show(table);
}

void TemporaryWriter::storeIndex(TemporaryTable& table, TemporaryIndex index, std::uint32_t line) {
  std::vector<ColumnInfo> columns;
  if (index.differing == Differing::rows) {
    columns = comparedInRows(table.columns);
  } else {
    for (const TemporaryKey& key : index.keys) {
      columns.push_back(keyColumn(table.columns, key.column, table.name, line));
    }
  }
  const std::string sqliteTable = table.sqliteTable.substr(kSchemaLength);
  const std::string stored = concat(sqliteTable, "_", session_.temporaries.nextNumber());
  const bool differs = index.isUnique || index.differing == Differing::rows;
  const std::string list = differs ? equalNulls(columns) : columnList(columns);
  std::string violation;
  if (list.find('(') != list.npos) {
    violation = concat("index '", stored, "'");
  } else {
    for (const ColumnInfo& column : columns) {
      violation += concat(violation.empty() ? " " : ", ", sqliteTable, ".", column.sqliteColumn);
    }
  }
  try {
    server_.catalog.store().execute(concat("CREATE ", differs ? "UNIQUE " : "", "INDEX temp.",
                                           stored, " ON ", sqliteTable, "(", list, ")"));
  } catch (const StoreError& error) {
    if (!error.isDuplicateKey()) throw;
    throw existingDuplicates(index.differing, table.name, line);
  }
  index.sqliteIndex = "temp." + stored;
  index.violation = differs ? violation : "";
  table.indexes.push_back(std::move(index));
}

void TemporaryWriter::createIndex(const CreateIndex& statement) {
  TemporaryTable* table = session_.temporaries.find(statement.table.name);
  const std::uint32_t line = statement.table.range.line;
  if (table == nullptr) {
    throw ServerError(message::indexTableNotFound, line, statement.table.name);
  }
  addIndex(*table, {statement.name, statement.unique, statement.clustering == Clustering::Clustered,
                    false, statement.keys, statement.options, line});
}

void TemporaryWriter::drop(const ObjectName& name) {
  const TemporaryTable* table = session_.temporaries.find(name.name);
  if (table == nullptr) {
    throw ServerError(message::dropNotFound, name.range.line, "table", name.name);
  }
  hideTemporary(server_.catalog, table->id);
  session_.temporaries.drop(name.name);
}

// The table's name stands where an owner's would.
void TemporaryWriter::dropIndex(const ObjectName& name) {
  const std::string shown = concat(name.owner, ".", name.name);
  const auto missing = [&] {
    return ServerError(message::dropNotFound, name.range.line, "index", shown);
  };
  TemporaryTable* table = session_.temporaries.find(name.owner);
  if (table == nullptr) throw missing();
  auto& indexes = table->indexes;
  const auto index = std::ranges::find(indexes, name.name, &TemporaryIndex::name);
  if (index == indexes.end()) throw missing();
  if (index->isConstraint) {
    throw ServerError(message::indexOfConstraint, name.range.line, shown);
  }
  session_.temporaries.dropIndex(*table, name.name);
  show(*table);
}

ServerError TemporaryWriter::duplicateKeyError(const StoreError& error, std::uint32_t line) const {
  const auto violated = session_.temporaries.violatedIndex(error.what());
  if (!violated) return server_.catalog.duplicateKeyError(error, line);
  return duplicateError(violated->index.differing, violated->table.name, violated->index.name,
                        line);
}

}  // namespace kelvane::embedded
