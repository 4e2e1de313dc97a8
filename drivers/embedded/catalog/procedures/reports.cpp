// sp_helptext and sp_helpindex.
#include "drivers/embedded/catalog/index_writer.h"
#include "drivers/embedded/catalog/procedures/query_report.h"
#include "drivers/embedded/catalog/storage_writer.h"

namespace kelvane::embedded {

namespace {

using enum TypeKind;

void spHelptext(ProcedureRun& run) {
  const ObjectInfo object = run.requireObject(run.text(0));
  const auto lines =
      run.store().value("SELECT count(*) FROM syscomments WHERE id = ?", object.id).value_or(0);
  if (lines == 0) run.fail(message::noTextOfObject, object.name);
  if (run.store().value("SELECT 1 FROM syscomments WHERE id = ? AND status & ?", object.id,
                        comment_status::kHidden)) {
    run.fail(message::textHidden, object.name);
  }
  const bool isGroup =
      run.store().value("SELECT count(DISTINCT number) FROM syscomments WHERE id = ?", object.id) >
      1;
  ResultSet count;
  count.columns.push_back({"# Lines of Text", declaredType(Int, {}, {}, true)});
  count.rows.push_back({std::int64_t{lines}});
  ResultSet text;
  if (isGroup) text.columns.push_back({"number", declaredType(Smallint, {}, {}, false)});
  text.columns.push_back({"text", declaredType(Varchar, 255, {}, true)});
  run.store().each(
      "SELECT number, text FROM syscomments WHERE id = ? ORDER BY number, colid2, colid",
      [&](const Statement& row) {
        Row& line = text.rows.emplace_back();
        if (isGroup) line.push_back(row.cell(0));
        line.push_back(row.cell(1));
      },
      object.id);
  run.result().resultSets = {std::move(count), std::move(text)};
}

struct DescribedStatus {
  int status;
  std::string_view text;
};

constexpr DescribedStatus kDescribedStatus[] = {
    {index_status::kUnique, ", unique"},
    {index_status::kIgnoreDuplicateKey, ", ignore duplicate keys"},
    {index_status::kIgnoreDuplicateRow, ", ignore duplicate rows"},
    {index_status::kAllowDuplicateRow, ", allow duplicate rows"},
};

constexpr std::string_view kLocatedOn = " located on ";

std::string describeIndex(int indid, int status, int status2, std::string_view segment) {
  const bool clustered = indid == kClusteredIndid || (status2 & index_status2::kPlacement) != 0;
  std::string text = clustered ? "clustered" : "nonclustered";
  for (const DescribedStatus& described : kDescribedStatus) {
    if ((status & described.status) != 0) text += described.text;
  }
  return concat(text, kLocatedOn, segment);
}

std::string indexKeys(Catalog& catalog, int tableId, int indid) {
  std::string keys;
  for (int key = 1;; ++key) {
    const auto name = catalog.indexColumn(tableId, indid, key);
    if (!name) return keys;
    // The list starts from a text of one blank, there being no empty ones.
    keys += key == 1 ? " " : ", ";
    keys += *name;
    if (catalog.isDescendingKey(tableId, indid, key)) keys += " DESC";
  }
}

bool isLocal(ProcedureRun& run, int tableId, const Cell& index) {
  return run.store()
      .value("SELECT 1 FROM sysindexes WHERE id = ? AND name = ? AND indid > 0 AND status3 & ?",
             tableId, std::get<std::string>(index), index_status3::kLocal)
      .has_value();
}

// Release 15 put the keys before the description, which no longer tells the segment.
void adaptTo15(ProcedureRun& run, int tableId, ResultSet& set) {
  std::swap(set.columns[1], set.columns[2]);
  set.columns.push_back({"index_local", declaredType(Varchar, 12, {}, true)});
  for (Row& row : set.rows) {
    auto& description = std::get<std::string>(row[1]);
    description.erase(description.find(kLocatedOn));
    std::swap(description, std::get<std::string>(row[2]));
    row.push_back(std::string(isLocal(run, tableId, row[0]) ? "Local Index" : "Global Index"));
  }
}

/// The partitions of the indexes, which release 15 shows behind them. An index that was not
/// partitioned has one, named after it and its table.
ResultSet indexPartitions(ProcedureRun& run, int tableId) {
  return queryReport(
      run, {run.nameColumn("index_ptn_name", 30, true), run.nameColumn("index_ptn_seg", 30, true)},
      "SELECT ifnull(p.name, i.name || '_' || i.id), s.name FROM sysindexes i"
      " LEFT JOIN syspartitions p ON p.id = i.id AND p.indid = i.indid"
      " LEFT JOIN syssegments s ON s.segment = ifnull(p.segment, i.segment)"
      " WHERE i.id = ? AND i.indid BETWEEN 1 AND 254 ORDER BY i.indid, p.partitionid",
      tableId);
}

void spHelpindex(ProcedureRun& run) {
  const ObjectInfo table = run.requireObject(run.text(0));
  ResultSet set;
  set.columns = {run.nameColumn("index_name", 30, false),
                 {"index_description", declaredType(Varchar, 68, {}, true)},
                 run.nameColumn("index_keys", 510, true),
                 {"index_max_rows_per_page", declaredType(Smallint, {}, {}, true)},
                 {"index_fillfactor", declaredType(Smallint, {}, {}, true)},
                 {"index_reservepagegap", declaredType(Smallint, {}, {}, true)},
                 {"index_created", declaredType(Datetime, {}, {}, true)}};
  run.store().each(
      "SELECT i.name, i.indid, i.status, i.status2, ifnull(s.name, 'default'), i.maxrowsperpage,"
      " ifnull(i.fill_factor, 0), ifnull(i.res_page_gap, 0), i.crdate FROM sysindexes i"
      " LEFT JOIN syssegments s ON s.segment = i.segment"
      " WHERE i.id = ? AND i.indid BETWEEN 1 AND 254 ORDER BY i.indid",
      [&](const Statement& row) {
        const int indid = row.number(1);
        set.rows.push_back({row.text(0),
                            describeIndex(indid, row.number(2), row.number(3), row.view(4)),
                            indexKeys(run.catalog(), table.id, indid), row.cell(5), row.cell(6),
                            row.cell(7), row.cell(8)});
      },
      table.id);
  if (set.rows.empty()) {
    run.print(message::noIndexes);
  } else {
    const bool isAtLeast15 = run.catalog().options().isAtLeast15();
    if (isAtLeast15) adaptTo15(run, table.id, set);
    run.result().resultSets.push_back(std::move(set));
    if (isAtLeast15) run.result().resultSets.push_back(indexPartitions(run, table.id));
  }
}

constexpr Procedure kProcedures[] = {
    {"sp_helptext", "@objname @grouping_num", 1, spHelptext},
    {"sp_helpindex", "@objname", 1, spHelpindex},
};

}  // namespace

std::span<const Procedure> reportProcedures() { return kProcedures; }

}  // namespace kelvane::embedded
