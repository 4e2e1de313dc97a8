// sp_help and its relatives: the catalog as a person reads it.
#include "drivers/embedded/catalog/index_writer.h"
#include "drivers/embedded/catalog/ordered_triggers.h"
#include "drivers/embedded/catalog/procedures/query_report.h"
#include "drivers/embedded/catalog/procedures/type_reports.h"

namespace kelvane::embedded {

namespace {

using enum TypeKind;

/// Of a row `o` of sysobjects.
constexpr std::string_view kObjectKind =
    "CASE o.type WHEN 'U' THEN 'user table' WHEN 'S' THEN 'system table' WHEN 'V' THEN 'view'"
    " WHEN 'P' THEN 'stored procedure' WHEN 'XP' THEN 'extended stored procedure'"
    " WHEN 'SF' THEN 'SQL function' WHEN 'TR' THEN 'trigger' WHEN 'D' THEN 'default'"
    " WHEN 'R' THEN 'rule' WHEN 'RI' THEN 'referential constraint' ELSE 'computed column' END";

// sp_help

void listObjects(ProcedureRun& run) {
  run.result().resultSets.push_back(queryReport(
      run,
      {run.nameColumn("Name", 30, false), run.nameColumn("Owner", 30, false),
       textColumn("Object_type", 32, true)},
      concat("SELECT o.name, u.name, ", kObjectKind,
             " FROM sysobjects o JOIN sysusers u ON u.uid = o.uid ORDER BY u.name, o.name")));
  run.result().resultSets.push_back(queryReport(
      run,
      {run.nameColumn("User_type", 30, false), run.nameColumn("Storage_type", 30, true),
       intColumn("Length", Int, true), intColumn("Nulls", Tinyint, true),
       run.nameColumn("Default_name", 30, true), run.nameColumn("Rule_name", 30, true)},
      "SELECT t.name, (SELECT b.name FROM systypes b WHERE b.type = t.type AND b.usertype < 100"
      " AND b.usertype NOT IN (18, 24, 25, 80) ORDER BY b.usertype LIMIT 1), t.length,"
      " t.allownulls, d.name, r.name FROM systypes t LEFT JOIN sysobjects d ON d.id = t.tdefault"
      " LEFT JOIN sysobjects r ON r.id = t.domain WHERE t.usertype > 100 ORDER BY t.name"));
}

void describeObject(ProcedureRun& run, const ObjectInfo& object) {
  run.result().resultSets.push_back(
      queryReport(run,
                  {run.nameColumn("Name", 30, false), run.nameColumn("Owner", 30, false),
                   textColumn("Object_type", 32, true)},
                  concat("SELECT o.name, u.name, ", kObjectKind,
                         " FROM sysobjects o JOIN sysusers u ON u.uid = o.uid WHERE o.id = ?"),
                  object.id));
  // Keys that are expressions came with release 15.
  const std::string_view hidesKeys =
      run.catalog().options().has(Release::ase15) ? " AND NOT ifnull(c.status3, 0) & 1" : "";
  ResultSet columns = queryReport(
      run,
      {run.nameColumn("Column_name", 30, false), run.nameColumn("Type", 30, true),
       intColumn("Length", Int, true), intColumn("Prec", Tinyint, true),
       intColumn("Scale", Tinyint, true), intColumn("Nulls", Tinyint, true),
       run.nameColumn("Default_name", 30, true), run.nameColumn("Rule_name", 30, true),
       intColumn("Identity", Tinyint, true)},
      concat(
          "SELECT c.name, t.name, c.length, c.prec, c.scale, (c.status & 8) != 0, d.name, r.name,"
          " (c.status & 128) != 0 FROM syscolumns c LEFT JOIN systypes t ON t.usertype = c.usertype"
          " LEFT JOIN sysobjects d ON d.id = c.cdefault LEFT JOIN sysobjects r ON r.id = c.domain"
          " WHERE c.id = ?",
          hidesKeys, " ORDER BY c.number, c.colid"),
      object.id);
  if (!columns.rows.empty()) run.result().resultSets.push_back(std::move(columns));
}

void spHelp(ProcedureRun& run) {
  const auto name = run.argument(0);
  if (!name) return listObjects(run);
  if (const auto object = run.catalog().findObject(*name, run.caller())) {
    return describeObject(run, *object);
  }
  ResultSet type = queryReport(
      run,
      {run.nameColumn("Type_name", 30, false), intColumn("Length", Int, true),
       intColumn("Prec", Tinyint, true), intColumn("Scale", Tinyint, true),
       intColumn("Nulls", Tinyint, true), run.nameColumn("Default_name", 30, true),
       run.nameColumn("Rule_name", 30, true)},
      "SELECT t.name, t.length, t.prec, t.scale, t.allownulls, d.name, r.name FROM systypes t"
      " LEFT JOIN sysobjects d ON d.id = t.tdefault LEFT JOIN sysobjects r ON r.id = t.domain"
      " WHERE t.name = ?",
      *name);
  if (type.rows.empty()) run.fail(message::noSuchObject);
  run.result().resultSets.push_back(std::move(type));
}

// users

void spHelpuser(ProcedureRun& run) {
  ResultSet users = queryReport(
      run,
      {run.nameColumn("Users_name", 30, false), intColumn("ID_in_db", Int, false),
       run.nameColumn("Group_name", 30, true), run.nameColumn("Login_name", 30, true)},
      "SELECT u.name, u.uid, g.name, l.name FROM sysusers u LEFT JOIN sysusers g ON g.uid = u.gid"
      " LEFT JOIN syslogins l ON l.suid = u.suid WHERE u.gid != u.uid AND ?1 IN ('', u.name)"
      " ORDER BY u.name",
      run.text(0));
  if (users.rows.empty()) {
    run.fail(message::noUserOfName);
  }
  run.result().resultSets.push_back(std::move(users));
}

void spHelpgroup(ProcedureRun& run) {
  const auto name = run.argument(0);
  constexpr std::string_view kIsGroup = "g.gid = g.uid AND (g.environ IS NOT NULL OR g.uid = 0)";
  if (!name) {
    run.result().resultSets.push_back(queryReport(
        run, {run.nameColumn("Group_name", 30, false), intColumn("Group_id", Int, false)},
        concat("SELECT g.name, g.uid FROM sysusers g WHERE ", kIsGroup, " ORDER BY g.name")));
    return;
  }
  if (!run.store().value(concat("SELECT 1 FROM sysusers g WHERE g.name = ? AND ", kIsGroup),
                         *name)) {
    run.fail(message::groupNotFound, *name);
  }
  run.result().resultSets.push_back(queryReport(
      run,
      {run.nameColumn("Group_name", 30, false), intColumn("Group_id", Int, false),
       run.nameColumn("Users_in_group", 30, false), intColumn("Userid", Int, false)},
      "SELECT g.name, g.uid, u.name, u.uid FROM sysusers g JOIN sysusers u ON u.gid = g.uid"
      " WHERE g.name = ? AND u.uid != g.uid ORDER BY u.name",
      *name));
}

// permissions

/// The names of the columns in a bitmap; "All" for the whole object.
std::string grantedColumns(ProcedureRun& run, int objectId, const Cell& bitmap) {
  const auto* bytes = std::get_if<Blob>(&bitmap);
  constexpr std::size_t kBitsOfByte = 8;
  const auto has = [&](std::size_t bit) {
    const std::size_t byte = bit / kBitsOfByte;
    return byte < bytes->size() &&
           (std::to_integer<unsigned>((*bytes)[byte]) >> (bit % kBitsOfByte) & 1U) != 0;
  };
  if (bytes == nullptr || bytes->empty() || has(0)) return "All";
  std::string names;
  for (const ColumnInfo& column : run.catalog().columns(objectId)) {
    if (!has(static_cast<std::size_t>(column.colid))) continue;
    names += concat(names.empty() ? "" : ", ", column.name);
  }
  return names;
}

/// sp_helprotect [object or user [, user]]
void spHelprotect(ProcedureRun& run) {
  ResultSet set{{run.nameColumn("grantor", 30, true), run.nameColumn("grantee", 30, true),
                 textColumn("type", 10, true), textColumn("action", 35, true),
                 run.nameColumn("object", 30, true), textColumn("column", 255, true),
                 textColumn("grantable", 8, true)},
                {}};
  const auto name = run.argument(0);
  const auto object =
      name ? run.catalog().findObject(*name, run.caller()) : std::optional<ObjectInfo>();
  const auto user = object ? run.argument(1) : name;
  const auto uid = user ? run.catalog().userId(*user) : std::nullopt;
  if (user && !uid) run.fail(message::noSuchObject);
  run.store().each(
      "SELECT b.name, g.name, CASE p.protecttype WHEN 2 THEN 'Revoke' ELSE 'Grant' END,"
      " (SELECT v.name FROM spt_values v WHERE v.type IN ('T', 'GP') AND v.number = p.action), "
      "o.name,"
      " p.protecttype = 0, p.id, p.columns FROM sysprotects p JOIN sysusers g ON g.uid = p.uid"
      " LEFT JOIN sysusers b ON b.uid = p.grantor LEFT JOIN sysobjects o ON o.id = p.id"
      " WHERE (?1 = 0 OR p.id = ?1) AND (?2 IS NULL OR p.uid = ?2)"
      " ORDER BY o.name, g.name, p.action",
      [&](const Statement& row) {
        set.rows.push_back({row.cell(0), row.cell(1), row.cell(2), row.cell(3), row.cell(4),
                            grantedColumns(run, row.number(6), row.cell(7)),
                            std::string(row.number(5) != 0 ? "TRUE" : "FALSE")});
      },
      object ? object->id : 0, uid);
  run.result().resultSets.push_back(std::move(set));
}

// constraints, keys, segments

void spHelpconstraint(ProcedureRun& run) {
  const ObjectInfo table = run.requireObject(run.text(0));
  ResultSet set{{run.nameColumn("name", 30, false), textColumn("definition", 255, true)}, {}};
  run.store().each(
      "SELECT name, indid, status & 2048, status FROM sysindexes"
      " WHERE id = ? AND status2 & 2 ORDER BY indid",
      [&](const Statement& row) {
        std::string definition = row.number(2) != 0 ? "PRIMARY KEY INDEX (" : "UNIQUE INDEX (";
        for (int key = 1;; ++key) {
          const auto column = run.catalog().indexColumn(table.id, row.number(1), key);
          if (!column) break;
          definition += concat(key == 1 ? " " : ", ", *column);
        }
        set.rows.push_back({row.cell(0), definition + ")"});
      },
      table.id);
  SystemRecords& records = run.writer().records();
  records.constraints.each<&SysConstraint::tableid>(table.id, [&](Slot,
                                                                  const SysConstraint& constraint) {
    if (isTrigger(records, constraint)) return;
    const std::string name = run.catalog().objectName(constraint.constrid).value_or("");
    const auto* reference = records.references.first<&SysReference::constrid>(constraint.constrid);
    if (reference == nullptr) {
      const auto* text = records.comments.first<&SysComment::id>(constraint.constrid);
      const bool isHidden =
          text != nullptr && (text->status.value_or(0) & comment_status::kHidden) != 0;
      set.rows.push_back({name, isHidden ? std::string("(hidden)")
                                         : run.catalog().sourceText(constraint.constrid)});
    } else {
      const auto target = run.catalog().objectName(reference->reftabid);
      set.rows.push_back(
          {name, concat("FOREIGN KEY REFERENCES ", target.value_or("another database"))});
    }
  });
  if (set.rows.empty()) return run.print(message::noConstraints);
  run.result().resultSets.push_back(std::move(set));
}

void spHelpkey(ProcedureRun& run) {
  const auto name = run.argument(0);
  const int id = name ? run.requireObject(*name).id : 0;
  run.result().resultSets.push_back(queryReport(
      run,
      {textColumn("keytype", 10, true), run.nameColumn("object", 30, true),
       run.nameColumn("related_object", 30, true), intColumn("keycnt", Int, true)},
      "SELECT CASE k.type WHEN 1 THEN 'primary' WHEN 2 THEN 'foreign' ELSE 'common' END, o.name,"
      " d.name, k.keycnt FROM syskeys k JOIN sysobjects o ON o.id = k.id"
      " LEFT JOIN sysobjects d ON d.id = k.depid WHERE ?1 IN (0, k.id, k.depid)"
      " ORDER BY o.name, k.type, d.name",
      id));
}

void spHelpsegment(ProcedureRun& run) {
  ResultSet set = queryReport(
      run,
      {intColumn("segment", Smallint, false), run.nameColumn("name", 30, false),
       intColumn("status", Smallint, false)},
      "SELECT segment, name, status FROM syssegments WHERE ?1 IN ('', name) ORDER BY segment",
      run.text(0));
  if (set.rows.empty()) {
    run.fail(message::segmentNotFound, run.text(0));
  }
  run.result().resultSets.push_back(std::move(set));
}

// sp_depends

void spDepends(ProcedureRun& run) {
  const ObjectInfo object = run.requireObject(run.text(0));
  const auto layout = [&] {
    return std::vector<ResultColumn>{run.nameColumn("object", 30, false),
                                     textColumn("type", 25, true), textColumn("updated", 10, true),
                                     textColumn("selected", 10, true)};
  };
  constexpr std::string_view kUse =
      ", CASE WHEN max(d.resultobj) THEN 'yes' ELSE 'no' END,"
      " CASE WHEN max(d.readobj) THEN 'yes' ELSE 'no' END FROM sysdepends d";
  ResultSet uses =
      queryReport(run, layout(),
                  concat("SELECT u.name || '.' || o.name, ", kObjectKind, kUse,
                         " JOIN sysobjects o ON o.id = d.depid JOIN sysusers u ON u.uid = o.uid"
                         " WHERE d.id = ? GROUP BY o.id ORDER BY 1"),
                  object.id);
  ResultSet users =
      queryReport(run, layout(),
                  concat("SELECT u.name || '.' || o.name, ", kObjectKind, kUse,
                         " JOIN sysobjects o ON o.id = d.id JOIN sysusers u ON u.uid = o.uid"
                         " WHERE d.depid = ? GROUP BY o.id ORDER BY 1"),
                  object.id);
  if (uses.rows.empty() && users.rows.empty()) {
    return run.print(message::noDependencies);
  }
  if (!uses.rows.empty()) {
    run.print(message::dependsOn);
    run.result().resultSets.push_back(std::move(uses));
  }
  if (!users.rows.empty()) {
    users.columns.resize(2);
    for (Row& row : users.rows) row.resize(2);
    run.print(message::dependents);
    run.result().resultSets.push_back(std::move(users));
  }
}

constexpr Procedure kProcedures[] = {
    {"sp_depends", "@objname @column_name", 1, spDepends},
    {"sp_help", "@objname", 0, spHelp},
    {"sp_helpconstraint", "@objname @detail", 1, spHelpconstraint},
    {"sp_helpgroup", "@grpname", 0, spHelpgroup},
    {"sp_helpkey", "@objname", 0, spHelpkey},
    {"sp_helprotect", "@name @username @grantable @option1 @option2", 0, spHelprotect},
    {"sp_helpsegment", "@segname", 0, spHelpsegment},
    {"sp_helpuser", "@name_in_db @display_object", 0, spHelpuser},
};

}  // namespace

std::span<const Procedure> helpProcedures() { return kProcedures; }

}  // namespace kelvane::embedded
