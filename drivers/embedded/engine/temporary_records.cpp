#include "drivers/embedded/engine/temporary_records.h"

#include <algorithm>

#include "drivers/embedded/catalog/index_writer.h"
#include "drivers/embedded/catalog/status_bits.h"
#include "drivers/embedded/catalog/system_tables.h"
#include "drivers/embedded/catalog/table_writer.h"
#include "drivers/embedded/catalog/utf8.h"

namespace kelvane::embedded {

namespace {

constexpr std::string_view kDatabase = "tempdb";

// The name with `_` up to a width, then 17 digits that tell sessions apart. On a 12.5, where names
// have 30 bytes, the rest of a longer name is cut.
std::string storedName(const Catalog& catalog, std::string_view table, int session) {
  constexpr std::size_t kWidth = 13, kDigits = 17;
  std::string name(table);
  if (catalog.options().release == Release::ase125) name = firstBytes(name, kWidth);
  if (name.size() < kWidth) name.append(kWidth - name.size(), '_');
  const std::string number = std::to_string(session);
  return name.append(kDigits - number.size(), '0') + number;
}

std::vector<SysIndexKey> keysOf(const TemporaryIndex& index, const TemporaryTable& table) {
  std::vector<SysIndexKey> keys;
  for (const TemporaryKey& key : index.keys) {
    const auto column = std::ranges::find(table.columns, key.column, &ColumnInfo::name);
    keys.push_back({column->colid, key.isDescending});
  }
  return keys;
}

void showIndexes(SystemRecords& records, const TemporaryTable& table, const std::string& name) {
  constexpr int kClustered = 1, kDefaultSegment = 1;
  const bool hasClustered = std::ranges::any_of(table.indexes, [&](const TemporaryIndex& index) {
    return index.isClustered && table.allPages;
  });
  if (!hasClustered) {
    SysIndex heap;
    heap.name = name;
    heap.id = table.id;
    heap.segment = kDefaultSegment;
    heap.crdate = currentTime();
    records.indexes.insert(std::move(heap));
  }
  int next = kClustered;
  for (const TemporaryIndex& index : table.indexes) {
    const bool isPlacement = index.isClustered && !table.allPages;
    SysIndex row;
    row.name = index.name;
    row.id = table.id;
    row.indid = index.isClustered && table.allPages ? kClustered : ++next;
    row.segment = kDefaultSegment;
    row.status = (index.isUnique ? index_status::kUnique : 0) |
                 (index.isClustered && !isPlacement ? index_status::kClustered : 0);
    row.status2 = (index.isConstraint ? index_status2::kConstraint : 0) |
                  (isPlacement ? index_status2::kPlacement : 0);
    row.keys = keysOf(index, table);
    row.keycnt = static_cast<int>(row.keys.size());
    row.crdate = currentTime();
    records.indexes.insert(std::move(row));
  }
}

}  // namespace

int newTemporaryId(Catalog& catalog, std::string_view table, int session) {
  const Caller caller{kDboUid, std::string(kDatabase)};
  return CatalogWriter(catalog, caller).newObjectId(storedName(catalog, table, session));
}

void hideTemporary(Catalog& catalog, int id) {
  const Caller caller{kDboUid, std::string(kDatabase)};
  CatalogWriter writer(catalog, caller);
  writer.removeObject(id);
  writer.records().indexes.eraseAll<&SysIndex::id>(id);
}

void showTemporary(Catalog& catalog, const TemporaryTable& table, int session) {
  hideTemporary(catalog, table.id);
  SystemRecords& records = catalog.recordsIn(kDatabase);
  const auto isIdentity = [](const ColumnInfo& column) { return column.type.identity; };
  SysObject object;
  object.name = storedName(catalog, table.name, session);
  object.id = table.id;
  object.uid = kDboUid;
  object.type = object_type::kTable;
  object.sysstat = 3;
  object.sysstat2 = IndexWriter::lockStatus(table.allPages ? "allpages" : "datarows") |
                    (std::ranges::any_of(table.columns, isIdentity) ? table_status2::kIdentity : 0);
  object.crdate = currentTime();
  records.objects.insert(object);
  for (const ColumnInfo& column : table.columns) {
    SysColumn row;
    row.id = table.id;
    row.colid = column.colid;
    row.status = (column.type.nullable ? column_status::kNullable : 0) |
                 (column.type.identity ? column_status::kIdentity : 0);
    TableWriter::setType(row, column.type);
    row.name = column.name;
    records.columns.insert(std::move(row));
  }
  showIndexes(records, table, object.name);
}

}  // namespace kelvane::embedded
