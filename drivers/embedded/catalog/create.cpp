// create table and create index.
#include "drivers/embedded/catalog/range_bounds.h"
#include "drivers/embedded/catalog/storage_writer.h"
#include "drivers/embedded/catalog/stored_indexes.h"
#include "drivers/embedded/catalog/table_writer.h"
#include "drivers/embedded/tsql/ast/objects.h"
#include "drivers/embedded/tsql/ast/queries.h"
#include "drivers/embedded/tsql/ast/tables.h"

namespace kelvane::embedded {

namespace {

enum class Pass { Keys, Others };

Pass passOf(const tsql::Constraint& constraint) {
  return std::holds_alternative<tsql::KeyConstraint>(constraint.node) ? Pass::Keys : Pass::Others;
}

void addConstraints(TableWriter& tables, const ObjectInfo& table,
                    const tsql::CreateTable& statement, Pass pass) {
  for (const tsql::ColumnDefinition& column : statement.columns) {
    for (const tsql::Constraint& constraint : column.constraints) {
      if (passOf(constraint) == pass) tables.addConstraint(table, constraint, &column);
    }
  }
  for (const tsql::Constraint& constraint : statement.constraints) {
    if (passOf(constraint) == pass) tables.addConstraint(table, constraint, nullptr);
  }
}

}  // namespace

void Catalog::createTable(const tsql::CreateTable& statement, std::string_view text,
                          const RowValues& values, const Caller& caller) {
  Savepoint savepoint(store_);
  CatalogWriter writer(*this, caller);
  TableWriter tables(writer, text, &values);
  const ObjectInfo table = tables.addTable(statement.name, statement.lockScheme);
  for (const tsql::ColumnDefinition& column : statement.columns) tables.addColumn(table, column);
  // One after the other, because an expression may use the computed columns before it.
  for (const tsql::ColumnDefinition& column : statement.columns) {
    tables.typeComputed(statement.name, table.id, column);
  }
  tables.layOut(table);
  tables.indexes().addHeap(table, statement.segment);
  // A foreign key may refer to a key of its own table.
  addConstraints(tables, table, statement, Pass::Keys);
  addConstraints(tables, table, statement, Pass::Others);
  StorageWriter storage(writer, text);
  storage.applyTable(table, statement);
  if (statement.partitioning) {
    RangeBounds(writer, values, text).requireAscending(table, *statement.partitioning);
  }
  if (statement.proxy) {
    storage.applyProxy(table, statement);
  } else {
    storage.applyObjectDefinition(table);
  }
  for (const tsql::ColumnDefinition& column : statement.columns) {
    storage.applyColumn(table, column.name, column.storage);
  }
  savepoint.keep();
}

ObjectInfo Catalog::createTable(const tsql::ObjectName& name,
                                const std::vector<NamedColumn>& columns,
                                const tsql::TableStorage& storage, std::string_view text,
                                const Caller& caller) {
  Savepoint savepoint(store_);
  CatalogWriter writer(*this, caller);
  TableWriter tables(writer, {});
  const ObjectInfo table = tables.addTable(name, storage.lockScheme);
  for (const NamedColumn& column : columns) {
    if (column.name.empty()) {
      writer.fail(message::selectIntoUnnamedExpression, name.name);
    }
    tables.addColumn(table, column.name, column.type);
  }
  tables.layOut(table);
  tables.indexes().addHeap(table, storage.segment);
  StorageWriter(writer, text).applyTable(table, storage);
  savepoint.keep();
  return *objectById(table.id);
}

std::vector<std::string> Catalog::ignoredDuplicates(int tableId) {
  const auto table = objectById(tableId);
  if (!table) return {};
  const Caller caller{kDboUid, databaseOf(tableId)};
  CatalogWriter writer(*this, caller);
  return StoredIndexes(writer).ignoredDuplicates(*table);
}

void Catalog::createIndex(const tsql::CreateIndex& statement, std::string_view text,
                          const RowValues& values, const Caller& caller) {
  Savepoint savepoint(store_);
  CatalogWriter writer(*this, caller);
  const ObjectInfo table = writer.requireTable(statement.table);
  IndexPlan plan;
  plan.name = statement.name;
  plan.table = &statement.table;
  plan.unique = statement.unique;
  plan.clustered = statement.clustering == tsql::Clustering::Clustered;
  plan.keys = &statement.keys;
  plan.options = &statement.options;
  plan.segment = statement.segment;
  IndexWriter(writer, text, &values).add(table, plan);
  StorageWriter(writer, text).applyIndex(table, statement);
  savepoint.keep();
}

}  // namespace kelvane::embedded
