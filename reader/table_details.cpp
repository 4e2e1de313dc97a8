// Indexes, triggers and row count of a table.
#include "reader/duplicates.h"
#include "reader/key_batches.h"
#include "reader/procedures.h"

namespace kelvane::reader {
namespace {

bool isOpen(const std::unique_ptr<ado::Recordset>& rows) {
  return rows && rows->State() != ado::ObjectState::closed;
}

std::u16string_view trimmed(std::u16string_view text) {
  const std::size_t first = text.find_first_not_of(u' ');
  if (first == std::u16string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(u' ') - first + 1);
}

// The index behind the primary key is known from there. Without a key the name is not read.
bool isPrimaryKeyIndex(const Table& table, const ado::Recordset& row) {
  if (table.PrimaryKey.upperBound() != 1) return false;
  const ado::Value name = row.Fields(0).Value();
  return !name.isNull() && trimmed(name.toText()) == trimmed(table.PrimaryKey[1].Name);
}

}  // namespace

Status PopulateIndexes(FetchContext& context, Table& table) {
  return context.trapped(u"PopulateIndexes", [&]() -> Status {
    const auto rows =
        context.GetRecordset(u"exec sp_helpindex '" + table.Owner + u"." + table.Name + u"'");
    if (!isOpen(rows)) return 0;
    Status created = 0;
    for (; rows->RecordCount() > 0 && !rows->EndOfRows(); rows->MoveNext()) {
      if (isPrimaryKeyIndex(table, *rows)) continue;
      ++created;
      table.Indexes.append({});
      table.Indexes.edit(table.Indexes.count(), [&](index& entry) {
        entry.IndexKeys = ado::NullToString(rows->Fields(2).Value());
        entry.Name = rows->Fields(0).Value().toText();
        if (context.options().Tables_Indexes_Descriptions)
          entry.IndexDescription = ado::NullToString(rows->Fields(1).Value());
      });
    }
    if (created > 0) {
      markDuplicates(table.Indexes, &index::IndexKeys);
      if (!context.options().Tables_Indexes_Names) clearNames(table.Indexes);
    }
    return created;
  });
}

Status PopulateTableTriggers(FetchContext& context, Table& table) {
  return context.trapped(u"PopulateTableTriggers", [&]() -> Status {
    const auto rows = context.GetRecordset(triggerBatch(table.Name, table.Owner));
    if (!isOpen(rows)) return 0;
    if (rows->RecordCount() > 0) {
      table.Triggers.recreate(rows->RecordCount());
      for (std::int32_t position = 1; !rows->EndOfRows(); ++position, rows->MoveNext()) {
        table.Triggers.edit(position, [&](Trigger& trigger) {
          trigger.Name = rows->Fields(0).Value().toText();
          trigger.Is_Update = rows->Fields(2).Value().toBoolean();
          trigger.Is_Delete = rows->Fields(3).Value().toBoolean();
          trigger.Is_Insert = rows->Fields(4).Value().toBoolean();
          trigger.Definition = GetEntityDefinition(context, table.Owner + u"." + trigger.Name);
        });
      }
    }
    return rows->RecordCount();
  });
}

Status PopulateTableRowCount(FetchContext& context, Table& table) {
  return context.trapped(u"PopulateTableRowCount", [&]() -> Status {
    const auto rows =
        context.GetRecordset(u"select count(*) from " + table.Owner + u"." + table.Name);
    if (!isOpen(rows)) return 0;
    if (!rows->EndOfRows()) table.Miscallaneous.RowCount = ado::NullToLong(rows->Fields(0).Value());
    return rows->RecordCount();
  });
}

}  // namespace kelvane::reader
