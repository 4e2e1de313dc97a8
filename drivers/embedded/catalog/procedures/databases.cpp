// Databases: their options, owners and names.
#include <algorithm>

#include "drivers/embedded/catalog/procedures/logins.h"
#include "drivers/embedded/catalog/procedures/query_report.h"
#include "drivers/embedded/catalog/procedures/type_reports.h"
#include "drivers/embedded/catalog/system_tables.h"
#include "drivers/embedded/tsql/words.h"

namespace kelvane::embedded {

namespace {

/// In the columns of sysdatabases.
struct DatabaseBits {
  int status = 0;
  int status2 = 0;
  int status3 = 0;

  bool operator==(const DatabaseBits&) const = default;
  bool contains(const DatabaseBits& other) const {
    return (status & other.status) == other.status && (status2 & other.status2) == other.status2 &&
           (status3 & other.status3) == other.status3;
  }
};

struct DatabaseOption {
  std::string_view name;
  DatabaseBits bits = {};  ///< without any the catalog has no place for it
};

constexpr DatabaseOption kOptions[] = {
    {"abort tran on log full", {0, 1, 0}},
    {"allow db suspect on rollback error"},
    {"allow incremental dumps"},
    // Clients look for it in either column.
    {"allow nulls by default", {database_status::kAllowNulls, 16384, 0}},
    {"allow wide dol rows"},
    {"async log service", {0, 0, 1024}},
    {"auto identity", {0, 4, 0}},
    {"dbo use only", {2048, 0, 0}},
    {"ddl in tran", {database_status::kDdlInTran, 0, 0}},
    {"deferred table allocation"},
    {"delayed commit", {0, 0, 2048}},
    {"disable alias access", {0, 2048, 0}},
    {"enforce dump configuration"},
    {"enforce dump tran sequence"},
    {"erase residual data"},
    {"full logging for all"},
    {"full logging for alter table"},
    {"full logging for reorg rebuild"},
    {"full logging for select into"},
    {"identity in nonunique index", {0, 8, 0}},
    {"no chkpt on recovery", {16, 0, 0}},
    {"no free space acctg", {0, 2, 0}},
    {"read only", {1024, 0, 0}},
    {"scratch database"},
    {"select into/bulkcopy/pllsort", {4, 0, 0}},
    {"single user", {4096, 0, 0}},
    {"trunc log on chkpt", {8, 0, 0}},
    {"trunc. log on chkpt.", {8, 0, 0}},
    {"unique auto_identity index", {0, 64, 0}},
};

bool hasPlace(const DatabaseOption& option) { return option.bits != DatabaseBits{}; }

/// Its name, or a part of it that no other option has; the beginning of a name goes before what
/// stands within others.
const DatabaseOption& requireOption(const ProcedureRun& run, std::string_view text) {
  std::vector<const DatabaseOption*> beginning;
  std::vector<const DatabaseOption*> within;
  for (const DatabaseOption& option : kOptions) {
    if (option.name == text) return option;
    const std::size_t at = text.empty() ? std::string_view::npos : option.name.find(text);
    if (at == 0) beginning.push_back(&option);
    if (at != std::string_view::npos) within.push_back(&option);
  }
  const auto& found = beginning.empty() ? within : beginning;
  if (found.empty()) run.fail(message::unknownDatabaseOption);
  const bool isUnique = std::ranges::all_of(found, [&](const DatabaseOption* option) {
    return option->bits == found.front()->bits && hasPlace(*option);
  });
  if (found.size() > 1 && !isUnique) run.fail(message::ambiguousDatabaseOption);
  return *found.front();
}

void listOptions(ProcedureRun& run) {
  ResultSet set{{{"database_options", declaredType(TypeKind::Varchar, 40, {}, false)}}, {}};
  for (const DatabaseOption& option : kOptions) set.rows.push_back({std::string(option.name)});
  run.result().resultSets.push_back(std::move(set));
}

void spDboption(ProcedureRun& run) {
  const auto database = run.argument(0);
  if (!database) return listOptions(run);
  const DatabaseOption& option = requireOption(run, tsql::lowerCase(run.text(1)));
  const std::string value = tsql::lowerCase(run.text(2));
  if (value != "true" && value != "false") {
    run.fail(message::dboptionUsage);
  }
  const bool on = value == "true";
  if (!hasPlace(option)) {
    run.ignore(concat("the option '", option.name, "'"));
  } else {
    run.catalog().useDatabase(*database);
    run.store().run(
        on ? "UPDATE sysdatabases SET status = status | ?, status2 = ifnull(status2, 0) | ?,"
             " status3 = ifnull(status3, 0) | ? WHERE name = ?"
           : "UPDATE sysdatabases SET status = status & ~?, status2 = ifnull(status2, 0) & ~?,"
             " status3 = ifnull(status3, 0) & ~? WHERE name = ?",
        option.bits.status, option.bits.status2, option.bits.status3, *database);
  }
  run.print(message::databaseOptionTurned, option.name, on ? "ON" : "OFF", *database);
}

void spChangedbowner(ProcedureRun& run) {
  const int suid = loginOf(run, run.text(0));
  if (run.store().value("SELECT 1 FROM sysusers WHERE suid = ? AND uid != 1", suid)) {
    run.fail(message::newOwnerIsUser);
  }
  run.store().run("UPDATE sysdatabases SET suid = ? WHERE name = ?", suid, run.caller().database);
  run.print(message::ownerChanged);
}

std::string optionsOf(const DatabaseBits& bits) {
  std::string names;
  const DatabaseOption* former = nullptr;
  for (const DatabaseOption& option : kOptions) {
    // Of two spellings, which stand together, the first.
    const bool isSpelling = former != nullptr && former->bits == option.bits;
    if (hasPlace(option) && bits.contains(option.bits) && !isSpelling) {
      names += concat(names.empty() ? "" : ", ", option.name);
    }
    former = &option;
  }
  return names.empty() ? "no options set" : names;
}

void spHelpdb(ProcedureRun& run) {
  ResultSet set{{run.nameColumn("name", 30, false), textColumn("db_size", 13, true),
                 run.nameColumn("owner", 30, true), intColumn("dbid", TypeKind::Smallint, false),
                 textColumn("created", 14, true), textColumn("status", 255, true)},
                {}};
  const auto name = run.argument(0);
  run.store().each(
      "SELECT d.name, l.name, d.dbid, d.status, ifnull(d.status2, 0), ifnull(d.status3, 0)"
      " FROM sysdatabases d LEFT JOIN syslogins l ON l.suid = d.suid"
      " WHERE ?1 IN ('', d.name) ORDER BY d.name",
      [&](const Statement& row) {
        // Neither the size nor the date of creation say anything about a script.
        set.rows.push_back({row.cell(0), Null{}, row.cell(1), row.cell(2), Null{},
                            optionsOf({row.number(3), row.number(4), row.number(5)})});
      },
      name.value_or(""));
  if (set.rows.empty()) run.fail(message::databaseNotFound);
  run.result().resultSets.push_back(std::move(set));
}

/// Whether a key leads from one of its tables to another database, or the other way round.
bool isReferenced(ProcedureRun& run, const std::string& database) {
  bool found = false;
  run.store().each("SELECT name FROM sysdatabases", [&](const Statement& row) {
    const std::string name = row.text(0);
    const auto& references = run.catalog().recordsIn(name).references;
    for (Slot slot = 0; slot < references.slots(); ++slot) {
      if (!references.holds(slot)) continue;
      const std::optional<std::string>& other = references[slot].pmrydbname;
      found = found || (other && (name == database || *other == database));
    }
  });
  return found;
}

// Texts keep the old name.
void spRenamedb(ProcedureRun& run) {
  constexpr std::string_view kSystem[] = {"master",      "model",          "tempdb",
                                          "sybsystemdb", "sybsystemprocs", "sybsecurity"};
  constexpr int kSingleUser = 4096;
  const std::string from = run.text(0);
  const std::string to = run.text(1);
  if (!run.catalog().databaseId(from)) run.fail(message::databaseNotFound);
  if (std::ranges::find(kSystem, from) != std::end(kSystem)) {
    run.fail(message::systemDatabaseRenamed, from);
  }
  if (run.catalog().databaseId(to)) run.fail(message::databaseNameTaken, to);
  if (!run.store().value("SELECT 1 FROM sysdatabases WHERE name = ? AND status & ? != 0", from,
                         kSingleUser)) {
    run.fail(message::databaseNotSingleUser, from);
  }
  if (isReferenced(run, from)) run.fail(message::databaseReferenced, from);
  run.catalog().renameDatabase(from, to);
  run.print(message::databaseRenamed);
}

constexpr Procedure kProcedures[] = {
    {"sp_changedbowner", "@loginame @true", 1, spChangedbowner},
    {"sp_dboption", "@dbname @optname @optvalue @dockpt", 0, spDboption},
    {"sp_helpdb", "@dbname @order", 0, spHelpdb},
    {"sp_renamedb", "@dbname @newname", 2, spRenamedb},
};

}  // namespace

std::span<const Procedure> databaseProcedures() { return kProcedures; }

}  // namespace kelvane::embedded
