#include "drivers/embedded/catalog/stored_indexes.h"

#include <algorithm>

#include "drivers/embedded/catalog/keys.h"
#include "drivers/embedded/catalog/status_bits.h"

namespace kelvane::embedded {

namespace {

bool isUnique(const SysIndex& index) { return (index.status & index_status::kUnique) != 0; }

bool guardsRows(const SysIndex& index) {
  constexpr int kUnguarded = index_status::kUnique | index_status::kAllowDuplicateRow;
  return index.indid == kClusteredIndid && (index.status & kUnguarded) == 0;
}

// The condition under which a row is guarded by the index that compares nulls.
std::string anyNull(const std::vector<ColumnInfo>& keys) {
  std::string condition;
  for (const ColumnInfo& key : keys) {
    if (!key.type.nullable) continue;
    condition += concat(condition.empty() ? "" : " OR ", key.sqliteColumn, " IS NULL");
  }
  return condition;
}

constexpr std::string_view kGuardPrefixes[] = {"n", "r"};

std::string indexName(std::string_view prefix, int tableId, int indid) {
  return concat(rowStore(tableId), ".", prefix, tableId, "_", indid);
}

}  // namespace

template <class Condition>
std::vector<int> StoredIndexes::indidsOf(int tableId, Condition condition) {
  std::vector<int> indids;
  for (const Slot slot : records_.indexes.where<&SysIndex::id>(tableId)) {
    const SysIndex& index = records_.indexes[slot];
    if (index.indid != kHeapIndid && condition(index)) indids.push_back(index.indid);
  }
  return indids;
}

void StoredIndexes::createAll(const ObjectInfo& table) {
  for (const int indid : indidsOf(table.id, isUnique)) createUnique(table, indid);
  for (const int indid : indidsOf(table.id, guardsRows)) createRowGuard(table, indid);
}

void StoredIndexes::dropGuards(const ObjectInfo& table) {
  if (table.sqliteTable == kNoRows) return;
  for (const int indid : indidsOf(table.id, [](const SysIndex&) { return true; })) {
    for (const std::string_view prefix : kGuardPrefixes) {
      store_.execute(concat("DROP INDEX IF EXISTS ", indexName(prefix, table.id, indid)));
    }
  }
}

void StoredIndexes::createGuards(const ObjectInfo& table) {
  if (table.sqliteTable == kNoRows) return;
  for (const int indid : indidsOf(table.id, isUnique)) createNullGuard(table, indid);
  for (const int indid : indidsOf(table.id, guardsRows)) createRowGuard(table, indid);
}

std::vector<ColumnInfo> StoredIndexes::keyColumns(const ObjectInfo& table, int indid) {
  const auto columns = writer_.catalog().columns(table.id);
  std::vector<ColumnInfo> keys;
  for (const SysIndexKey& key : records_.index(table.id, indid)->keys) {
    const auto column = std::ranges::find(columns, key.colid, &ColumnInfo::colid);
    if (column == columns.end() || !column->computed.empty()) {
      writer_.fail(message::rowsUnderExpressionIndex, table.name);
    }
    keys.push_back(*column);
  }
  return keys;
}

void StoredIndexes::createUnique(const ObjectInfo& table, int indid) {
  if (table.sqliteTable == kNoRows) return;
  try {
    store_.execute(concat("CREATE UNIQUE INDEX ", indexName("i", table.id, indid), " ON ",
                          table.sqliteTable, "(", columnList(keyColumns(table, indid)), ")"));
  } catch (const StoreError& error) {
    if (!error.isDuplicateKey()) throw;
    throw existingDuplicates(Differing::keys, table.name, writer_.caller().line);
  }
  createNullGuard(table, indid);
}

void StoredIndexes::createNullGuard(const ObjectInfo& table, int indid) {
  const auto keys = keyColumns(table, indid);
  const std::string nulls = anyNull(keys);
  if (nulls.empty()) return;
  try {
    store_.execute(concat("CREATE UNIQUE INDEX IF NOT EXISTS ", indexName("n", table.id, indid),
                          " ON ", table.sqliteTable, "(", equalNulls(keys), ") WHERE ", nulls));
  } catch (const StoreError& error) {
    if (!error.isDuplicateKey()) throw;
    throw existingDuplicates(Differing::keys, table.name, writer_.caller().line);
  }
}

void StoredIndexes::createRowGuard(const ObjectInfo& table, int indid) {
  if (table.sqliteTable == kNoRows) return;
  const std::string row = equalNulls(comparedInRows(writer_.catalog().columns(table.id)));
  if (row.empty()) return;
  if ((records_.index(table.id, indid)->status & index_status::kIgnoreDuplicateRow) != 0) {
    store_.execute(concat("DELETE FROM ", table.sqliteTable,
                          " WHERE rowid NOT IN (SELECT min(rowid) FROM ", table.sqliteTable,
                          " GROUP BY ", row, ")"));
  }
  try {
    store_.execute(concat("CREATE UNIQUE INDEX IF NOT EXISTS ", indexName("r", table.id, indid),
                          " ON ", table.sqliteTable, "(", row, ")"));
  } catch (const StoreError& error) {
    if (!error.isDuplicateKey()) throw;
    throw existingDuplicates(Differing::rows, table.name, writer_.caller().line);
  }
}

std::vector<std::string> StoredIndexes::ignoredDuplicates(const ObjectInfo& table) {
  std::vector<std::string> targets;
  const auto ignoresKeys = [](const SysIndex& index) {
    return isUnique(index) && (index.status & index_status::kIgnoreDuplicateKey) != 0;
  };
  const auto ignoresRows = [](const SysIndex& index) {
    return guardsRows(index) && (index.status & index_status::kIgnoreDuplicateRow) != 0;
  };
  for (const int indid : indidsOf(table.id, ignoresKeys)) {
    const auto keys = keyColumns(table, indid);
    targets.push_back(concat("(", columnList(keys), ")"));
    const std::string nulls = anyNull(keys);
    if (!nulls.empty()) targets.push_back(concat("(", equalNulls(keys), ") WHERE ", nulls));
  }
  if (!indidsOf(table.id, ignoresRows).empty()) {
    targets.push_back(
        concat("(", equalNulls(comparedInRows(writer_.catalog().columns(table.id))), ")"));
  }
  return targets;
}

void StoredIndexes::drop(int tableId, int indid) {
  for (const std::string_view prefix : {"i", "n", "r"}) {
    store_.execute(concat("DROP INDEX IF EXISTS ", indexName(prefix, tableId, indid)));
  }
}

}  // namespace kelvane::embedded
