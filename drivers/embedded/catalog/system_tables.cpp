#include "drivers/embedded/catalog/system_tables.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <string>

#include "drivers/embedded/catalog/writer.h"

namespace kelvane::embedded {

namespace {

struct Layout {
  int id;
  std::string_view table;
  std::string_view columns;  ///< `name type [null]`, separated by commas
};

// Tables of master have ids beyond those of a user database, since they share one store.
constexpr int kFirstMasterId = 60;

constexpr Layout kLayouts[] = {
    {1, "sysobjects",
     "name sysname, id int, uid int, type char(2), userstat smallint, sysstat smallint, "
     "indexdel smallint, schemacnt smallint, sysstat2 int, crdate datetime, expdate datetime, "
     "deltrig int, instrig int, updtrig int, seltrig int, ckfirst int, cache smallint, "
     "audflags int null, objspare int, versionts binary(6) null, loginame varchar(30) null, "
     "identburnmax numeric(38) null, spacestate smallint null, erlchgts binary(8) null, "
     "sysstat3 int null, lobcomp_lvl tinyint null"},
    {2, "sysindexes",
     "name sysname, id int, indid smallint, doampg int, ioampg int, oampgtrips int, "
     "status2 smallint, ipgtrips int, first int, root int, distribution int, usagecnt smallint, "
     "segment smallint, status smallint, maxrowsperpage smallint, minlen smallint, "
     "maxlen smallint, maxirow smallint, keycnt smallint, keys1 varbinary(255) null, "
     "keys2 varbinary(255) null, soid tinyint, csid tinyint, base_partition int null, "
     "fill_factor smallint null, res_page_gap smallint null, exp_rowsize smallint null, "
     "keys3 varbinary(255) null, identitygap int null, crdate datetime null, "
     "partitiontype smallint null, conditionid int null, status3 smallint null, "
     "conopt_thld smallint null, plldegree int null"},
    {3, "syscolumns",
     "id int, number smallint, colid smallint, status tinyint, type tinyint, length int, "
     "offset smallint, usertype smallint, cdefault int, domain int, name sysname, "
     "printfmt varchar(255) null, prec tinyint null, scale tinyint null, remote_type int null, "
     "remote_name varchar(30) null, xstatus int null, xtype int null, xdbid int null, "
     "accessrule int null, status2 int null, status3 smallint null, computedcol int null, "
     "encrtype int null, encrlen int null, encrkeyid int null, encrkeydb varchar(30) null, "
     "encrdate datetime null, lobcomp_lvl tinyint null, inrowlen smallint null"},
    {4, "systypes",
     "uid int, usertype smallint, variable bit, allownulls bit, type tinyint, length int, "
     "tdefault int, domain int, name sysname, printfmt varchar(255) null, prec tinyint null, "
     "scale tinyint null, ident tinyint null, hierarchy tinyint null, xtypeid int null, "
     "xdbid int null, accessrule int null"},
    {5, "sysprocedures",
     "type smallint, id int, sequence smallint, status smallint, number smallint"},
    {6, "syscomments",
     "id int, number smallint, colid smallint, texttype smallint, language smallint, "
     "text varchar(255) null, colid2 smallint, status smallint null, partitionid int null"},
    {7, "syssegments", "segment smallint, name sysname, status int"},
    {8, "syslogs", "xactid binary(6), op tinyint"},
    {9, "sysprotects",
     "id int, uid int, action smallint, protecttype tinyint, columns varbinary(133) null, "
     "grantor int"},
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
    {22, "sysslices",
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
     "name varchar(255), indid smallint, id int, partitionid int, segment smallint, status int, "
     "datoampage int, indoampage int, firstpage int, rootpage int, data_partitionid int, "
     "crdate datetime, cdataptnname varchar(255) null"},
    {29, "syspartitionkeys", "indid smallint, id int, colid smallint, position smallint"},
    {50, "sysencryptkeys",
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
};

constexpr std::string_view kInternalTables =
    // Roles that other roles have; the server keeps them in a table of attributes.
    "CREATE TABLE syssrvroles_of_roles(member INTEGER, srid INTEGER);";

constexpr std::string_view kFixedRows =
    "INSERT INTO syssegments VALUES (0, 'system', 0), (1, 'default', 1), (2, 'logsegment', 0);"
    "INSERT INTO sysusers(suid, uid, gid, name) VALUES"
    " (-2, 0, 0, 'public'), (1, 1, 0, 'dbo'), (-1, 2, 0, 'guest');"
    "INSERT INTO syslogins(suid, name, dbname) VALUES (1, 'sa', 'master'), (2, 'probe', 'master');"
    "INSERT INTO sysdatabases(name, dbid, suid) VALUES"
    " ('master', 1, 1), ('tempdb', 2, 1), ('model', 3, 1), ('sybsystemprocs', 4, 1),"
    " ('main', 5, 1);"
    "INSERT INTO spt_values(name, number, type) VALUES"
    " ('References', 151, 'T'), ('Set Proxy', 167, 'T'), ('Select', 193, 'T'),"
    " ('Insert', 195, 'T'), ('Delete', 196, 'T'), ('Update', 197, 'T'),"
    " ('Create Table', 198, 'T'), ('Create Database', 203, 'T'), ('Grant', 205, 'T'),"
    " ('Revoke', 206, 'T'), ('Create View', 207, 'T'), ('Create Trigger', 221, 'T'),"
    " ('Create Procedure', 222, 'T'), ('Execute', 224, 'T'), ('Dump Database', 228, 'T'),"
    " ('Create Default', 233, 'T'), ('Dump Transaction', 235, 'T'), ('Create Rule', 236, 'T'),"
    " ('Delete Statistics', 282, 'T'), ('Truncate Table', 320, 'T'),"
    " ('Update Statistics', 326, 'T'), ('Create Encryption Key', 353, 'T'),"
    " ('Decrypt', 354, 'T'), ('Transfer Table', 368, 'T'),"
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

NamedColumn parseColumn(std::string_view text) {
  const std::string_view name = takeWord(text, ' ');
  std::string_view declared = takeWord(text, ' ');
  const std::string_view type = takeWord(declared, '(');
  std::optional<int> length;
  if (!declared.empty()) std::from_chars(declared.begin(), declared.end(), length.emplace());
  const bool nullable = takeWord(text, ' ') == "null";
  return {std::string(name), declaredType(*findSystemType(type)->kind, length, {}, nullable)};
}

std::vector<SystemTable> parseLayouts() {
  std::vector<SystemTable> tables;
  for (const Layout& layout : kLayouts) {
    SystemTable& table = tables.emplace_back();
    table.name = layout.table;
    table.id = layout.id;
    table.inMaster = layout.id >= kFirstMasterId;
    for (std::string_view rest = layout.columns; !rest.empty();) {
      table.columns.push_back(parseColumn(takeWord(rest, ',')));
    }
  }
  return tables;
}

VirtualTable virtualTable(const SystemTable& table, const SystemSource& source) {
  VirtualTable made;
  made.name = table.name;
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
  made.source = [&table, source]() -> RowSource& { return source(table); };
  return made;
}

std::string noRowsDefinition() {
  std::string columns;
  for (int colid = 1; colid <= kLargestColumnCount; ++colid) {
    columns += concat(colid == 1 ? "c" : ", c", colid, " COLLATE RTRIM");
  }
  return concat("CREATE TABLE ", kNoRows, "(", columns, "); CREATE TRIGGER ", kNoRows,
                "_stays_empty BEFORE INSERT ON ", kNoRows,
                " BEGIN SELECT RAISE(ABORT, 'the table has no rows of its own yet'); END;");
}

void describeSystemTable(Database& store, const SystemTable& table) {
  constexpr int kSystemTable = 1;
  store.run(
      "INSERT INTO sysobjects(name, id, uid, type, sysstat, crdate) VALUES (?, ?, ?, 'S', ?, ?)",
      table.name, table.id, kDboUid, kSystemTable, currentTime());
  int colid = 0;
  for (const NamedColumn& column : table.columns) {
    store.run(
        "INSERT INTO syscolumns(id, colid, status, type, length, usertype, name)"
        " VALUES (?, ?, ?, ?, ?, ?, ?)",
        table.id, ++colid, column.type.nullable ? 8 : 0, column.type.storageCode,
        column.type.length, column.type.userType, column.name);
  }
}

void fillTypes(Database& store, const CatalogOptions& options) {
  for (const SystemType& type : systemTypes()) {
    if (!options.has(type.since)) continue;
    const bool variable = type.kind && (isCharacter(*type.kind) || isBinary(*type.kind)) &&
                          type.storageCode == type.nullableCode && !isLong(*type.kind);
    store.run(
        "INSERT INTO systypes(uid, usertype, variable, allownulls, type, length, name, hierarchy)"
        " VALUES (?, ?, ?, ?, ?, ?, ?, ?)",
        kDboUid, type.userType, variable ? 1 : 0, type.kind == TypeKind::Bit ? 0 : 1,
        type.storageCode, type.length, type.name,
        options.isAtLeast15() ? fullHierarchy(type) : type.hierarchy);
  }
}

void fillRoles(Database& store) {
  int role = 0;
  for (const std::string_view name : kSystemRoles) {
    const int uid = kFirstGroupUid + role;
    store.run("INSERT INTO sysusers(suid, uid, gid, name) VALUES (-2, ?, ?, ?)", uid, uid, name);
    store.run("INSERT INTO sysroles(id, lrid) VALUES (?, ?)", role, uid);
    store.run("INSERT INTO syssrvroles(srid, name) VALUES (?, ?)", role, name);
    ++role;
  }
}

}  // namespace

const std::vector<SystemTable>& systemTables() {
  static const std::vector<SystemTable> kTables = parseLayouts();
  return kTables;
}

const SystemTable* findSystemTable(std::string_view name) {
  const auto found = std::ranges::find(systemTables(), name, &SystemTable::name);
  return found == systemTables().end() ? nullptr : &*found;
}

const SystemTable* findSystemTable(int id) {
  const auto found = std::ranges::find(systemTables(), id, &SystemTable::id);
  return found == systemTables().end() ? nullptr : &*found;
}

void createSystemTables(Database& store, const CatalogOptions& options,
                        const SystemSource& source) {
  Savepoint savepoint(store);
  for (const SystemTable& table : systemTables()) store.addTable(virtualTable(table, source));
  store.execute(concat(kInternalTables, noRowsDefinition(), kFixedRows));
  if (options.allowNullsByDefault) {
    store.run("UPDATE sysdatabases SET status = status | ?", database_status::kAllowNulls);
  }
  for (const SystemTable& table : systemTables()) {
    if (!table.inMaster) describeSystemTable(store, table);
  }
  fillTypes(store, options);
  if (options.isAtLeast15()) {
    store.run(
        "INSERT INTO systypes(uid, usertype, variable, allownulls, type, length, name, hierarchy)"
        " VALUES (?, 42, 1, 1, 39, 255, 'longsysname', 27)",
        kDboUid);
  }
  fillRoles(store);
  savepoint.keep();
}

std::int64_t currentTime() {
  using namespace std::chrono;
  constexpr sys_days kDayZero = 1900y / January / 1;
  const auto now = floor<milliseconds>(system_clock::now());
  return duration_cast<microseconds>(now - kDayZero).count();
}

}  // namespace kelvane::embedded
