#include "drivers/embedded/engine/temporary_records.h"

#include <algorithm>

#include "drivers/embedded/catalog/index_writer.h"
#include "drivers/embedded/catalog/status_bits.h"
#include "drivers/embedded/catalog/system_tables.h"
#include "drivers/embedded/catalog/table_writer.h"
#include "drivers/embedded/catalog/utf8.h"
#include "drivers/embedded/catalog/writer.h"

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

// Not by its name alone: sessions may use the same one for their constraints.
int addInline(CatalogWriter& writer, const ObjectInfo& table, std::string_view column,
              std::string_view type, std::string_view text) {
  const int id = writer.addUnnamedObject(table, column, type);
  writer.saveText(id, 0, text);
  writer.records().procedures.insert({.type = 1, .id = id, .status = procedure_status::kInline});
  return id;
}

void showDefaults(CatalogWriter& writer, const ObjectInfo& object, const TemporaryTable& table) {
  constexpr std::size_t kWord = std::string_view("default").size();
  for (std::size_t i = 0; i < table.defaults.size(); ++i) {
    if (table.defaults[i].empty()) continue;
    const std::string_view clause = std::string_view(table.defaults[i]).substr(kWord);
    const std::string_view value =
        clause.substr(std::min(clause.find_first_not_of(" \t\r\n"), clause.size()));
    const ColumnInfo& column = table.columns[i];
    const int id =
        addInline(writer, object, column.name, object_type::kDefault, concat("DEFAULT ", value));
    writer.records().changeColumn(table.id, column.colid,
                                  [&](SysColumn& row) { row.cdefault = id; });
  }
}

// Which column a check was declared with is not known any more.
void showChecks(CatalogWriter& writer, const ObjectInfo& object, const TemporaryTable& table) {
  SystemRecords& records = writer.records();
  std::vector<int> ids;
  for (std::size_t i = 0; i < table.checks.size(); ++i) {
    const int id = addInline(writer, object, {}, object_type::kRule, table.checks[i]);
    const std::string& name = table.rules->checks.at(i).constraint;
    if (!name.empty()) records.changeObject(id, [&](SysObject& check) { check.name = name; });
    records.constraints.insert(
        {.constrid = id, .tableid = table.id, .status = constraint_status::kCheck});
    ids.push_back(id);
  }
  if (ids.empty()) return;
  records.changeObject(table.id, [&](SysObject& row) {
    row.ckfirst = ids.front();
    if (ids.size() > 1) row.sysstat2 |= table_status2::kSeveralChecks;
  });
}

}  // namespace

int newTemporaryId(Catalog& catalog, std::string_view table, int session) {
  const Caller caller{kDboUid, std::string(kDatabase)};
  return CatalogWriter(catalog, caller).newObjectId(storedName(catalog, table, session));
}

void hideTemporary(Catalog& catalog, int id) {
  const Caller caller{kDboUid, std::string(kDatabase)};
  CatalogWriter writer(catalog, caller);
  SystemRecords& records = writer.records();
  std::vector<int> declared;
  records.columns.each<&SysColumn::id>(id, [&](Slot, const SysColumn& column) {
    if (column.cdefault != 0) declared.push_back(column.cdefault);
  });
  records.constraints.each<&SysConstraint::tableid>(
      id, [&](Slot, const SysConstraint& row) { declared.push_back(row.constrid); });
  for (const int one : declared) writer.removeObject(one);
  records.constraints.eraseAll<&SysConstraint::tableid>(id);
  writer.removeObject(id);
  records.indexes.eraseAll<&SysIndex::id>(id);
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
  const bool hasDefaults =
      std::ranges::any_of(table.defaults, [](const std::string& text) { return !text.empty(); });
  if (!hasDefaults && table.checks.empty()) return;
  const Caller caller{kDboUid, std::string(kDatabase)};
  CatalogWriter writer(catalog, caller);
  const ObjectInfo info{object.id, object.uid, object.type, object.name, {}};
  showDefaults(writer, info, table);
  showChecks(writer, info, table);
}

}  // namespace kelvane::embedded
