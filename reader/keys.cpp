// Primary and foreign keys of a table.
#include <unordered_map>

#include "reader/duplicates.h"
#include "reader/key_batches.h"
#include "reader/procedures.h"

namespace kelvane::reader {
namespace {

// Whether the batch found a key.
bool readPrimaryKey(FetchContext& context, Table& table) {
  const auto rows = context.GetRecordset(primaryKeyBatch(table.Name, table.Owner));
  if (!rows || rows->RecordCount() <= 0) return false;
  table.PrimaryKey.recreate(1);
  table.PrimaryKey.edit(
      1, [&](PrimaryKey& key) { key.Name = ado::NullToString(rows->Fields(1).Value()); });
  std::u16string columns;
  for (bool first = true; !rows->EndOfRows(); first = false, rows->MoveNext()) {
    if (!first) columns += u", ";
    columns += ado::NullToString(rows->Fields(3).Value());
  }
  table.PrimaryKey.edit(1, [&](PrimaryKey& key) { key.Columns = std::move(columns); });
  return true;
}

// The index is looked up by its name alone, so that a namesake of another table may answer.
void readPrimaryKeyAttributes(FetchContext& context, PrimaryKey& key) {
  const auto rows =
      context.GetRecordset(u"SELECT indid FROM sysindexes where name = '" + key.Name + u"'");
  if (!rows)
    throw RuntimeError(ErrorNumber::notSet, u"There is no result to read the key's attributes from",
                       u"Kelvane.reader");
  if (rows->RecordCount() <= 0) return;
  const bool clustered = ado::NullToLong(rows->Fields(0).Value()) == 1;
  key.Attributes = clustered ? u"Clustered" : u"Non Clustered";
}

}  // namespace

Status PopulateTablePrimaryKeys(FetchContext& context, Table& table) {
  return context.trapped(u"PopulateTablePrimaryKeys", [&]() -> Status {
    const bool found = readPrimaryKey(context, table);
    Status status = 0;
    if (found && context.options().Tables_PrimaryKeys_Attributes) {
      table.PrimaryKey.edit(1, [&](PrimaryKey& key) { readPrimaryKeyAttributes(context, key); });
      status = 1;
    }
    if (found && !context.options().Tables_PrimaryKeys_Names)
      table.PrimaryKey.edit(1, [](PrimaryKey& key) { key.Name.clear(); });
    return status;
  });
}

Status PopulateTableForeignKeys(FetchContext& context, Table& table) {
  return context.trapped(u"PopulateTableForeignKeys", [&]() -> Status {
    const auto rows = context.GetRecordset(foreignKeyBatch(table.Name, table.Owner));
    if (!rows) return 0;
    std::int32_t created = 0;
    std::unordered_map<std::u16string, std::int32_t> positions;  // the first key of each name
    for (; rows->RecordCount() > 0 && !rows->EndOfRows(); rows->MoveNext()) {
      const auto text = [&](std::int32_t ordinal) {
        return ado::NullToString(rows->Fields(ordinal).Value());
      };
      const std::u16string name = text(8);
      const auto [known, isNew] = positions.try_emplace(name, created + 1);
      if (isNew) {
        // Filled in place: what was read before a failure stays.
        table.ForeignKey.append({});
        ++created;
        table.ForeignKey.edit(table.ForeignKey.count(), [&](Key& key) {
          key.Name = name;
          key.ColumnName = text(1);
          key.KeySequence = ado::NullToLong(rows->Fields(7).Value());
          key.fk_ReferencesColumn = text(4);
          key.fk_ReferencesTable = text(3);
          if (context.options().Tables_ForeignKeys_PKRefs) key.fk_ReferencesPK = text(9);
        });
      } else {
        table.ForeignKey.edit(known->second, [&](Key& key) {
          key.ColumnName += u"," + text(1);
          key.fk_ReferencesColumn += u"," + text(4);
        });
      }
    }
    const Status status = rows->RecordCount();
    if (created > 0) {
      markDuplicates(table.ForeignKey, &Key::ColumnName);
      if (!context.options().Tables_ForeignKeys_Names) clearNames(table.ForeignKey);
    }
    return status;
  });
}

}  // namespace kelvane::reader
