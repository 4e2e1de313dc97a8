#include "bench/sample_inventory.h"

#include "bench/sample_schema.h"
#include "model/text.h"

namespace kelvane::bench {
namespace {

using namespace inventory;

inventory::Column columnOf(const kelvane::Column& sample) {
  inventory::Column column{.name = toUtf8(sample.Name)};
  DataType& type = column.type.type;
  type.name = toUtf8(sample.DataType);
  if (type.name == "numeric") {
    type.precision = static_cast<std::int16_t>(sample.Precision);
    type.scale = static_cast<std::int16_t>(2);
  } else if (type.name.ends_with("char")) {
    type.length = sample.Length;
  }
  column.type.nullable = sample.Nullable;
  if (!sample.Default.empty()) column.defaultValue = DefaultValue{toUtf8(sample.Default), {}};
  return column;
}

IndexStorage storageOf(const std::u16string& columns, bool isClustered) {
  IndexStorage storage{.clustered = isClustered};
  for (const std::u16string_view name : split(columns, u','))
    storage.columns.push_back({toUtf8(name.substr(name.find_first_not_of(u' ')))});
  storage.segment = "default";
  return storage;
}

inventory::Table tableOf(const kelvane::Table& sample) {
  inventory::Table table;
  table.name = {toUtf8(sample.Owner), toUtf8(sample.Name)};
  table.lock = "datarows";
  table.segment = "default";
  table.columns.reserve(kColumnsATable);
  for (const kelvane::Column& column : sample.Columns) table.columns.push_back(columnOf(column));
  for (const kelvane::PrimaryKey& key : sample.PrimaryKey) {
    KeyConstraint& made = table.keys.emplace_back();
    static_cast<IndexStorage&>(made) = storageOf(key.Columns, true);
    made.name.name = toUtf8(key.Name);
    made.primary = true;
  }
  for (const kelvane::index& one : sample.Indexes) {
    Index& made = table.indexes.emplace_back();
    static_cast<IndexStorage&>(made) = storageOf(one.IndexKeys, false);
    made.name = toUtf8(one.Name);
    made.unique = one.IndexDescription.ends_with(u"unique");
  }
  return table;
}

}  // namespace

Database sampleInventory(int tables, bool isTarget) {
  Database database;
  database.tables.reserve(static_cast<std::size_t>(tables));
  const Schema schema = sampleSchema(tables, isTarget);
  for (const kelvane::Table& table : schema.Tables) database.tables.push_back(tableOf(table));
  return database;
}

}  // namespace kelvane::bench
