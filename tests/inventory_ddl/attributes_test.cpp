// Every attribute and every part of the lists comes back from the script, or stands here among
// those that cannot, with the reason.
#include <algorithm>
#include <gtest/gtest.h>
#include <map>
#include <set>

#include "tests/inventory_ddl/attribute_paths.h"
#include "tests/inventory_ddl/round_trip.h"

namespace kelvane::inventory {
namespace {

/// A value that an attribute may have, set in what the scripts below declare.
struct Setting {
  std::string attribute;  ///< table > column: default
  Release since = Release::ase125;
  void (*set)(Database&) = nullptr;
};

constexpr std::string_view kDeclared =
    "sp_addlogin joe, secret1\nsp_adduser joe\nsp_addlogin eva, secret1\nsp_adduser eva\n"
    "sp_addgroup staff\ncreate role r\ncreate role s\nsp_addsegment seg1, main, dev1\n"
    "sp_addmessage 20001, 'one'\ncreate default d as 1\ncreate rule ru as @x > 1\n"
    "create access rule acc as @x > 1\nsp_addtype ty, 'varchar(20)', 'null'\n"
    "sp_addlogin cleo, secret1\nsp_addalias cleo, joe\nsp_addthreshold main, seg1, 200, warn\n"
    "create table p (x int not null, y int not null, constraint px unique (x))\n"
    "create table t (a int not null, b varchar(10) null, c text null, n numeric(9,0) identity,"
    " constraint k unique nonclustered (a), constraint ch check (a > 1),"
    " constraint f foreign key (a) references p (x)) lock datarows\n"
    "create unique index i on t (b)\ncreate trigger tr on t for insert as print 'a'\n"
    "grant select on t to joe\ngrant role r to joe\ngrant role s to joe\nsp_primarykey p, "
    "x\ncreate view v as select a from t\n"
    "create procedure pr @a int as select 1\ngrant create view to joe\n";
constexpr std::string_view kDeclaredLater =
    "create encryption key ek for AES\ncreate encryption key ek2 for AES\n"
    "create function fn (@x int) returns int as return 1\n"
    "create table g (a int not null, b int not null, e varchar(10) null encrypt with ek)"
    " partition by range (a) (p1 values <= (10), p2 values <= (20))\n"
    "create index gi on g (a) local index g1, g2\n";

Table& table(Database& database, std::string_view name) {
  return *std::ranges::find_if(database.tables,
                               [&](const Table& one) { return one.name.name == name; });
}
Table& t(Database& database) { return table(database, "t"); }
Table& g(Database& database) { return table(database, "g"); }
Column& column(Table& of, std::string_view name) {
  return *std::ranges::find(of.columns, name, &Column::name);
}
User& user(Database& database, std::string_view name) {
  return *std::ranges::find(database.users, name, &User::name);
}
Definition text(std::string words) { return {std::move(words), Definition::State::whole, false}; }

using enum Release;

const Setting kSettings[] = {
    {"database: owner", ase125, [](Database& d) { d.settings.owner = "owen"; }},
    {"database: cache", ase125, [](Database& d) { d.settings.cache = "c1"; }},
    {"database: page lock promotion", ase125,
     [](Database& d) { d.settings.pageLockPromotion = "PCT = 30, LWM = 10, HWM = 20"; }},
    {"database: row lock promotion", ase125,
     [](Database& d) { d.settings.rowLockPromotion = "PCT = 30, LWM = 10, HWM = 20"; }},
    {"database > option: name", ase125,
     [](Database& d) { d.settings.options = {{"ddl in tran"}, {"read only"}}; }},
    {"database > segment: name", ase125, [](Database& d) {
       d.settings.segments[0].name = d.settings.thresholds[0].segment = "two";
     }},
    {"database > threshold: segment", ase125,
     [](Database& d) { d.settings.thresholds[0].segment = "default"; }},
    {"database > threshold: free pages", ase125,
     [](Database& d) { d.settings.thresholds[0].freePages = 300; }},
    {"database > threshold: procedure", ase125,
     [](Database& d) { d.settings.thresholds[0].procedure = "other"; }},
    {"database > permission: effect", ase125,
     [](Database& d) {
       d.settings.permissions[0].grantee = "public";
       d.settings.permissions.push_back({"revoke", "create view", "joe", {}, false, "dbo", {}});
     }},
    {"database > permission: action", ase125,
     [](Database& d) { d.settings.permissions[0].action = "update on sysusers"; }},
    {"database > permission: to", ase125,
     [](Database& d) { d.settings.permissions[0].grantee = "staff"; }},
    {"table: name", ase125,
     [](Database& d) { table(d, "p").name.name = t(d).foreignKeys[0].referenced.name = "sel 'it"; }},
    {"table: name", ase15,
     [](Database& d) { table(d, "p").name.name = t(d).foreignKeys[0].referenced.name = "a.b"; }},
    {"table: proxy", ase125, [](Database& d) {
       Table proxy = table(d, "p");
       proxy.name.name = "proxy";
       proxy.keys.clear();
       proxy.logicalKeys.clear();
       proxy.proxyKind = "procedure";
       proxy.proxyPlace = "srv.db.dbo.u";
       d.tables.push_back(proxy);
     }},
    {"table: at", ase125, [](Database& d) {
       Table proxy = table(d, "p");
       proxy.name.name = "proxy";
       proxy.keys.clear();
       proxy.logicalKeys.clear();
       proxy.proxyKind = "table";
       proxy.proxyPlace = "it's.db.dbo.u";
       d.tables.push_back(proxy);
     }},
    {"table: lock", ase125, [](Database& d) { t(d).lock = "datapages"; }},
    {"table: segment", ase125, [](Database& d) { t(d).segment = "seg1, text only: logsegment"; }},
    {"table: identity_gap", ase125, [](Database& d) { t(d).identityGap = 7; }},
    {"table: identity_burn_max", ase125, [](Database& d) { t(d).identityBurnMax = 40; }},
    {"table: fillfactor", ase125, [](Database& d) { t(d).fillFactor = 70; }},
    {"table: max_rows_per_page", ase125, [](Database& d) { table(d, "p").maxRowsPerPage = 9; }},
    {"table: exp_row_size", ase125, [](Database& d) { t(d).expectedRowSize = 20; }},
    {"table: reservepagegap", ase125, [](Database& d) { t(d).reservePageGap = 7; }},
    {"table: concurrency_opt_threshold", ase125, [](Database& d) { t(d).concurrencyThreshold = 7; }},
    {"table: optimistic_index_lock", ase125,
     [](Database& d) { table(d, "p").optimisticIndexLock = true; }},
    {"table: latch_free_index", ase16, [](Database& d) { t(d).latchFree = "1"; }},
    {"table: dealloc_first_txtpg", ase125,
     [](Database& d) { t(d).deallocatesFirstTextPage = true; }},
    {"table: compression", ase15, [](Database& d) { t(d).compression = "page"; }},
    {"table: index_compression", ase16, [](Database& d) { t(d).indexCompression = "page"; }},
    {"table: lob_compression", ase15, [](Database& d) { t(d).lobCompression = 5; }},
    {"table: dml_logging", ase15, [](Database& d) { t(d).logging = "minimal"; }},
    {"table: transfer table", ase15, [](Database& d) { t(d).transfer = "on"; }},
    {"table: erase residual data", ase15, [](Database& d) { t(d).erasure = "on"; }},
    {"table: cache", ase125, [](Database& d) { t(d).cache = "c1; text only: c2"; }},
    {"table: cache strategy", ase125,
     [](Database& d) { t(d).cacheStrategy = "prefetch off, mru off; text only: mru off"; }},
    {"table: page lock promotion", ase125,
     [](Database& d) { t(d).pageLockPromotion = "PCT = 30, LWM = 10, HWM = 20"; }},
    {"table: row lock promotion", ase125,
     [](Database& d) { t(d).rowLockPromotion = "PCT = 30, LWM = 10, HWM = 20"; }},
    {"table: replicated", ase125, [](Database& d) { t(d).replicated = true; }},
    {"table: replication modes", ase15,
     [](Database& d) {
       t(d).replicated = true;
       t(d).replicationModes = "owner_on, use_index";
     }},
    {"table: replication modes", ase15, [](Database& d) { t(d).replicationModes = "never"; }},
    {"table: replication modes", ase15, [](Database& d) { t(d).replicationModes = "owner_on"; }},
    {"table: replication modes", ase15,
     [](Database& d) {
       t(d).replicated = true;
       t(d).replicationModes = "use_index";
     }},
    {"table: parallel degree", ase15, [](Database& d) { t(d).parallelDegree = 4; }},
    {"table: partitioned by", ase15, [](Database& d) {
       g(d).partitionKind = "hash";
       for (Partition& one : g(d).partitions) one.bound.clear();
     }},
    {"table: partition columns", ase15, [](Database& d) { g(d).partitionColumns = {"b"}; }},
    {"table > column: name", ase125, [](Database& d) { table(d, "p").columns[1].name = "a ] b"; }},
    {"table > column: type", ase125,
     [](Database& d) {
       column(t(d), "c").type = {{std::string("dbo"), "ty", {}, {}, {}}, false, false};
     }},
    {"table > column: default", ase125,
     [](Database& d) { column(t(d), "b").defaultValue = DefaultValue{"\"it's\"", {}}; }},
    {"table > column: default", ase125,
     [](Database& d) { column(t(d), "b").defaultValue = DefaultValue{{}, {"dbo", "d"}}; }},
    {"table > column: rule", ase125,
     [](Database& d) { column(t(d), "b").rule = QualifiedName{"dbo", "ru"}; }},
    {"table > column: access rule", ase125,
     [](Database& d) { column(t(d), "b").accessRule = QualifiedName{"dbo", "acc"}; }},
    {"table > column: computed as", ase15, [](Database& d) {
       Column& one = column(g(d), "b");
       one.computed = Definition{"a + 1", Definition::State::whole, true};
       one.type.nullable = true;
     }},
    {"table > column: materialized", ase15, [](Database& d) {
       Column& one = column(g(d), "b");
       one.computed = text("a + 1");
       one.type.nullable = true;
       one.materialized = true;
     }},
    {"table > column: encrypted", ase15, [](Database& d) {
       Column& one = column(t(d), "b");
       one.encrypted = true;
       one.encryptionKey = DatabaseObjectName{{}, "dbo", "ek"};
     }},
    {"table > column: encryption key", ase15,
     [](Database& d) { column(g(d), "e").encryptionKey = DatabaseObjectName{{}, "dbo", "ek2"}; }},
    {"table > column: decrypt default", ase15,
     [](Database& d) { column(g(d), "e").decryptDefault = std::string("'x'"); }},
    {"table > column: compression", ase15,
     [](Database& d) { column(t(d), "c").compression = std::string("compressed = 3"); }},
    {"table > column: replication", ase125,
     [](Database& d) { column(t(d), "c").replication = std::string("if changed"); }},
    {"table > column: in row length", ase16, [](Database& d) { column(t(d), "c").inRowLength = 99; }},
    {"table > column: off row", ase15, [](Database& d) { column(t(d), "c").offRow = true; }},
    {"table > constraint: primary key", ase125, [](Database& d) { t(d).keys[0].primary = true; }},
    {"table > constraint: name", ase125, [](Database& d) { t(d).keys[0].name = {"by", false}; }},
    {"table > constraint: clustered", ase125, [](Database& d) { t(d).keys[0].clustered = true; }},
    {"table > constraint: columns", ase125,
     [](Database& d) { t(d).keys[0].columns = {{"n", false, true}, {"a"}}; }},
    {"table > constraint: fillfactor", ase125, [](Database& d) { t(d).keys[0].fillFactor = 70; }},
    {"table > constraint: max_rows_per_page", ase125,
     [](Database& d) { t(d).keys[0].maxRowsPerPage = 70; }},
    {"table > constraint: reservepagegap", ase125,
     [](Database& d) { t(d).keys[0].reservePageGap = 70; }},
    {"table > constraint: segment", ase125, [](Database& d) { t(d).keys[0].segment = "seg1"; }},
    {"table > constraint: cache", ase125, [](Database& d) { t(d).keys[0].cache = "c1"; }},
    {"table > constraint: cache strategy", ase125,
     [](Database& d) { t(d).keys[0].cacheStrategy = "prefetch off"; }},
    {"table > constraint: parallel degree", ase15,
     [](Database& d) { t(d).keys[0].parallelDegree = 4; }},
    {"table > constraint: cache", ase15,
     [](Database& d) {
       KeyConstraint& key = t(d).keys[0];
       key.name.generated = true;
       key.cacheStrategy = "prefetch off";
       key.parallelDegree = 4;
       key.columns = {{"a"}, {"n"}};
       KeyConstraint other = key;
       other.columns = {{"a"}};
       other.cacheStrategy.clear();
       other.parallelDegree.reset();
       other.cache = "c1";
       t(d).keys.push_back(other);
       other.primary = true;
       other.cache = "c2";
       other.cacheStrategy = "mru off";
       t(d).keys.push_back(other);
     }},
    {"table > foreign key: name", ase125, [](Database& d) { t(d).foreignKeys[0].name.name = "by"; }},
    {"table > foreign key: columns", ase125,
     [](Database& d) { t(d).foreignKeys[0].columns = {"n"}; }},
    {"table > foreign key: references", ase125, [](Database& d) {
       t(d).foreignKeys[0].referenced = {{}, "dbo", "t"};
       t(d).foreignKeys[0].referencedColumns = {"a"};
     }},
    {"table > foreign key: referenced columns", ase125, [](Database& d) {
       table(d, "p").keys[0].columns = {{"y"}};
       t(d).foreignKeys[0].referencedColumns = {"y"};
     }},
    {"table > foreign key: match full", ase125,
     [](Database& d) { t(d).foreignKeys[0].matchFull = true; }},
    {"table > foreign key: message", ase125,
     [](Database& d) { t(d).foreignKeys[0].message = 20001; }},
    {"table > foreign key: message", ase125,
     [](Database& d) {
       table(d, "p").columns.push_back(table(d, "p").columns[0]);
       table(d, "p").columns.back().name = "it's";
       ForeignKey& key = t(d).foreignKeys[0];
       key.name.generated = true;
       key.message = 20001;
       ForeignKey other = key;
       other.columns = {"n"};
       other.message.reset();
       t(d).foreignKeys.push_back(other);
     }},
    {"table > check: name", ase125, [](Database& d) { t(d).checks[0].name.name = "by"; }},
    {"table > check: condition", ase125, [](Database& d) {
       t(d).checks.push_back({{"on_", false},
                              {"check (b > 'x')", Definition::State::whole, true}, {}});
     }},
    {"table > check: message", ase125, [](Database& d) { t(d).checks[0].message = 20001; }},
    {"table > check: message", ase125,
     [](Database& d) {
       Check& check = t(d).checks[0];
       check.name.generated = true;
       check.message = 20001;
       Check other = check;
       other.condition.text = "check (b != 'it''s " + std::string(260, 'x') + "')";
       t(d).checks.push_back(other);
       other.condition.text = "check (a > 2)";
       other.message.reset();
       t(d).checks.push_back(other);
     }},
    {"table > index: name", ase125, [](Database& d) { t(d).indexes[0].name = "order"; }},
    {"table > index: unique", ase125, [](Database& d) { t(d).indexes[0].unique = false; }},
    {"table > index: clustered", ase125, [](Database& d) { t(d).indexes[0].clustered = true; }},
    {"table > index: columns", ase15,
     [](Database& d) { t(d).indexes[0].columns = {{"upper(b)", true, true}}; }},
    {"table > index: fillfactor", ase125, [](Database& d) { t(d).indexes[0].fillFactor = 7; }},
    {"table > index: max_rows_per_page", ase125,
     [](Database& d) { t(d).indexes[0].maxRowsPerPage = 7; }},
    {"table > index: reservepagegap", ase125,
     [](Database& d) { t(d).indexes[0].reservePageGap = 7; }},
    {"table > index: segment", ase125, [](Database& d) { t(d).indexes[0].segment = "seg1"; }},
    {"table > index: compression", ase16, [](Database& d) { t(d).indexes[0].compression = "page"; }},
    {"table > index: latch free", ase16, [](Database& d) { t(d).indexes[0].latchFree = true; }},
    {"table > index: local", ase15, [](Database& d) {
       g(d).indexes[0].local = false;
       g(d).indexes[0].partitions.clear();
     }},
    {"table > index: cache", ase125, [](Database& d) { t(d).indexes[0].cache = "c1"; }},
    {"table > index: cache strategy", ase125,
     [](Database& d) { t(d).indexes[0].cacheStrategy = "prefetch off, mru off"; }},
    {"table > index: parallel degree", ase15,
     [](Database& d) { t(d).indexes[0].parallelDegree = 4; }},
    {"table > index: ignore_dup_key", ase125,
     [](Database& d) { t(d).indexes[0].ignoreDuplicateKey = true; }},
    {"table > index: ignore_dup_row", ase125, [](Database& d) {
       Index& one = t(d).indexes[0];
       one.unique = false;
       one.clustered = one.ignoreDuplicateRow = true;
     }},
    {"table > index: allow_dup_row", ase125, [](Database& d) {
       Index& one = t(d).indexes[0];
       one.unique = false;
       one.clustered = one.allowDuplicateRow = true;
     }},
    {"table > index > partition: name", ase15,
     [](Database& d) { g(d).indexes[0].partitions[1].name.name = "other"; }},
    {"table > index > partition: segment", ase15,
     [](Database& d) { g(d).indexes[0].partitions[1].segment = "seg1"; }},
    {"table > partition: name", ase15, [](Database& d) { g(d).partitions[1].name.name = "other"; }},
    {"table > partition: bound", ase15,
     [](Database& d) { g(d).partitions[1].bound = "values <= (MAX)"; }},
    {"table > partition: segment", ase15, [](Database& d) { g(d).partitions[1].segment = "seg1"; }},
    {"table > trigger: name", ase125, [](Database& d) {
       t(d).triggers[0].name.name = "other";
       t(d).triggers[0].definition.text = "create trigger other on t for insert as print 'a'\n";
     }},
    {"table > trigger: definition", ase125, [](Database& d) {
       Trigger& one = t(d).triggers[0];
       one.onUpdate = true;
       one.definition = {"-- why\ncreate trigger tr on t for insert, update as print 'b'\n",
                         Definition::State::whole, true};
     }},
    {"table > trigger: disabled", ase15, [](Database& d) { t(d).triggers[0].disabled = true; }},
    {"table > logical key: kind", ase125, [](Database& d) {
       LogicalKey one{"common", {"x"}, {"dbo", "t"}, {"a"}};
       table(d, "p").logicalKeys.push_back(one);
       t(d).logicalKeys.push_back({"common", {"a"}, {"dbo", "p"}, {"x"}});
     }},
    {"table > logical key: columns", ase125,
     [](Database& d) { table(d, "p").logicalKeys[0].columns = {"x", "y"}; }},
    {"table > logical key: other table", ase125,
     [](Database& d) { t(d).logicalKeys.push_back({"foreign", {"a"}, {"dbo", "p"}, {"x"}}); }},
    {"table > permission: effect", ase125, [](Database& d) {
       t(d).permissions.push_back({"grant", "delete", "public", {}, false, "dbo", {}});
       t(d).permissions.push_back({"revoke", "delete", "joe", {}, false, "dbo", {}});
     }},
    {"table > permission: action", ase125,
     [](Database& d) { t(d).permissions[0].action = "references"; }},
    {"table > permission: to", ase125, [](Database& d) { t(d).permissions[0].grantee = "r"; }},
    {"table > permission: columns", ase125,
     [](Database& d) { t(d).permissions[0].columns = {"a", "c"}; }},
    {"table > permission: grant option", ase125,
     [](Database& d) { t(d).permissions[0].grantOption = true; }},
    {"table > permission: granted by", ase125, [](Database& d) {
       t(d).permissions[0].grantOption = true;
       t(d).permissions.push_back({"grant", "select", "eva", {}, false, "joe", {}});
     }},
    {"view: name", ase125, [](Database& d) {
       d.views[0].name.owner = "joe";
       d.views[0].definition.text = "create view v as select a from dbo.t\n";
     }},
    {"view: definition", ase125, [](Database& d) { d.views[0].definition.quotedIdentifier = true; }},
    {"procedure: name", ase125, [](Database& d) { d.procedures[0].name.owner = "joe"; }},
    {"procedure: number", ase125, [](Database& d) {
       Procedure two = d.procedures[0];
       two.number = 2;
       two.definition.text = "create procedure pr;2 @a int as select 2\n";
       d.procedures.push_back(two);
     }},
    {"procedure: language", ase125, [](Database& d) {
       Procedure library;
       library.name = {"dbo", "xp_a"};
       library.language = "library";
       library.definition = text("a.so");
       d.procedures.push_back(library);
     }},
    {"procedure: definition", ase125,
     [](Database& d) {
       d.procedures[0].definition.text = "/* \n go on */\ncreate procedure pr @a int as select 2\n";
     }},
    {"procedure: mode", ase125, [](Database& d) { d.procedures[0].mode = "chained"; }},
    {"procedure: replicated", ase125, [](Database& d) { d.procedures[0].replicated = true; }},
    {"procedure: replication modes", ase15,
     [](Database& d) {
       d.procedures[0].replicated = true;
       d.procedures[0].replicationModes = "table, log_current";
     }},
    {"function: name", ase15, [](Database& d) { d.functions[0].name.owner = "joe"; }},
    {"function: definition", ase15, [](Database& d) {
       d.functions[0].definition.text = "create function fn (@x int) returns int as return 2\n";
     }},
    {"rule: name", ase125, [](Database& d) { d.rules[0].name.owner = "joe"; }},
    {"rule: definition", ase125, [](Database& d) {
       d.rules[0].definition.text = "create access rule acc as @x > 2\n";
     }},
    {"default: name", ase125, [](Database& d) { d.defaults[0].name.owner = "joe"; }},
    {"default: definition", ase125,
     [](Database& d) { d.defaults[0].definition.text = "create default d as 'x'"; }},
    {"type: name", ase125, [](Database& d) { d.types[0].name = {"joe", "select"}; }},
    {"type: base", ase125, [](Database& d) {
       d.types[0].base = {{{}, "numeric", {}, std::int16_t{9}, std::int16_t{0}}, false, true};
       column(t(d), "n").type.type = {std::string("dbo"), "ty", {}, {}, {}};
     }},
    {"type: default", ase125, [](Database& d) { d.types[0].defaultValue = {"dbo", "d"}; }},
    {"type: rule", ase125, [](Database& d) { d.types[0].rule = {"dbo", "ru"}; }},
    {"type: access rule", ase125, [](Database& d) { d.types[0].accessRule = {"dbo", "acc"}; }},
    {"user: name", ase125, [](Database& d) {
       d.users.push_back({"u x", "ll", {}, {}});
     }},
    {"user: login", ase125, [](Database& d) { user(d, "eva").login = "other"; }},
    {"user: group", ase125, [](Database& d) { user(d, "eva").group = "staff"; }},
    {"user: roles", ase125, [](Database& d) { user(d, "eva").roles = {"r", "s"}; }},
    {"alias: login", ase125, [](Database& d) { d.aliases[0].login = "o'hara"; }},
    {"alias: user", ase125, [](Database& d) { d.aliases[0].user = "dbo"; }},
    {"group: name", ase125, [](Database& d) { d.groups[0].name = "order"; }},
    {"role: name", ase125, [](Database& d) {
       d.roles[0].name = "order by";
       user(d, "joe").roles = {"order by", "s"};
     }},
    {"role: roles", ase125, [](Database& d) { d.roles[0].roles = {"s"}; }},
    {"encryption key: name", ase15, [](Database& d) { d.encryptionKeys[1].name = {"joe", "k 2"}; }},
    {"encryption key: kind", ase15, [](Database& d) { d.encryptionKeys[1].kind = "default"; }},
    {"encryption key: key length", ase15, [](Database& d) { d.encryptionKeys[1].length = 256; }},
    {"encryption key: random initial vector", ase15,
     [](Database& d) { d.encryptionKeys[1].randomVector = false; }},
    {"encryption key: random padding", ase15,
     [](Database& d) { d.encryptionKeys[1].randomPadding = true; }},
    {"message: number", ase125, [](Database& d) {
       d.messages[0].number = 20005;
     }},
    {"message: language", ase125,
     [](Database& d) { d.messages.push_back({20001, "german", "eins"}); }},
    {"message: text", ase125, [](Database& d) { d.messages[0].text = "it's %1!"; }},
};

const std::map<std::string, std::string> kExceptions{
    {"database > threshold: last chance", "the server makes it"},
    {"database > permission: columns", "system tables have no columns among the records"},
    {"database > permission: condition", "of tables only"},
    {"database > permission: grant option", "rights to create objects have none"},
    {"database > permission: granted by", "the owner of the database grants them"},
    {"table: rows", "rows are no declaration"},
    {"table > constraint: compression", "an option of create index"},
    {"table > constraint: latch free", "an option of create index"},
    {"table > constraint: message", "checks and foreign keys have messages"},
    {"table > constraint > partition: name", "an option of create index"},
    {"table > constraint > partition: bound", "an option of create index"},
    {"table > constraint > partition: segment", "an option of create index"},
    {"function: language", "classes of Java are not in scripts"},
    {"table > constraint: local", "an option of create index"},
    {"table > index > partition: bound", "it is that of the table"},
    {"table > logical key: other columns", "those of the other table's primary key"},
    {"table > permission: condition", "where the server keeps it is not published"},
    {"encryption key: algorithm", "there is one"},
    {"encryption key: password", "passwords are not known"},
    {"encryption key: dual control", "it takes a master key, whose password is not known"},
    {"encryption key: copies", "they have passwords"},
    {"procedure > parameter: output", "follows from the definition"},
};

Database declared(Release release) {
  std::string script(kDeclared);
  if (release != ase125) script += kDeclaredLater;
  return databaseOf(script, release);
}

class EachSetting : public ::testing::TestWithParam<Setting> {};

void PrintTo(const Setting& setting, std::ostream* out) { *out << setting.attribute; }

TEST_P(EachSetting, ComesBack) {
  const Setting& setting = GetParam();
  onReleases(setting.since, [&](Release release) {
    const Database before = declared(release);
    Database database = before;
    setting.set(database);
    EXPECT_NE(lines(compare(before, database, everything())), Lines()) << "nothing was set";
    expectSame(database, release, setting.attribute);
  });
}

INSTANTIATE_TEST_SUITE_P(All, EachSetting, ::testing::ValuesIn(kSettings));

TEST(Attributes, EachIsSetOrIsAnException) {
  const std::set<std::string> all = allAttributes();
  std::set<std::string> known;
  for (const Setting& setting : kSettings) {
    EXPECT_TRUE(all.contains(setting.attribute)) << setting.attribute;
    known.insert(setting.attribute);
  }
  for (const auto& [attribute, reason] : kExceptions) known.insert(attribute);
  // What tables have alike with others is shown with tables.
  for (const std::string& attribute : all) {
    const std::size_t parent = attribute.find(" > ");
    const bool isOfTable =
        parent != std::string::npos && known.contains("table" + attribute.substr(parent));
    EXPECT_TRUE(known.contains(attribute) || isOfTable) << attribute;
  }
}

}  // namespace
}  // namespace kelvane::inventory
