// What drivers ask about permissions: sp_table_privileges and sp_column_privileges.
#include <algorithm>

#include "drivers/embedded/catalog/pattern.h"
#include "drivers/embedded/catalog/procedures/named_objects.h"
#include "drivers/embedded/catalog/procedures/type_reports.h"
#include "drivers/embedded/catalog/system_tables.h"

namespace kelvane::embedded {

namespace {

struct TableAction {
  int action;
  std::string_view name;
};

constexpr TableAction kActions[] = {
    {196, "DELETE"}, {195, "INSERT"}, {151, "REFERENCES"}, {193, "SELECT"}, {197, "UPDATE"},
};

// A row of sysprotects, with the names of its users. The owner has all rights without one.
struct Right {
  int action = 0;
  std::string grantor, grantee;
  bool grantable = false;
  bool revoked = false;
  std::optional<Blob> columns;

  bool covers(int colid) const {
    const auto bit = static_cast<std::size_t>(colid);
    return !columns || (bit / 8 < columns->size() &&
                        ((*columns)[bit / 8] >> (bit % 8) & std::byte{1}) != std::byte{0});
  }
  bool coversTable() const {
    constexpr int kWholeTable = 0;
    return covers(kWholeTable);
  }
};

std::vector<Right> rightsOn(ProcedureRun& run, const NamedObject& table) {
  constexpr int kWithGrantOption = 0, kRevoke = 2;
  std::vector<Right> rights;
  for (const TableAction& action : kActions)
    rights.push_back({action.action, table.owner, table.owner, true, false, std::nullopt});
  const auto nameOf = [&](int uid) { return run.catalog().userName(uid).value_or(""); };
  run.store().each(
      "SELECT action, grantor, uid, protecttype, columns FROM sysprotects WHERE id = ?"
      " ORDER BY uid, grantor",
      [&](const Statement& row) {
        const Cell columns = row.cell(4);
        const auto* bitmap = std::get_if<Blob>(&columns);
        rights.push_back({row.number(0), nameOf(row.number(1)), nameOf(row.number(2)),
                          row.number(3) == kWithGrantOption, row.number(3) == kRevoke,
                          bitmap != nullptr ? std::optional(*bitmap) : std::nullopt});
      },
      table.object.id);
  return rights;
}

bool isTakenAway(const std::vector<Right>& rights, const Right& right, int colid) {
  return std::ranges::any_of(rights, [&](const Right& other) {
    return other.revoked && other.action == right.action && other.grantee == right.grantee &&
           (other.coversTable() || other.covers(colid));
  });
}

std::vector<ResultColumn> rightColumns(ProcedureRun& run) {
  return {run.nameColumn("grantor", 32, true), run.nameColumn("grantee", 32, false),
          textColumn("privilege", 32, false), textColumn("is_grantable", 3, true)};
}

void addRight(ResultSet& set, Row row, const Right& right, const TableAction& action) {
  for (Cell cell : {Cell(right.grantor), Cell(right.grantee), Cell(std::string(action.name)),
                    Cell(std::string(right.grantable ? "YES" : "NO"))})
    row.push_back(std::move(cell));
  set.rows.push_back(std::move(row));
}

void spTablePrivileges(ProcedureRun& run) {
  requireCurrentDatabase(run, run.argument(2));
  ResultSet& set = run.result().resultSets.emplace_back();
  set.columns = {run.nameColumn("table_qualifier", 32, true),
                 run.nameColumn("table_owner", 32, true), run.nameColumn("table_name", 32, false)};
  for (ResultColumn& column : rightColumns(run)) set.columns.push_back(std::move(column));
  for (const NamedObject& table : objectsLike(run, run.text(0), run.argument(1), isTableOrView)) {
    const auto rights = rightsOn(run, table);
    for (const TableAction& action : kActions) {
      for (const Right& right : rights) {
        if (right.action != action.action || right.revoked || !right.coversTable()) continue;
        addRight(set, {run.caller().database, table.owner, table.object.name}, right, action);
      }
    }
  }
}

void spColumnPrivileges(ProcedureRun& run) {
  requireCurrentDatabase(run, run.argument(2));
  ResultSet& set = run.result().resultSets.emplace_back();
  set.columns = {run.nameColumn("table_qualifier", 32, true),
                 run.nameColumn("table_owner", 32, true), run.nameColumn("table_name", 32, false),
                 run.nameColumn("column_name", 32, false)};
  for (ResultColumn& column : rightColumns(run)) set.columns.push_back(std::move(column));
  const auto table = tableNamed(run, run.text(0), run.argument(1));
  if (!table) return;
  const std::string pattern = run.argument(3).value_or("%");
  const auto rights = rightsOn(run, *table);
  for (const ColumnInfo& column : run.catalog().columns(table->object.id)) {
    if (!matchesLike(column.name, pattern)) continue;
    for (const TableAction& action : kActions) {
      for (const Right& right : rights) {
        const bool applies = right.action == action.action && !right.revoked &&
                             (right.coversTable() || right.covers(column.colid));
        // A right to delete is one on rows, not on columns.
        if (!applies || action.name == "DELETE" || isTakenAway(rights, right, column.colid))
          continue;
        addRight(set, {run.caller().database, table->owner, table->object.name, column.name}, right,
                 action);
      }
    }
  }
}

constexpr Procedure kProcedures[] = {
    {"sp_table_privileges", "@table_name @table_owner @table_qualifier", 1, spTablePrivileges},
    {"sp_column_privileges", "@table_name @table_owner @table_qualifier @column_name", 1,
     spColumnPrivileges},
};

}  // namespace

std::span<const Procedure> privilegeProcedures() { return kProcedures; }

}  // namespace kelvane::embedded
