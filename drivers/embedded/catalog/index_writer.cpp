#include "drivers/embedded/catalog/index_writer.h"

#include <algorithm>
#include <iterator>

#include "drivers/embedded/catalog/keys.h"
#include "drivers/embedded/catalog/system_tables.h"
#include "drivers/embedded/catalog/utf8.h"

namespace kelvane::embedded {

namespace {

constexpr int kDefaultSegment = 1;
constexpr int kLargestIndid = 250;

struct LockScheme {
  std::string_view name;
  int status;
};

constexpr LockScheme kLockSchemes[] = {{"allpages", table_status2::kAllPages},
                                       {"datapages", table_status2::kDataPages},
                                       {"datarows", table_status2::kDataRows}};

struct StatusOption {
  std::string_view name;
  int status;
};

constexpr StatusOption kStatusOptions[] = {
    {"ignore_dup_key", index_status::kIgnoreDuplicateKey},
    {"ignore_dup_row", index_status::kIgnoreDuplicateRow},
    {"allow_dup_row", index_status::kAllowDuplicateRow},
};

bool allowsDuplicateRows(const std::vector<tsql::StorageOption>* options) {
  return options != nullptr &&
         std::ranges::count(*options, "allow_dup_row", &tsql::StorageOption::name) != 0;
}

}  // namespace

int IndexWriter::lockStatus(std::string_view scheme) {
  const auto* found = std::ranges::find(kLockSchemes, scheme, &LockScheme::name);
  return found == std::end(kLockSchemes) ? table_status2::kAllPages : found->status;
}

bool IndexWriter::isAllPages(int tableId) {
  const int status =
      store_.value("SELECT sysstat2 FROM sysobjects WHERE id = ?", tableId).value_or(0);
  return (status & (table_status2::kDataPages | table_status2::kDataRows)) == 0;
}

int IndexWriter::segmentNumber(std::string_view name) {
  if (name.empty()) return kDefaultSegment;
  const auto number = store_.value("SELECT segment FROM syssegments WHERE name = ?", name);
  if (!number) writer_.fail(17520, "There is no such segment as '", name, "'.");
  return *number;
}

void IndexWriter::addHeap(const ObjectInfo& table, std::string_view segment) {
  store_.run("INSERT INTO sysindexes(name, id, indid, segment, crdate) VALUES (?, ?, ?, ?, ?)",
             table.name, table.id, kHeapIndid, segmentNumber(segment), currentTime());
  updateTextChain(table);
}

void IndexWriter::updateTextChain(const ObjectInfo& table) {
  const auto columns = writer_.catalog().columns(table.id);
  const bool needed = std::ranges::any_of(
      columns, [](const ColumnInfo& column) { return isLong(column.type.kind); });
  const bool present =
      store_.value("SELECT 1 FROM sysindexes WHERE id = ? AND indid = ?", table.id, kTextIndid)
          .has_value();
  if (needed && !present) {
    store_.run("INSERT INTO sysindexes(name, id, indid, segment, crdate) VALUES (?, ?, ?, ?, ?)",
               "t" + table.name, table.id, kTextIndid, kDefaultSegment, currentTime());
  } else if (!needed && present) {
    store_.run("DELETE FROM sysindexes WHERE id = ? AND indid = ?", table.id, kTextIndid);
  }
}

// A key that is an expression stands in the catalog as a computed column that nobody sees.
IndexWriter::KeyColumn IndexWriter::addHiddenColumn(const ObjectInfo& table, const IndexPlan& plan,
                                                    int indid, std::size_t position) {
  const tsql::IndexKey& key = plan.keys->at(position);
  if (plan.table == nullptr || values_ == nullptr) {
    writer_.fail(tsql::kNotSupported, "The embedded catalog takes expressions as keys of '",
                 table.name, "' from create index only.");
  }
  const std::string name = concat("sybfi", indid, "_", position + 1);
  const ColumnType type = withNullability(values_->typeOf(*key.expression, *plan.table), true);
  const int computed = writer_.addUnnamedObject(table, name, object_type::kComputed);
  writer_.saveText(computed, 0, key.expression->range.in(text_));
  const int colid =
      store_.value("SELECT max(colid) FROM syscolumns WHERE id = ?", table.id).value_or(0) + 1;
  store_.run(
      "INSERT INTO syscolumns(id, colid, status, type, length, usertype, name, prec, scale,"
      " status3, computedcol) VALUES (?, ?, 8, ?, ?, ?, ?, ?, ?, 1, ?)",
      table.id, colid, type.storageCode, type.length, type.userType, name, type.precision,
      type.scale, computed);
  return {colid, key.order == tsql::SortOrder::Descending, true, false};
}

void IndexWriter::removeHiddenColumns(int tableId, int indid) {
  std::vector<std::pair<int, int>> hidden;
  store_.each(
      "SELECT c.colid, c.computedcol FROM index_keys k JOIN syscolumns c ON c.id = k.id"
      " AND c.number = 0 AND c.colid = k.colid WHERE k.id = ? AND k.indid = ? AND c.status3 & 1",
      [&](const Statement& row) { hidden.emplace_back(row.number(0), row.number(1)); }, tableId,
      indid);
  for (const auto& [colid, computed] : hidden) {
    store_.run("DELETE FROM syscolumns WHERE id = ? AND colid = ?", tableId, colid);
    writer_.removeObject(computed);
  }
}

std::vector<IndexWriter::KeyColumn> IndexWriter::resolveKeys(const ObjectInfo& table,
                                                             const IndexPlan& plan, int indid) {
  const auto& keys = *plan.keys;
  if (keys.size() > kLargestKeyCount) {
    writer_.fail(1904, "Cannot specify more than ", kLargestKeyCount,
                 " column names for index key list. ", keys.size(), " specified.");
  }
  const auto columns = writer_.catalog().columns(table.id);
  std::vector<KeyColumn> resolved;
  for (const tsql::IndexKey& key : keys) {
    if (key.expression) {
      resolved.push_back(addHiddenColumn(table, plan, indid, resolved.size()));
      continue;
    }
    const ColumnInfo& column = keyColumn(columns, key.column, table.name, writer_.caller().line);
    if (std::ranges::find(resolved, column.colid, &KeyColumn::colid) != resolved.end()) {
      writer_.fail(1909, "Cannot use duplicate column names in index key list. Column name '",
                   key.column, "' listed more than once.");
    }
    if (plan.kind == IndexPlan::Kind::PrimaryKey && column.type.nullable) {
      writer_.fail(8111, "Cannot define PRIMARY KEY constraint on nullable column '", key.column,
                   "' in table '", table.name, "'.");
    }
    resolved.push_back({column.colid, key.order == tsql::SortOrder::Descending,
                        column.type.nullable, column.type.identity});
  }
  return resolved;
}

std::optional<int> IndexWriter::find(int tableId, std::string_view name) {
  return store_.value(
      "SELECT indid FROM sysindexes WHERE id = ? AND name = ? AND indid BETWEEN 1 AND 254", tableId,
      name);
}

int IndexWriter::freeIndid(int tableId) {
  int free = kClusteredIndid + 1;
  store_.each(
      "SELECT indid FROM sysindexes WHERE id = ? AND indid BETWEEN 2 AND 254 ORDER BY indid",
      [&](const Statement& row) {
        if (row.number(0) == free) ++free;
      },
      tableId);
  if (free > kLargestIndid) {
    writer_.fail(1910, "Cannot create more than 249 nonclustered indexes on one table.");
  }
  return free;
}

void IndexWriter::requireNoClustered(const ObjectInfo& table) {
  const auto existing = store_.value<std::string>(
      "SELECT name FROM sysindexes WHERE id = ? AND (indid = 1 OR status2 & 512)", table.id);
  if (existing) {
    writer_.fail(1902, "Cannot create more than one clustered index on table '", table.name,
                 "'. Drop the existing clustered index '", *existing, "' before creating another.");
  }
}

int IndexWriter::add(const ObjectInfo& table, const IndexPlan& plan) {
  const bool replacesHeap = plan.clustered && isAllPages(table.id);
  const int indid = replacesHeap ? kClusteredIndid : freeIndid(table.id);
  const std::vector<KeyColumn> keys = resolveKeys(table, plan, indid);
  if (!plan.name.empty() && find(table.id, plan.name)) {
    writer_.fail(1913, "There is already an index on table '", table.name, "' named '", plan.name,
                 "'.");
  }
  if (plan.clustered) requireNoClustered(table);
  writeRow(table, plan, indid, keys);
  if (replacesHeap) {
    moveData(table.id, kHeapIndid, kClusteredIndid);
    store_.run("DELETE FROM sysindexes WHERE id = ? AND indid = ?", table.id, kHeapIndid);
  }
  int position = 0;
  for (const KeyColumn& key : keys) {
    store_.run(
        "INSERT INTO index_keys(id, indid, position, colid, descending) VALUES (?, ?, ?, ?, ?)",
        table.id, indid, ++position, key.colid, key.descending ? 1 : 0);
  }
  if (plan.options != nullptr) applyOptions(table.id, indid, *plan.options);
  if (plan.unique) {
    createUnique(table, indid);
  } else if (indid == kClusteredIndid && !allowsDuplicateRows(plan.options)) {
    createRowGuard(table, indid);
  }
  return indid;
}

void IndexWriter::writeRow(const ObjectInfo& table, const IndexPlan& plan, int indid,
                           const std::vector<KeyColumn>& keys) {
  const bool isConstraint = plan.kind != IndexPlan::Kind::Index;
  const bool placed = plan.clustered && indid != kClusteredIndid;
  int status = plan.unique ? index_status::kUnique : 0;
  if (indid == kClusteredIndid) status |= index_status::kClustered;
  if (plan.kind == IndexPlan::Kind::PrimaryKey) status |= index_status::kPrimaryKey;
  int status2 = isConstraint ? index_status2::kConstraint : 0;
  if (std::ranges::any_of(keys, &KeyColumn::identity)) status2 |= index_status2::kHasIdentity;
  if (isConstraint && plan.name.empty()) status2 |= index_status2::kGeneratedName;
  if (placed) status2 |= index_status2::kPlacement;
  constexpr std::size_t kTablePart = 10;
  const std::string name =
      plan.name.empty() ? concat(firstCharacters(table.name, kTablePart), "_", table.id, indid)
                        : plan.name;
  const int keyCount = static_cast<int>(keys.size()) + (indid == kClusteredIndid ? 0 : 1);
  store_.run(
      "INSERT INTO sysindexes(name, id, indid, status, status2, segment, keycnt, crdate)"
      " VALUES (?, ?, ?, ?, ?, ?, ?, ?)",
      name, table.id, indid, status, status2, segmentNumber(plan.segment), keyCount, currentTime());
  if (plan.kind == IndexPlan::Kind::PrimaryKey) {
    store_.run("UPDATE sysobjects SET sysstat2 = sysstat2 | ? WHERE id = ?",
               table_status2::kPrimaryKey, table.id);
  }
}

void IndexWriter::applyOptions(int tableId, int indid,
                               const std::vector<tsql::StorageOption>& options) {
  for (const tsql::StorageOption& option : options) {
    const auto* flag = std::ranges::find(kStatusOptions, option.name, &StatusOption::name);
    const auto value = option.value.value_or(0);
    if (flag != std::end(kStatusOptions)) {
      store_.run("UPDATE sysindexes SET status = status | ? WHERE id = ? AND indid = ?",
                 flag->status, tableId, indid);
    } else if (option.name == "max_rows_per_page") {
      store_.run("UPDATE sysindexes SET maxrowsperpage = ? WHERE id = ? AND indid = ?", value,
                 tableId, indid);
    } else if (option.name == "fillfactor") {
      store_.run("UPDATE sysindexes SET fill_factor = ? WHERE id = ? AND indid = ?", value, tableId,
                 indid);
    } else if (option.name == "reservepagegap") {
      store_.run("UPDATE sysindexes SET res_page_gap = ? WHERE id = ? AND indid = ?", value,
                 tableId, indid);
    }
  }
}

// Unique indexes of the server are unique indexes of SQLite, `i` and table and index. Two more
// kinds make up for what those leave open:
// - `n...`: SQLite takes any number of nulls, the server one;
// - `r...`: a clustered index without allow_dup_row refuses a row that is there already.

namespace {

constexpr std::string_view kRowGuarded = "indid = 1 AND status & 66 = 0";
constexpr std::string_view kGuardPrefixes[] = {"n", "r"};

std::string indexName(std::string_view prefix, int tableId, int indid) {
  return concat(rowStore(tableId), ".", prefix, tableId, "_", indid);
}

}  // namespace

std::vector<int> IndexWriter::indidsOf(int tableId, std::string_view condition) {
  std::vector<int> indids;
  store_.each(
      concat("SELECT indid FROM sysindexes WHERE id = ? AND indid > 0 AND ", condition,
             " ORDER BY indid"),
      [&](const Statement& row) { indids.push_back(row.number(0)); }, tableId);
  return indids;
}

void IndexWriter::createAllUnique(const ObjectInfo& table) {
  for (const int indid : indidsOf(table.id, "status & 2")) createUnique(table, indid);
  for (const int indid : indidsOf(table.id, kRowGuarded)) createRowGuard(table, indid);
}

void IndexWriter::dropGuards(const ObjectInfo& table) {
  if (table.sqliteTable == kNoRows) return;
  for (const int indid : indidsOf(table.id, "1")) {
    for (const std::string_view prefix : kGuardPrefixes) {
      store_.execute(concat("DROP INDEX IF EXISTS ", indexName(prefix, table.id, indid)));
    }
  }
}

void IndexWriter::createGuards(const ObjectInfo& table) {
  if (table.sqliteTable == kNoRows) return;
  for (const int indid : indidsOf(table.id, "status & 2")) createNullGuard(table, indid);
  for (const int indid : indidsOf(table.id, kRowGuarded)) createRowGuard(table, indid);
}

std::vector<ColumnInfo> IndexWriter::keyColumns(const ObjectInfo& table, int indid) {
  const auto columns = writer_.catalog().columns(table.id);
  std::vector<ColumnInfo> keys;
  store_.each(
      "SELECT colid FROM index_keys WHERE id = ? AND indid = ? ORDER BY position",
      [&](const Statement& row) {
        const auto column = std::ranges::find(columns, row.number(0), &ColumnInfo::colid);
        if (column == columns.end() || !column->computed.empty()) {
          writer_.fail(tsql::kNotSupported, "The embedded catalog cannot keep rows in table '",
                       table.name, "', which has a unique index of expressions.");
        }
        keys.push_back(*column);
      },
      table.id, indid);
  return keys;
}

void IndexWriter::createUnique(const ObjectInfo& table, int indid) {
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

void IndexWriter::createNullGuard(const ObjectInfo& table, int indid) {
  const auto keys = keyColumns(table, indid);
  std::string anyNull;
  for (const ColumnInfo& key : keys) {
    if (!key.type.nullable) continue;
    anyNull += concat(anyNull.empty() ? "" : " OR ", key.sqliteColumn, " IS NULL");
  }
  if (anyNull.empty()) return;
  try {
    store_.execute(concat("CREATE UNIQUE INDEX IF NOT EXISTS ", indexName("n", table.id, indid),
                          " ON ", table.sqliteTable, "(", equalNulls(keys), ") WHERE ", anyNull));
  } catch (const StoreError& error) {
    if (!error.isDuplicateKey()) throw;
    throw existingDuplicates(Differing::keys, table.name, writer_.caller().line);
  }
}

void IndexWriter::createRowGuard(const ObjectInfo& table, int indid) {
  if (table.sqliteTable == kNoRows) return;
  const std::string row = equalNulls(comparedInRows(writer_.catalog().columns(table.id)));
  if (row.empty()) return;
  if (store_.value("SELECT 1 FROM sysindexes WHERE id = ? AND indid = ? AND status & ?", table.id,
                   indid, index_status::kIgnoreDuplicateRow)) {
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

std::vector<std::string> IndexWriter::ignoredDuplicates(const ObjectInfo& table) {
  std::vector<std::string> targets;
  for (const int indid : indidsOf(table.id, "status & 3 = 3")) {
    targets.push_back(columnList(keyColumns(table, indid)));
  }
  for (const int indid : indidsOf(table.id, concat(kRowGuarded, " AND status & 4"))) {
    if (indid != 0)
      targets.push_back(equalNulls(comparedInRows(writer_.catalog().columns(table.id))));
  }
  return targets;
}

void IndexWriter::dropStored(int tableId, int indid) {
  for (const std::string_view prefix : {"i", "n", "r"}) {
    store_.execute(concat("DROP INDEX IF EXISTS ", indexName(prefix, tableId, indid)));
  }
}

// What the row of the data says of the table itself, and the partitions of the data.
void IndexWriter::moveData(int tableId, int from, int to) {
  store_.run(
      "UPDATE sysindexes SET (exp_rowsize, identitygap, partitiontype, conditionid) ="
      " (SELECT exp_rowsize, identitygap, partitiontype, conditionid FROM sysindexes"
      " WHERE id = ?1 AND indid = ?2) WHERE id = ?1 AND indid = ?3",
      tableId, from, to);
  store_.run(
      "UPDATE sysindexes SET exp_rowsize = NULL, identitygap = NULL, partitiontype = NULL,"
      " conditionid = NULL WHERE id = ? AND indid = ?",
      tableId, from);
  store_.run("UPDATE syspartitions SET indid = ?3 WHERE id = ?1 AND indid = ?2", tableId, from, to);
  store_.run("UPDATE syspartitionkeys SET indid = ?3 WHERE id = ?1 AND indid = ?2", tableId, from,
             to);
}

void IndexWriter::addHeapOf(const ObjectInfo& table, int dataIndid) {
  store_.run("INSERT INTO sysindexes(name, id, indid, segment, crdate) VALUES (?, ?, ?, ?, ?)",
             table.name, table.id, kHeapIndid, kDefaultSegment, currentTime());
  moveData(table.id, dataIndid, kHeapIndid);
}

void IndexWriter::remove(const ObjectInfo& table, int indid) {
  if (indid == kClusteredIndid) addHeapOf(table, indid);
  removeHiddenColumns(table.id, indid);
  store_.run("DELETE FROM syspartitions WHERE id = ? AND indid = ?", table.id, indid);
  store_.run("DELETE FROM sysindexes WHERE id = ? AND indid = ?", table.id, indid);
  store_.run("DELETE FROM index_keys WHERE id = ? AND indid = ?", table.id, indid);
  dropStored(table.id, indid);
  store_.run(
      "UPDATE sysobjects SET sysstat2 = sysstat2 & ~8 WHERE id = ?1 AND NOT EXISTS"
      " (SELECT 1 FROM sysindexes WHERE id = ?1 AND status & 2048)",
      table.id);
}

void IndexWriter::renumber(const ObjectInfo& table, int from, int to) {
  store_.run("UPDATE sysindexes SET indid = ?3 WHERE id = ?1 AND indid = ?2", table.id, from, to);
  store_.run("UPDATE index_keys SET indid = ?3 WHERE id = ?1 AND indid = ?2", table.id, from, to);
  store_.run("UPDATE syspartitions SET indid = ?3 WHERE id = ?1 AND indid = ?2", table.id, from,
             to);
  store_.run("UPDATE syspartitionkeys SET indid = ?3 WHERE id = ?1 AND indid = ?2", table.id, from,
             to);
  store_.run("UPDATE sysreferences SET indexid = ?3 WHERE reftabid = ?1 AND indexid = ?2", table.id,
             from, to);
  dropStored(table.id, from);
  if (store_.value("SELECT 1 FROM sysindexes WHERE id = ? AND indid = ? AND status & 2", table.id,
                   to)) {
    createUnique(table, to);
  }
}

void IndexWriter::changeLockScheme(const ObjectInfo& table, std::string_view scheme) {
  const bool wasAllPages = isAllPages(table.id);
  store_.run("UPDATE sysobjects SET sysstat2 = (sysstat2 & ~?) | ? WHERE id = ?",
             table_status2::kLockMask, lockStatus(scheme), table.id);
  if (wasAllPages == isAllPages(table.id)) return;
  const auto clustered = store_.value(
      "SELECT indid FROM sysindexes WHERE id = ? AND (indid = 1 OR status2 & 512)", table.id);
  if (!clustered) return;
  if (wasAllPages) {
    const int indid = freeIndid(table.id);
    renumber(table, *clustered, indid);
    store_.run(
        "UPDATE sysindexes SET status = status & ~16, status2 = status2 | 512, keycnt = keycnt + 1"
        " WHERE id = ? AND indid = ?",
        table.id, indid);
    addHeapOf(table, indid);
  } else {
    renumber(table, *clustered, kClusteredIndid);
    moveData(table.id, kHeapIndid, kClusteredIndid);
    store_.run("DELETE FROM sysindexes WHERE id = ? AND indid = ?", table.id, kHeapIndid);
    store_.run(
        "UPDATE sysindexes SET status = status | 16, status2 = status2 & ~512, keycnt = keycnt - 1"
        " WHERE id = ? AND indid = ?",
        table.id, kClusteredIndid);
  }
}

}  // namespace kelvane::embedded
