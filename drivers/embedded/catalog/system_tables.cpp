#include "drivers/embedded/catalog/system_tables.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <string>

#include "drivers/embedded/catalog/granular_privileges.h"
#include "drivers/embedded/catalog/status_bits.h"
#include "drivers/embedded/catalog/writer.h"

namespace kelvane::embedded {

namespace {

struct Layout {
  int id;
  std::string_view table;
  /// `name type [null]`, separated by commas. `@15` stands behind what later releases have, `@12`
  /// behind what a 12.5 alone has.
  std::string_view columns;
};

// Tables of master have ids beyond those of a user database, since they share one store.
constexpr int kFirstMasterId = 60;

constexpr Layout kLayouts[] = {
    {1, "sysobjects",
     "name sysname, id int, uid int, type char(2), userstat smallint, sysstat smallint, "
     "indexdel smallint, schemacnt smallint, sysstat2 int, crdate datetime, expdate datetime, "
     "deltrig int, instrig int, updtrig int, seltrig int, ckfirst int, cache smallint, "
     "audflags int null, objspare int, versionts binary(6) null, loginame varchar(30) null, "
     "identburnmax numeric(38) null, spacestate smallint null, erlchgts binary(8) null @15, "
     "sysstat3 int null @15, lobcomp_lvl tinyint null @15"},
    {2, "sysindexes",
     "name sysname, id int, indid smallint, doampg int, ioampg int, oampgtrips int, "
     "status2 smallint, ipgtrips int, first int, root int, distribution int, usagecnt smallint, "
     "segment smallint, status smallint, maxrowsperpage smallint, minlen smallint, "
     "maxlen smallint, maxirow smallint, keycnt smallint, keys1 varbinary(255) null, "
     "keys2 varbinary(255) null, soid tinyint, csid tinyint, base_partition int null @15, "
     "fill_factor smallint null, res_page_gap smallint null, exp_rowsize smallint null, "
     "keys3 varbinary(255) null, identitygap int null, crdate datetime null, "
     "partitiontype smallint null @15, conditionid int null @15, status3 smallint null @15, "
     "conopt_thld smallint null, plldegree int null @15"},
    {3, "syscolumns",
     "id int, number smallint, colid smallint, status tinyint, type tinyint, length int, "
     "offset smallint, usertype smallint, cdefault int, domain int, name sysname, "
     "printfmt varchar(255) null, prec tinyint null, scale tinyint null, remote_type int null, "
     "remote_name varchar(30) null, xstatus int null, xtype int null, xdbid int null, "
     "accessrule int null, status2 int null, status3 smallint null @15, computedcol int null @15, "
     "encrtype int null @15, encrlen int null @15, encrkeyid int null @15, encrkeydb varchar(30) "
     "null @15, "
     "encrdate datetime null @15, lobcomp_lvl tinyint null @15, inrowlen smallint null @15"},
    {4, "systypes",
     "uid int, usertype smallint, variable bit, allownulls bit, type tinyint, length int, "
     "tdefault int, domain int, name sysname, printfmt varchar(255) null, prec tinyint null, "
     "scale tinyint null, ident tinyint null, hierarchy tinyint null, xtypeid int null, "
     "xdbid int null, accessrule int null"},
    {5, "sysprocedures",
     "type smallint, id int, sequence smallint, status smallint, number smallint"},
    {6, "syscomments",
     "id int, number smallint, colid smallint, texttype smallint, language smallint, "
     "text varchar(255) null, colid2 smallint, status smallint null, partitionid int null @15"},
    {7, "syssegments", "segment smallint, name sysname, status int"},
    {8, "syslogs", "xactid binary(6), op tinyint"},
    {9, "sysprotects",
     "id int, uid int, action smallint, protecttype tinyint, columns varbinary(133) null, "
     "grantor int, pred_id int null @15, protstatus int null @15"},
    {10, "sysusers", "suid int, uid int, gid int, name sysname, environ varchar(255) null"},
    {11, "sysalternates", "suid int, altsuid int"},
    {12, "sysdepends",
     "id int, number smallint, depid int, depnumber smallint, depdbid smallint, "
     "depsiteid smallint, selall bit, resultobj bit, readobj bit"},
    {13, "syskeys",
     "id int, type smallint, depid int null, keycnt int null, size int null, key1 int null, "
     "key2 int null, key3 int null, key4 int null, key5 int null, key6 int null, key7 int null, "
     "key8 int null, depkey1 int null, depkey2 int null, depkey3 int null, depkey4 int null, "
     "depkey5 int null, depkey6 int null, depkey7 int null, depkey8 int null, "
     "spare1 smallint null"},
    {15, "sysusermessages",
     "error int, uid smallint, description varchar(1024), langid smallint null, "
     "dlevel smallint null"},
    {16, "sysreferences",
     "indexid smallint, constrid int, tableid int, reftabid int, keycnt smallint, "
     "status smallint, frgndbid smallint null, pmrydbid smallint, spare2 int, "
     "fokey1 smallint, fokey2 smallint, fokey3 smallint, fokey4 smallint, fokey5 smallint, "
     "fokey6 smallint, fokey7 smallint, fokey8 smallint, fokey9 smallint, fokey10 smallint, "
     "fokey11 smallint, fokey12 smallint, fokey13 smallint, fokey14 smallint, fokey15 smallint, "
     "fokey16 smallint, refkey1 smallint, refkey2 smallint, refkey3 smallint, refkey4 smallint, "
     "refkey5 smallint, refkey6 smallint, refkey7 smallint, refkey8 smallint, refkey9 smallint, "
     "refkey10 smallint, refkey11 smallint, refkey12 smallint, refkey13 smallint, "
     "refkey14 smallint, refkey15 smallint, refkey16 smallint, frgndbname varchar(30) null, "
     "pmrydbname varchar(30) null"},
    {17, "sysconstraints",
     "colid smallint, constrid int, tableid int, error int, status int, spare2 int"},
    {18, "systhresholds",
     "segment smallint, free_space int, status smallint, proc_name varchar(255), suid int null, "
     "currauth varbinary(255) null"},
    {19, "sysroles", "id int, lrid int, type smallint, status int"},
    {21, "sysattributes",
     "class smallint, attribute smallint, object_type char(2) null, object_cinfo varchar(255) "
     "null, "
     "object int null, object_info1 int null, object_info2 int null, object_info3 int null, "
     "int_value int null, char_value varchar(768) null, text_value text null, "
     "image_value image null, comments varchar(255) null"},
    {22, "sysslices @15",
     "state smallint, id int, partitionid int, firstpage int, controlpage int, spare binary(32)"},
    {23, "systabstats",
     "id int, indid smallint, activestatid int, indexheight smallint, leafcnt int, pagecnt int, "
     "rowcnt float, forwrowcnt float, delrowcnt float, dpagecrcnt float, ipagecrcnt float, "
     "drowcrcnt float, statmoddate datetime null"},
    {24, "sysstatistics",
     "statid smallint, id int, sequence int, moddate datetime, formatid tinyint, usedcount "
     "tinyint, "
     "colidarray varbinary(100)"},
    {25, "sysxtypes",
     "xtid int, xtstatus int, xtmetatype int, xtcontainer int, xtname varchar(255) null, "
     "xtsource text null, xtbinaryinrow varbinary(255) null, xtbinaryoffrow image null"},
    {26, "sysjars", "jid int, jstatus int, jname varchar(255) null, jbinary image null"},
    {27, "sysqueryplans",
     "uid int, gid int, hashkey int, id int, type smallint, sequence smallint, "
     "status int null, text varchar(255) null"},
    {28, "syspartitions",
     "name varchar(255) @15, indid smallint @15, state smallint @12, id int, partitionid int, "
     "segment smallint @15, status int @15, datoampage int @15, indoampage int @15, "
     "firstpage int, controlpage int @12, rootpage int @15, data_partitionid int @15, "
     "crdate datetime @15, cdataptnname varchar(255) null @15, spare binary(32) @12"},
    {29, "syspartitionkeys @15", "indid smallint, id int, colid smallint, position smallint"},
    {50, "sysencryptkeys @15",
     "id int, ekalgorithm int, type smallint, status int, eklen smallint null, "
     "value varbinary(1282) null, uid int null, eksalt varbinary(20) null, ekpairid int null, "
     "pwdate datetime null, expdate int null, ekpwdwarn int null"},
    {kFirstMasterId, "spt_values",
     "name varchar(35) null, number int, type char(2), ansi_w int null, low int null, "
     "high int null, msgnum int null"},
    {kFirstMasterId + 1, "sysdatabases",
     "name sysname, dbid smallint, suid int, status smallint, version smallint, logptr int, "
     "crdate datetime, dumptrdate datetime, status2 smallint null, audflags int null, "
     "status3 int null"},
    {kFirstMasterId + 2, "syslogins",
     "suid int, status smallint, accdate datetime, totcpu int, totio int, spacelimit int, "
     "timelimit int, resultlimit int, dbname sysname null, name sysname, "
     "password varbinary(30) null, language varchar(30) null, pwdate datetime null, "
     "audflags int null, fullname varchar(30) null, srvname varchar(30) null"},
    {kFirstMasterId + 3, "syssrvroles",
     "srid int, name sysname, password varbinary(30) null, pwdate datetime null, "
     "status smallint null, logincount smallint null"},
    {kFirstMasterId + 4, "sysloginroles", "suid int, srid int, status smallint"},
    {kFirstMasterId + 5, "sysservers",
     "srvid smallint, srvstatus smallint, srvname sysname, srvnetname varchar(255), "
     "srvclass smallint null, srvsecmech varchar(30) null, srvcost smallint null, "
     "srvstatus2 int null"},
    {kFirstMasterId + 6, "syscurconfigs",
     "config smallint, value int, comment varchar(255), status int, value2 varchar(255) null, "
     "defvalue varchar(255) null, minimum_value int null, maximum_value int null, "
     "memory_used int null, display_level smallint null"},
    // What a running server would tell in them is not known: they are empty.
    {kFirstMasterId + 7, "sysprocesses",
     "spid smallint, kpid int, enginenum int, status char(12), suid int, hostname varchar(30) "
     "null, "
     "program_name varchar(30) null, hostprocess varchar(30) null, cmd varchar(30) null, cpu int, "
     "physical_io int, memusage int, blocked smallint, dbid smallint, uid int, gid int, "
     "tran_name varchar(64) null, time_blocked int null, network_pktsz int null, "
     "fid smallint null, execlass varchar(30) null, priority varchar(10) null, "
     "affinity varchar(30) null, id int null, stmtnum int null, linenum int null, "
     "origsuid int null, block_xloid int null, clientname varchar(30) null, "
     "clienthostname varchar(30) null, clientapplname varchar(30) null, sys_id smallint null, "
     "ses_id int null, loggedindatetime datetime null, ipaddr varchar(64) null"},
    {kFirstMasterId + 8, "sysdevices",
     "low int, high int, status smallint, cntrltype smallint, name sysname, phyname varchar(127), "
     "mirrorname varchar(127) null, vdevno int @15, crdate datetime null @15, "
     "resizedate datetime null @15, status2 int null @15"},
    {kFirstMasterId + 9, "sysusages",
     "dbid smallint, segmap int, lstart int, size int, vstart int, pad smallint null, "
     "unreservedpgs int null, crdate datetime null, vdevno int @15"},
    {kFirstMasterId + 10, "sysconfigures",
     "config smallint, value int, comment varchar(255), status int, name varchar(255) null, "
     "parent smallint null, value2 varchar(255) null, value3 int null, value4 int null"},
    {kFirstMasterId + 11, "sysmessages",
     "error int, severity smallint, dlevel smallint, description varchar(1024), "
     "langid smallint null, sqlstate varchar(5) null"},
    {kFirstMasterId + 12, "syscharsets",
     "type smallint, id tinyint, csid tinyint, status smallint null, name varchar(30), "
     "description varchar(255), definition image null, sortfile varchar(30) null"},
    {kFirstMasterId + 13, "syslanguages",
     "langid smallint, dateformat char(3), datefirst tinyint, upgrade int, name varchar(30), "
     "alias varchar(30) null, months varchar(251) null, shortmonths varchar(119) null, "
     "days varchar(216) null"},
    {kFirstMasterId + 14, "syslocks",
     "id int, dbid smallint, page int, type smallint, spid smallint, class varchar(30), "
     "fid smallint, context tinyint, row smallint, loid int"},
    {kFirstMasterId + 15, "sysremotelogins",
     "remoteserverid smallint, remoteusername varchar(30) null, suid int, status smallint"},
};

constexpr std::string_view kInternalTables =
    // Roles that other roles have; the server keeps them in a table of attributes.
    "CREATE TABLE syssrvroles_of_roles(member INTEGER, srid INTEGER);"
    // Tables and keys of databases that are not at hand, and their columns, as a script called
    // them; colid 0 is the object.
    "CREATE TABLE names_elsewhere(id INTEGER, colid INTEGER, db TEXT, name TEXT,"
    " PRIMARY KEY(id, colid)) WITHOUT ROWID;";

constexpr std::string_view kFixedRows =
    "INSERT INTO syslogins(suid, name, dbname) VALUES (1, 'sa', 'master'), (2, 'probe', 'master');"
    "INSERT INTO sysdatabases(name, dbid, suid, status2, status3) VALUES"
    " ('master', 1, 1, 0, 0), ('tempdb', 2, 1, 0, 0), ('model', 3, 1, 0, 0),"
    " ('sybsystemprocs', 4, 1, 0, 0), ('main', 5, 1, 0, 0);"
    "INSERT INTO spt_values(name, number, type) VALUES"
    " ('References', 151, 'T'), ('Set Proxy', 167, 'T'), ('Select', 193, 'T'),"
    " ('Insert', 195, 'T'), ('Delete', 196, 'T'), ('Update', 197, 'T'),"
    " ('Create Table', 198, 'T'), ('Create Database', 203, 'T'), ('Grant', 205, 'T'),"
    " ('Revoke', 206, 'T'), ('Create View', 207, 'T'), ('Create Trigger', 221, 'T'),"
    " ('Create Procedure', 222, 'T'), ('Execute', 224, 'T'), ('Dump Database', 228, 'T'),"
    " ('Create Default', 233, 'T'), ('Dump Transaction', 235, 'T'), ('Create Rule', 236, 'T'),"
    " ('Delete Statistics', 282, 'T'), ('Truncate Table', 320, 'T'),"
    " ('Update Statistics', 326, 'T'), ('Create Encryption Key', 353, 'T'),"
    " ('Create Function', 1001, 'T'), ('Decrypt', 354, 'T'), ('Transfer Table', 368, 'T'),"
    " ('ignore duplicate keys', 1, 'I'), ('unique', 2, 'I'), ('ignore duplicate rows', 4, 'I'),"
    " ('allow duplicate rows', 64, 'I');"
    // The sort order is bin_utf8, the character set utf8.
    "INSERT INTO syscurconfigs(config, value, comment) VALUES"
    " (123, 50, 'default sortorder id'), (131, 190, 'default character set id');"
    "WITH RECURSIVE bits(n) AS (SELECT 0 UNION ALL SELECT n + 1 FROM bits WHERE n < 1023)"
    " INSERT INTO spt_values(number, type, low, high)"
    " SELECT n, 'P', n / 8 + 1, 1 << (n % 8) FROM bits;";

constexpr std::string_view kSystemRoles[] = {
    "sa_role",          "sso_role",    "oper_role", "sybase_ts_role", "navigator_role",
    "replication_role", "dtm_tm_role", "ha_role",   "mon_role",       "js_admin_role"};

std::string_view takeWord(std::string_view& text, char end) {
  text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
  const std::size_t length = std::min(text.find(end), text.size());
  const std::string_view word = text.substr(0, length);
  text.remove_prefix(std::min(length + 1, text.size()));
  return word;
}

/// Takes the mark off the end of a description; whether the release has what it describes.
bool takeRelease(std::string_view& text, std::optional<Release> release) {
  const std::size_t at = text.find('@');
  if (at == text.npos) return true;
  const bool isLater = text.substr(at) == "@15";
  text = text.substr(0, text.find_last_not_of(' ', at - 1) + 1);
  const bool isShort = release == Release::ase125;
  return isLater ? !isShort : isShort;
}

NamedColumn parseColumn(std::string_view text, std::optional<Release> release) {
  const std::string_view name = takeWord(text, ' ');
  std::string_view declared = takeWord(text, ' ');
  const std::string_view type = takeWord(declared, '(');
  std::optional<int> length;
  if (!declared.empty()) std::from_chars(declared.begin(), declared.end(), length.emplace());
  const bool nullable = takeWord(text, ' ') == "null";
  TypeKind kind = *findSystemType(type)->kind;
  // The type sysname itself has remained as short as it was in 12.5.
  const bool isLong = kind == TypeKind::Sysname && release && *release != Release::ase125;
  if (isLong) {
    constexpr int kLongName = 255;
    kind = TypeKind::Varchar;
    length = kLongName;
  }
  return {std::string(name), declaredType(kind, length, {}, nullable)};
}

std::vector<SystemTable> parseLayouts(std::optional<Release> release) {
  std::vector<SystemTable> tables;
  for (const Layout& layout : kLayouts) {
    std::string_view name = layout.table;
    if (!takeRelease(name, release)) continue;
    SystemTable& table = tables.emplace_back();
    table.name = name;
    table.id = layout.id;
    table.inMaster = layout.id >= kFirstMasterId;
    for (std::string_view rest = layout.columns; !rest.empty();) {
      std::string_view column = takeWord(rest, ',');
      if (takeRelease(column, release)) table.columns.push_back(parseColumn(column, release));
    }
  }
  return tables;
}

}  // namespace

VirtualTable virtualTable(const SystemTable& table, std::string name,
                          std::function<RowSource&()> source) {
  VirtualTable made;
  made.name = std::move(name);
  for (const NamedColumn& column : table.columns) {
    const bool isText = isCharacter(column.type.kind);
    const bool isBytes = isBinary(column.type.kind);
    if (!made.columns.empty()) made.columns += ", ";
    made.columns += column.name;
    made.columns += isText ? " TEXT COLLATE RTRIM" : isBytes ? " BLOB" : " INTEGER";
    made.isInteger.push_back(!isText && !isBytes && column.type.kind != TypeKind::Float);
  }
  made.lookups = lookupsOf(table);
  made.expectedRows = expectedRowsOf(table);
  made.source = std::move(source);
  return made;
}

namespace {

std::string noRowsDefinition() {
  std::string columns;
  for (int colid = 1; colid <= kLargestColumnCount; ++colid) {
    columns += concat(colid == 1 ? "c" : ", c", colid, " COLLATE RTRIM");
  }
  return concat("CREATE TABLE ", kNoRows, "(", columns, "); CREATE TRIGGER ", kNoRows,
                "_stays_empty BEFORE INSERT ON ", kNoRows,
                " BEGIN SELECT RAISE(ABORT, 'the table has no rows of its own yet'); END;");
}

void describe(SystemRecords& records, const SystemTable& table) {
  constexpr int kSystemTable = 1;
  SysObject object;
  object.name = table.name;
  object.id = table.id;
  object.uid = kDboUid;
  object.type = object_type::kSystemTable;
  object.sysstat = kSystemTable;
  object.crdate = currentTime();
  records.objects.insert(std::move(object));
  int colid = 0;
  for (const NamedColumn& described : table.columns) {
    SysColumn column;
    column.id = table.id;
    column.colid = ++colid;
    column.status = described.type.nullable ? column_status::kNullable : 0;
    column.type = described.type.storageCode;
    column.length = described.type.length;
    column.usertype = described.type.userType;
    column.name = described.name;
    records.columns.insert(std::move(column));
  }
}

void fillTypes(SystemRecords& records, const CatalogOptions& options) {
  for (const SystemType& type : systemTypes()) {
    if (!options.has(type.since)) continue;
    const bool isVariable = type.kind && (isCharacter(*type.kind) || isBinary(*type.kind)) &&
                            type.storageCode == type.nullableCode && !isLong(*type.kind);
    SysType row;
    row.uid = kDboUid;
    row.usertype = type.userType;
    row.variable = isVariable ? 1 : 0;
    row.allownulls = type.kind == TypeKind::Bit ? 0 : 1;
    row.type = type.storageCode;
    row.length = type.length;
    row.name = type.name;
    row.hierarchy = options.isAtLeast15() ? fullHierarchy(type) : type.hierarchy;
    records.types.insert(std::move(row));
  }
  if (!options.isAtLeast15()) return;
  SysType longSysname;
  longSysname.uid = kDboUid;
  longSysname.usertype = 42;
  longSysname.variable = 1;
  longSysname.allownulls = 1;
  longSysname.type = 39;
  longSysname.length = 255;
  longSysname.name = "longsysname";
  longSysname.hierarchy = 27;
  records.types.insert(std::move(longSysname));
}

void addUser(SystemRecords& records, int suid, int uid, int gid, std::string_view name) {
  records.users.insert({suid, uid, gid, std::string(name), std::nullopt});
}

/// A row of a table that SQL alone looks into; what is not given has its default.
void addRow(RowSource& table, std::vector<Cell> values) { table.write(std::nullopt, values); }

}  // namespace

SystemTables::SystemTables(std::optional<Release> release) : all_(parseLayouts(release)) {}

const SystemTables& SystemTables::of(std::optional<Release> release) {
  static const SystemTables kAny(std::nullopt), k125(Release::ase125), k15(Release::ase15),
      k16(Release::ase16);
  if (!release) return kAny;
  return *release == Release::ase125 ? k125 : *release == Release::ase15 ? k15 : k16;
}

const SystemTable* SystemTables::find(std::string_view name) const {
  const auto found = std::ranges::find(all_, name, &SystemTable::name);
  return found == all_.end() ? nullptr : &*found;
}

const SystemTable* SystemTables::find(int id) const {
  if (id >= kFirstMasterId + static_cast<int>(all_.size())) return nullptr;
  const auto found = std::ranges::find(all_, id, &SystemTable::id);
  return found == all_.end() ? nullptr : &*found;
}

void fillMaster(Database& store, const CatalogOptions& options) {
  store.execute(concat(kInternalTables, noRowsDefinition(), kFixedRows));
  if (options.allowNullsByDefault) {
    store.run("UPDATE sysdatabases SET status = status | ?", database_status::kAllowNulls);
  }
  int action = kFirstGranularAction;
  for (const std::string_view name : granularPrivileges()) {
    store.run("INSERT INTO spt_values(name, number, type) VALUES (?, ?, 'GP')", name, action++);
  }
  int role = 0;
  for (const std::string_view name : kSystemRoles) {
    store.run("INSERT INTO syssrvroles(srid, name) VALUES (?, ?)", role++, name);
  }
}

void fillDatabase(SystemRecords& records, const SystemTables& tables,
                  const CatalogOptions& options) {
  constexpr int kNoSuid = -2, kSaSuid = 1;
  for (const SystemTable& table : tables.all()) {
    if (!table.inMaster) describe(records, table);
  }
  fillTypes(records, options);
  addUser(records, kNoSuid, kPublicUid, kPublicUid, "public");
  addUser(records, kSaSuid, kDboUid, kPublicUid, "dbo");
  RowSource& segments = records.source("syssegments");
  addRow(segments, {std::int64_t{0}, "system", std::int64_t{0}});
  addRow(segments, {std::int64_t{1}, "default", std::int64_t{1}});
  addRow(segments, {std::int64_t{2}, "logsegment", std::int64_t{0}});
  std::int64_t role = 0;
  for (const std::string_view name : kSystemRoles) {
    const int uid = kFirstGroupUid + static_cast<int>(role);
    addUser(records, kNoSuid, uid, uid, name);
    addRow(records.source("sysroles"),
           {role++, std::int64_t{uid}, std::int64_t{0}, std::int64_t{0}});
  }
}

std::int64_t currentTime() {
  using namespace std::chrono;
  constexpr sys_days kDayZero = 1900y / January / 1;
  const auto now = floor<milliseconds>(system_clock::now());
  return duration_cast<microseconds>(now - kDayZero).count();
}

}  // namespace kelvane::embedded
