#include "drivers/embedded/catalog/index_writer.h"

#include <algorithm>
#include <iterator>

#include "drivers/embedded/catalog/keys.h"
#include "drivers/embedded/catalog/system_tables.h"
#include "drivers/embedded/catalog/utf8.h"
#include "drivers/embedded/tsql/ast/queries.h"

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
  const SysObject* table = records_.object(tableId);
  const int status = table == nullptr ? 0 : table->sysstat2;
  return (status & (table_status2::kDataPages | table_status2::kDataRows)) == 0;
}

int IndexWriter::segmentNumber(std::string_view name) {
  if (name.empty()) return kDefaultSegment;
  const auto number = store_.value("SELECT segment FROM syssegments WHERE name = ?", name);
  if (!number) writer_.fail(message::segmentNotFound, name);
  return *number;
}

void IndexWriter::addRow(const ObjectInfo& table, std::string name, int indid, int segment) {
  SysIndex row;
  row.name = std::move(name);
  row.id = table.id;
  row.indid = indid;
  row.segment = segment;
  row.crdate = currentTime();
  records_.indexes.insert(std::move(row));
}

void IndexWriter::eraseRow(int tableId, int indid) {
  records_.indexes.each<&SysIndex::id>(tableId, [&](Slot slot, const SysIndex& row) {
    if (row.indid == indid) records_.indexes.erase(slot);
  });
}

void IndexWriter::addHeap(const ObjectInfo& table, std::string_view segment) {
  addRow(table, table.name, kHeapIndid, segmentNumber(segment));
  updateTextChain(table);
}

void IndexWriter::updateTextChain(const ObjectInfo& table) {
  const auto isLongColumn = [&](const Slot slot) {
    const SysColumn& column = records_.columns[slot];
    return !column.isHidden() && isLong(kindOfStorage(column.type, column.length));
  };
  const bool needed =
      std::ranges::any_of(records_.columns.where<&SysColumn::id>(table.id), isLongColumn);
  const bool present = records_.index(table.id, kTextIndid) != nullptr;
  if (needed && !present) addRow(table, "t" + table.name, kTextIndid, kDefaultSegment);
  if (!needed && present) eraseRow(table.id, kTextIndid);
}

const SysIndex* IndexWriter::primaryKey(int tableId) const {
  for (const Slot slot : records_.indexes.where<&SysIndex::id>(tableId)) {
    const SysIndex& index = records_.indexes[slot];
    if ((index.status & index_status::kPrimaryKey) != 0) return &index;
  }
  return nullptr;
}

// A key that is an expression stands in the catalog as a computed column that nobody sees.
IndexWriter::KeyColumn IndexWriter::addHiddenColumn(const ObjectInfo& table, const IndexPlan& plan,
                                                    int indid, std::size_t position) {
  const tsql::IndexKey& key = plan.keys->at(position);
  if (!writer_.catalog().options().has(Release::ase15)) {
    writer_.fail(message::syntax, "(");
  }
  if (plan.table == nullptr || values_ == nullptr) {
    writer_.fail(message::expressionKeys, table.name);
  }
  const std::string name = concat("sybfi", indid, "_", position + 1);
  const ColumnType type = withNullability(values_->typeOf(*key.expression, *plan.table), true);
  const int computed = writer_.addUnnamedObject(table, name, object_type::kComputed);
  writer_.saveText(computed, 0, key.expression->range.in(text_));
  SysColumn column;
  column.id = table.id;
  column.colid = records_.nextColid(table.id);
  column.status = column_status::kNullable;
  column.type = type.storageCode;
  column.length = type.length;
  column.usertype = type.userType;
  column.name = name;
  column.prec = type.precision;
  column.scale = type.scale;
  column.status3 = column_status3::kHidden;
  column.computedcol = computed;
  const int colid = column.colid;
  records_.columns.insert(std::move(column));
  return {colid, key.order == tsql::SortOrder::Descending, true, false};
}

void IndexWriter::removeHiddenColumns(int tableId, int indid) {
  const SysIndex* index = records_.index(tableId, indid);
  if (index == nullptr) return;
  for (const SysIndexKey& key : std::vector(index->keys)) {
    records_.columns.each<&SysColumn::id>(tableId, [&](Slot slot, const SysColumn& column) {
      if (column.colid != key.colid || !column.isHidden()) return;
      const int computed = column.computedcol.value();
      records_.columns.erase(slot);
      writer_.removeObject(computed);
    });
  }
}

std::vector<IndexWriter::KeyColumn> IndexWriter::resolveKeys(const ObjectInfo& table,
                                                             const IndexPlan& plan, int indid) {
  const auto& keys = *plan.keys;
  if (keys.size() > kLargestKeyCount) {
    writer_.fail(message::tooManyIndexKeys, kLargestKeyCount, keys.size());
  }
  std::vector<KeyColumn> resolved;
  for (const tsql::IndexKey& key : keys) {
    if (key.expression) {
      resolved.push_back(addHiddenColumn(table, plan, indid, resolved.size()));
      continue;
    }
    const ColumnInfo column = keyColumn(writer_.catalog().column(table.id, key.column), key.column,
                                        table.name, writer_.caller().line);
    if (std::ranges::find(resolved, column.colid, &KeyColumn::colid) != resolved.end()) {
      writer_.fail(message::duplicateIndexKey, key.column);
    }
    if (plan.kind == IndexPlan::Kind::PrimaryKey && column.type.nullable) {
      writer_.fail(message::nullablePrimaryKey, key.column, table.name);
    }
    resolved.push_back({column.colid, key.order == tsql::SortOrder::Descending,
                        column.type.nullable, column.type.identity});
  }
  return resolved;
}

std::optional<int> IndexWriter::find(int tableId, std::string_view name) {
  for (const Slot slot : records_.indexes.where<&SysIndex::id>(tableId)) {
    const SysIndex& index = records_.indexes[slot];
    const bool isIndex = index.indid != kHeapIndid && index.indid != kTextIndid;
    if (isIndex && index.name == name) return index.indid;
  }
  return std::nullopt;
}

int IndexWriter::freeIndid(int tableId) {
  int free = kClusteredIndid + 1;
  for (const Slot slot : records_.indexes.where<&SysIndex::id>(tableId)) {
    if (records_.indexes[slot].indid == free) ++free;
  }
  if (free > kLargestIndid) {
    writer_.fail(message::tooManyIndexes);
  }
  return free;
}

const SysIndex* IndexWriter::clustered(int tableId) const {
  for (const Slot slot : records_.indexes.where<&SysIndex::id>(tableId)) {
    const SysIndex& index = records_.indexes[slot];
    const bool isPlaced = (index.status2 & index_status2::kPlacement) != 0;
    if (index.indid == kClusteredIndid || isPlaced) return &index;
  }
  return nullptr;
}

void IndexWriter::requireNoClustered(const ObjectInfo& table) {
  const SysIndex* existing = clustered(table.id);
  if (existing == nullptr) return;
  writer_.fail(message::clusteredIndexExists, table.name, existing->name);
}

int IndexWriter::add(const ObjectInfo& table, const IndexPlan& plan) {
  const bool replacesHeap = plan.clustered && isAllPages(table.id);
  const int indid = replacesHeap ? kClusteredIndid : freeIndid(table.id);
  const std::vector<KeyColumn> keys = resolveKeys(table, plan, indid);
  if (!plan.name.empty() && find(table.id, plan.name)) {
    writer_.fail(message::indexExists, table.name, plan.name);
  }
  if (plan.clustered) requireNoClustered(table);
  writeRow(table, plan, indid, keys);
  if (replacesHeap) {
    moveData(table.id, kHeapIndid, kClusteredIndid);
    eraseRow(table.id, kHeapIndid);
  }
  if (plan.unique) {
    stored_.createUnique(table, indid);
  } else if (indid == kClusteredIndid && !allowsDuplicateRows(plan.options)) {
    stored_.createRowGuard(table, indid);
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
  SysIndex row;
  row.name = name;
  row.id = table.id;
  row.indid = indid;
  row.status = status;
  row.status2 = status2;
  row.segment = segmentNumber(plan.segment);
  row.keycnt = static_cast<int>(keys.size()) + (indid == kClusteredIndid ? 0 : 1);
  row.crdate = currentTime();
  for (const KeyColumn& key : keys) row.keys.push_back({key.colid, key.descending});
  if (plan.options != nullptr) applyOptions(row, *plan.options);
  records_.indexes.insert(std::move(row));
  const int bits = (plan.kind == IndexPlan::Kind::PrimaryKey ? table_status2::kPrimaryKey : 0) |
                   (plan.clustered ? table_status2::kClusteredIndex : 0);
  if (bits != 0) {
    records_.changeObject(table.id, [&](SysObject& object) { object.sysstat2 |= bits; });
  }
}

void IndexWriter::applyOptions(SysIndex& index, const std::vector<tsql::StorageOption>& options) {
  for (const tsql::StorageOption& option : options) {
    const auto* flag = std::ranges::find(kStatusOptions, option.name, &StatusOption::name);
    const int value = static_cast<int>(option.value.value_or(0));
    if (flag != std::end(kStatusOptions)) {
      index.status |= flag->status;
    } else if (option.name == "max_rows_per_page") {
      index.maxrowsperpage = value;
    } else if (option.name == "fillfactor") {
      index.fill_factor = value;
    } else if (option.name == "reservepagegap") {
      index.res_page_gap = value;
    }
  }
}

// What the row of the data says of the table itself, and the partitions of the data.
void IndexWriter::moveData(int tableId, int from, int to) {
  const SysIndex data = *records_.index(tableId, from);
  records_.changeIndex(tableId, to, [&](SysIndex& index) {
    index.exp_rowsize = data.exp_rowsize;
    index.identitygap = data.identitygap;
    index.partitiontype = data.partitiontype;
    index.conditionid = data.conditionid;
  });
  records_.changeIndex(tableId, from, [](SysIndex& index) {
    index.exp_rowsize.reset();
    index.identitygap.reset();
    index.partitiontype.reset();
    index.conditionid.reset();
  });
  movePartitions(tableId, from, to);
}

void IndexWriter::movePartitions(int tableId, int from, int to) {
  // Before release 15 partitions are those of the table alone.
  if (!writer_.catalog().options().has(Release::ase15)) return;
  store_.run("UPDATE syspartitions SET indid = ?3 WHERE id = ?1 AND indid = ?2", tableId, from, to);
  store_.run("UPDATE syspartitionkeys SET indid = ?3 WHERE id = ?1 AND indid = ?2", tableId, from,
             to);
}

void IndexWriter::addHeapOf(const ObjectInfo& table, int dataIndid) {
  addRow(table, table.name, kHeapIndid, kDefaultSegment);
  moveData(table.id, dataIndid, kHeapIndid);
}

void IndexWriter::remove(const ObjectInfo& table, int indid) {
  if (indid == kClusteredIndid) addHeapOf(table, indid);
  removeHiddenColumns(table.id, indid);
  if (writer_.catalog().options().has(Release::ase15)) {
    store_.run("DELETE FROM syspartitions WHERE id = ? AND indid = ?", table.id, indid);
  }
  eraseRow(table.id, indid);
  if (table.sqliteTable != kNoRows) stored_.drop(table.id, indid);
  const int gone = (primaryKey(table.id) == nullptr ? table_status2::kPrimaryKey : 0) |
                   (clustered(table.id) == nullptr ? table_status2::kClusteredIndex : 0);
  if (gone != 0) {
    records_.changeObject(table.id, [&](SysObject& object) { object.sysstat2 &= ~gone; });
  }
}

void IndexWriter::renumber(const ObjectInfo& table, int from, int to) {
  records_.changeIndex(table.id, from, [&](SysIndex& index) { index.indid = to; });
  records_.references.each<&SysReference::reftabid>(
      table.id, [&](Slot slot, const SysReference& row) {
        if (row.indexid != from) return;
        records_.references.change(slot, [&](SysReference& changed) { changed.indexid = to; });
      });
  movePartitions(table.id, from, to);
  if (table.sqliteTable != kNoRows) stored_.drop(table.id, from);
  const SysIndex& moved = *records_.index(table.id, to);
  if ((moved.status & index_status::kUnique) != 0) stored_.createUnique(table, to);
}

void IndexWriter::changeLockScheme(const ObjectInfo& table, std::string_view scheme) {
  const bool wasAllPages = isAllPages(table.id);
  records_.changeObject(table.id, [&](SysObject& object) {
    object.sysstat2 = (object.sysstat2 & ~table_status2::kLockMask) | lockStatus(scheme);
  });
  if (wasAllPages == isAllPages(table.id)) return;
  const SysIndex* placed = clustered(table.id);
  if (placed == nullptr) return;
  const int from = placed->indid;
  const int to = wasAllPages ? freeIndid(table.id) : kClusteredIndid;
  renumber(table, from, to);
  if (wasAllPages) {
    addHeapOf(table, to);
  } else {
    moveData(table.id, kHeapIndid, kClusteredIndid);
    eraseRow(table.id, kHeapIndid);
  }
  records_.changeIndex(table.id, to, [&](SysIndex& index) {
    if (wasAllPages) {
      index.status &= ~index_status::kClustered;
      index.status2 |= index_status2::kPlacement;
      ++index.keycnt;
    } else {
      index.status |= index_status::kClustered;
      index.status2 &= ~index_status2::kPlacement;
      --index.keycnt;
    }
  });
}

}  // namespace kelvane::embedded
