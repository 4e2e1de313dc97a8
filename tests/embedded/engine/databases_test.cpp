// Several databases in one catalog: names across them, users, and what each of them keeps apart.

#include <gtest/gtest.h>

#include "tests/embedded/engine/probe.h"

namespace kelvane::embedded {
namespace {

constexpr std::string_view kShop = R"(
create database stock
go
use stock
go
sp_addlogin ann, secret
go
sp_adduser ann, anna
go
create table goods (id int not null primary key, name varchar(20) null, price money null)
go
insert goods values (1, 'bolt', 2)
insert goods values (2, 'nut', 3)
go
create view cheap as select id, name from goods where price < 3
go
create procedure count_goods @least int as select count(*), db_name(), user_name() from goods where id >= @least
go
create table log (what varchar(30))
go
create trigger goods_changed on goods for insert, update as insert log select name from inserted
go
create database shop
go
use shop
go
sp_adduser guy
go
sp_adduser ann
go
create table orders (id int, good int null references stock..goods (id))
go
create view wanted as select o.id, g.name from orders o, stock..goods g where o.good = g.id
go
create table goods (id int, other int)
go
insert orders values (7, 2)
go
)";

TEST(Databases, NamesLeadToTheirObjects) {
  Probe probe(kShop);
  EXPECT_EQ(probe.rows("select db_name()"), "shop\n");
  EXPECT_EQ(probe.rows("select * from wanted"), "7 | nut\n");
  EXPECT_EQ(probe.rows("select * from stock..cheap"), "1 | bolt\n");
  EXPECT_EQ(probe.rows("select * from stock.dbo.cheap"), "1 | bolt\n");
  EXPECT_EQ(probe.rows("select (select count(*) from goods), (select count(*) from stock..goods)"),
            "0 | 2\n");
  EXPECT_EQ(probe.rows("exec stock..count_goods 2"), "1 | stock | dbo\n");
  EXPECT_EQ(probe.rows("select db_name()"), "shop\n");
  EXPECT_EQ(probe.refusal("exec count_goods 2").substr(0, 5), "2812:");
  EXPECT_EQ(probe.refusal("select * from main..goods").substr(0, 4), "208:");
  EXPECT_EQ(probe.refusal("select * from nosuch..goods"),
            "911: Attempt to locate entry in sysdatabases for database 'nosuch' by name failed - "
            "no entry found under that name. Make sure that name is entered properly.\n");
  probe.ask("use stock");
  EXPECT_EQ(probe.rows("select name from goods order by id"), "bolt\nnut\n");
  EXPECT_EQ(probe.rows("select object_name(id), name from shop..syscolumns "
                       "where id = object_id('shop..orders')"),
            "- | id\n- | good\n");
}

TEST(Databases, SystemTablesAreEachOnesOwn) {
  Probe probe(kShop);
  constexpr std::string_view kNames =
      "select name from sysobjects where type in ('U', 'V', 'P', 'TR') order by name";
  EXPECT_EQ(probe.rows(kNames), "goods\norders\nwanted\n");
  EXPECT_EQ(probe.rows("select name from stock..sysobjects where type in ('U', 'V', 'P', 'TR') "
                       "order by name"),
            "cheap\ncount_goods\ngoods\ngoods_changed\nlog\n");
  EXPECT_EQ(probe.rows("select a.name, b.name from sysusers a, stock..sysusers b "
                       "where a.suid = b.suid and a.suid > 0 order by 1"),
            "ann | anna\ndbo | dbo\n");
  EXPECT_EQ(probe.rows("select count(*) from tempdb..sysobjects where type = 'U'"), "0\n");
  EXPECT_EQ(probe.rows("select name, status2, status3 from master..sysdatabases"
                       " where dbid in (2, 6, 7) order by dbid"),
            "tempdb | 0 | 0\nstock | 0 | 0\nshop | 0 | 0\n");
  probe.ask("create table tempdb..scratch (a int) insert tempdb..scratch values (5)");
  EXPECT_EQ(probe.rows("select * from tempdb..scratch"), "5\n");
}

TEST(Databases, WritingReachesOverThem) {
  Probe probe(kShop);
  EXPECT_EQ(probe.refusal("insert orders values (8, 99)").substr(0, 4), "546:");
  probe.ask("insert orders values (8, null)");
  EXPECT_EQ(probe.rows("select count(*) from orders"), "2\n");
  // The trigger works in the database of its table.
  probe.ask("insert stock..goods values (3, 'gear', 9)");
  EXPECT_EQ(probe.rows("select what from stock..log"), "gear\n");
  probe.ask("update stock..goods set price = 1 where name = 'nut'");
  probe.ask("delete stock..goods where id = 3");
  EXPECT_EQ(probe.rows("select id, name from stock..cheap order by id"), "1 | bolt\n2 | nut\n");
}

TEST(Databases, ColumnsAreThoseOfTheTableThatTheirPrefixNames) {
  Probe probe(
      "create database a\ncreate table a..t (k int, c int, only_a int null)\n"
      "insert a..t values (1, 10, null) insert a..t values (2, 11, null)\ngo\n"
      "create database b\ngo\nuse b\ngo\ncreate table t (k int, c int)\n"
      "insert t values (1, 20)\ngo\n");
  EXPECT_EQ(probe.rows("select a..t.c, b..t.c, t.c from a..t, t where a..t.k = b..t.k"),
            "10 | 20 | 20\n");
  EXPECT_EQ(probe.rows("select a.dbo.t.only_a from b..t, a..t where a..t.k = b..t.k"), "-\n");
  probe.ask("update a..t set c = 99 from a..t, b..t where a..t.k = b..t.k");
  EXPECT_EQ(probe.rows("select k, c from a..t order by k"), "1 | 99\n2 | 11\n");
  probe.ask("delete a..t from a..t, b..t where a..t.k = b..t.k");
  EXPECT_EQ(probe.rows("select k from a..t"), "2\n");
}

TEST(Databases, KeysHoldRowsOfOthers) {
  Probe probe(kShop);
  EXPECT_EQ(probe.refusal("delete stock..goods where id = 2").substr(0, 4), "547:");
  EXPECT_EQ(probe.refusal("drop table stock..goods").substr(0, 5), "3712:");
  probe.ask("delete orders");
  probe.ask("delete stock..goods where id = 2");
  EXPECT_EQ(probe.rows("select count(*) from stock..goods"), "1\n");
}

TEST(Databases, SharedProceduresRunWhereTheyAreCalled) {
  Probe probe(
      "use sybsystemprocs\ngo\ncreate procedure sp_where as select db_name()\ngo\n"
      "create procedure other as select 1\ngo\ncreate database app\ngo\nuse app\ngo\n");
  EXPECT_EQ(probe.rows("exec sp_where"), "app\n");
  EXPECT_EQ(probe.rows("exec sybsystemprocs..sp_where"), "sybsystemprocs\n");
  EXPECT_EQ(probe.refusal("exec other").substr(0, 5), "2812:");
}

TEST(Databases, DefinitionsMayNameAnother) {
  Probe probe(kShop);
  EXPECT_EQ(probe.ask("create table stock..boxes (id int not null)"), "(closed)\n");
  EXPECT_EQ(probe.ask("alter table stock..boxes add size int null"), "(closed)\n");
  EXPECT_EQ(probe.ask("create index by_size on stock..boxes (size)"), "(closed)\n");
  EXPECT_EQ(probe.rows("select o.name, i.name from stock..sysobjects o, stock..sysindexes i "
                       "where o.id = i.id and o.name = 'boxes' order by indid"),
            "boxes | boxes\nboxes | by_size\n");
  EXPECT_EQ(probe.rows("select name from sysobjects where name = 'boxes'"), "");
  EXPECT_EQ(probe.ask("drop table stock..boxes"), "(closed)\n");
  EXPECT_EQ(probe.refusal("create view stock..v as select 1 as a").substr(0, 4), "166:");
  EXPECT_EQ(probe.refusal("create trigger g on stock..goods for insert as print 'x'"),
            "0: A trigger must be created in the database of its table, 'stock'.\n");
  probe.ask("select id into stock..copies from stock..goods");
  EXPECT_EQ(probe.rows("select id from stock..copies order by id"), "1\n2\n");
  probe.ask("exec stock..sp_addtype zip, 'char(5)'");
  EXPECT_EQ(probe.rows("select name from stock..systypes where usertype > 100"), "zip\n");
  EXPECT_EQ(probe.rows("select count(*) from systypes where usertype > 100"), "0\n");
}

TEST(Databases, UsersHaveTheirOwnNumbers) {
  Probe probe(kShop);
  probe.ask("setuser 'ann'");
  EXPECT_EQ(probe.rows("select user_name()"), "ann\n");
  EXPECT_EQ(probe.rows("exec stock..count_goods 1"), "2 | stock | anna\n");
  EXPECT_EQ(probe.rows("select user_name()"), "ann\n");
}

TEST(Databases, GoWithAllThatTheyHave) {
  Probe probe(kShop);
  EXPECT_EQ(probe.refusal("drop database shop").substr(0, 5), "3702:");
  probe.ask("begin tran drop database stock rollback");
  EXPECT_EQ(probe.rows("select count(*) from stock..goods"), "2\n");
  probe.ask("drop database stock");
  EXPECT_EQ(probe.refusal("select * from stock..goods").substr(0, 4), "911:");
  probe.ask("create database stock");
  EXPECT_EQ(probe.rows("select count(*) from stock..sysobjects where type = 'U'"), "0\n");
}

TEST(Databases, ViewsOverUnknownOnesAreKept) {
  EmbeddedCatalog catalog;
  const LoadReport report = loadScript(catalog, "a.sql", R"(use vue
go
create view v as select * from cfg..t
go
create view w (a) as select x from v
go
create view known as select name from sysobjects
go
)");
  EXPECT_TRUE(report.succeeded());
  ASSERT_EQ(report.incomplete.size(), 2U);
  EXPECT_EQ(report.incomplete[0].view, "dbo.v");
  EXPECT_EQ(report.incomplete[0].note.describe(),
            "a.sql:3: view 'v' is kept, but its columns are not known: it uses database 'cfg', "
            "which was not there yet (near \"create view v as select * from cfg..t\")");
  EXPECT_EQ(report.incomplete[1].view, "dbo.w");
  EXPECT_EQ(catalog.databases(), std::vector<std::string>{"vue"});
}

TEST(Databases, ViewsAreCompletedWhenTheirDatabaseComesLater) {
  Probe probe;
  const LoadReport report = loadScript(probe.catalog, "a.sql", R"(sp_addlogin ann, secret
go
use vue
go
sp_adduser ann
go
-- first
create view v as select * from cfg..t
go
grant select on v to public
go
setuser 'ann'
go
create view w (a) as select x + 1 from dbo.v
go
setuser
go
create view lost as select * from cfg..nothing
go
create view gone as select * from cfg..t
go
drop view gone
go
use cfg
go
create table t (x int, y varchar(9) null)
insert t values (1, 'one')
go
)");
  EXPECT_TRUE(report.succeeded());
  ASSERT_EQ(report.incomplete.size(), 1U);
  EXPECT_EQ(report.incomplete[0].view, "dbo.lost");
  probe.catalog.useDatabase("vue");
  probe.connection = probe.catalog.connect();
  EXPECT_EQ(probe.rows("select user_name(o.uid), o.name, c.name from sysobjects o, syscolumns c "
                       "where o.id = c.id and o.type = 'V' order by 1, 2, colid"),
            "ann | w | a\ndbo | v | x\ndbo | v | y\n");
  EXPECT_EQ(probe.rows("select * from v select * from ann.w"), "1 | one\na\n2\n");
  EXPECT_EQ(probe.rows("select text from syscomments where id = object_id('v')"),
            "-- first\n/* Adaptive Server has expanded all '*' elements in the following statement "
            "*/ create view v as select t.x, t.y from cfg..t\n\n");
  EXPECT_EQ(probe.rows("select count(*) from sysprotects where id = object_id('v')"), "1\n");
}

TEST(Databases, GetOtherNames) {
  Probe probe(kShop);
  probe.ask("create database lone create table lone..t (a int) insert lone..t values (3)");
  const std::pair<const char*, const char*> refused[] = {{"sp_renamedb nosuch, other", "17590"},
                                                         {"sp_renamedb master, other", "17793"},
                                                         {"sp_renamedb lone, other", "17792"},
                                                         {"sp_renamedb lone, shop", "17791"}};
  for (const auto& [sql, number] : refused) {
    EXPECT_TRUE(probe.refusal(sql).starts_with(number)) << probe.refusal(sql);
  }
  probe.ask("sp_dboption stock, 'single user', true");
  EXPECT_EQ(probe.refusal("sp_renamedb stock, store").substr(0, 5), "17794");
  probe.ask("sp_dboption lone, 'single user', true");
  probe.ask("select a from lone..t");
  probe.ask("sp_renamedb lone, other");
  EXPECT_EQ(probe.rows("select a from other..t"), "3\n");
  EXPECT_EQ(probe.refusal("select a from lone..t").substr(0, 4), "911:");
  EXPECT_EQ(probe.rows("select name from master..sysdatabases where name in ('lone', 'other')"),
            "other\n");
  // Its own name, for the session that is in it.
  probe.ask("use other");
  probe.ask("sp_renamedb other, third create table u (b int)");
  EXPECT_EQ(probe.rows("select db_name(), (select count(*) from third..sysobjects "
                       "where type = 'U')"),
            "third | 2\n");
  probe.ask("create database lone use lone");
  EXPECT_EQ(probe.rows("select count(*) from sysobjects where type = 'U'"), "0\n");
}

TEST(Databases, RollbackForgetsNewOnes) {
  Probe probe(kShop);
  probe.ask(
      "begin tran create database extra exec sp_dboption extra, 'ddl in tran', true"
      " create table extra..t (a int) rollback");
  EXPECT_EQ(probe.refusal("select * from extra..t").substr(0, 4), "911:");
  probe.ask("create database extra");
  EXPECT_EQ(probe.rows("select count(*) from extra..sysobjects where type = 'U'"), "0\n");
  EXPECT_EQ(probe.rows("select count(*) from extra..sysusers where name = 'dbo'"), "1\n");
}

TEST(CatalogColumns, HoldNamesOfTheRelease) {
  for (const Release release : {Release::ase125, Release::ase15, Release::ase16}) {
    CatalogOptions options;
    options.release = release;
    Probe probe({}, options);
    const std::string width = release == Release::ase125 ? "30" : "255";
    probe.ask("select name into n from sysobjects where 1 = 2");
    EXPECT_EQ(probe.rows("select col_length('sysobjects', 'name'), col_length('n', 'name'),"
                         " length from systypes where name = 'sysname'"),
              width + " | " + width + " | 30\n");
  }
}

TEST(CatalogColumns, AreThoseOfTheRelease) {
  struct {
    Release release;
    std::string_view later, only12;
  } constexpr kCases[] = {
      {Release::ase125, "", "controlpage\n"},
      {Release::ase15, "computedcol\nconditionid\npartitionid\nsysstat3\n", ""},
      {Release::ase16, "computedcol\nconditionid\npartitionid\nsysstat3\n", ""}};
  for (const auto& one : kCases) {
    CatalogOptions options;
    options.release = one.release;
    Probe probe("create table t (a int)", options);
    EXPECT_EQ(probe.rows("select c.name from syscolumns c, sysobjects o where c.id = o.id and "
                         "(o.name = 'syscolumns' and c.name = 'computedcol' or "
                         "o.name = 'sysindexes' and c.name = 'conditionid' or "
                         "o.name = 'sysobjects' and c.name = 'sysstat3' or "
                         "o.name = 'syscomments' and c.name = 'partitionid') order by c.name"),
              one.later);
    EXPECT_EQ(probe.rows("select c.name from syscolumns c, sysobjects o where c.id = o.id and "
                         "o.name = 'syspartitions' and c.name = 'controlpage'"),
              one.only12);
    const bool isLater = !one.later.empty();
    EXPECT_EQ(probe.refusal("select computedcol from syscolumns").starts_with("207:"), !isLater);
    EXPECT_EQ(probe.refusal("select 1 from syspartitionkeys").starts_with("208:"), !isLater);
  }
}

TEST(Databases, ProcedureNamesInVariables) {
  Probe probe(kShop);
  const auto call = [&](const std::string& name, const std::string& arguments) {
    return probe.rows("declare @p varchar(60) select @p = '" + name + "' exec @p " + arguments);
  };
  EXPECT_EQ(call("stock..count_goods", "2"), "1 | stock | dbo\n");
  EXPECT_EQ(call("stock.dbo.count_goods", "2"), "1 | stock | dbo\n");
  EXPECT_EQ(call("stock..sp_helpindex", "goods"), probe.rows("exec stock..sp_helpindex goods"));
  EXPECT_NE(call("stock..sp_addtype", "code, int").substr(0, 5), "error");
  EXPECT_EQ(probe.rows("select count(*) from stock..systypes where name = 'code'"), "1\n");
  EXPECT_EQ(call("a.b.c.d", "2").substr(0, 12), "error 2812: ");
  EXPECT_EQ(call("nosuch", "2").substr(0, 12), "error 2812: ");
}

// Scripts ask them what there is before they make it.
TEST(Databases, TablesOfMasterThatAreEmpty) {
  for (const Release release : {Release::ase125, Release::ase15, Release::ase16}) {
    CatalogOptions options;
    options.release = release;
    Probe probe("create table t (a int)", options);
    for (const char* table :
         {"sysprocesses", "sysdevices", "sysusages", "sysconfigures", "sysmessages", "syscharsets",
          "syslanguages", "syslocks", "sysremotelogins"}) {
      const std::string name = table;
      EXPECT_EQ(probe.rows("select count(*) from master.." + name), "0\n");
      EXPECT_EQ(probe.refusal("select * from " + name).substr(0, 4), "208:");
    }
    EXPECT_EQ(probe.rows("if not exists (select 1 from master..sysdevices where name = 'd1')"
                         " select 'new'"),
              "new\n");
  }
}

TEST(Databases, TheServersFunctionsNameWhatTheyAreAskedFor) {
  Probe probe(kShop);
  EXPECT_EQ(probe.rows("select object_name(reftabid, db_id('stock')), object_name(reftabid, "
                       "db_id('shop')), col_name(reftabid, refkey1, db_id('stock')), "
                       "col_name(tableid, fokey1, db_id()) from sysreferences"),
            "goods | - | id | good\n");
}

TEST(Databases, AnIndexIsThatOfTheGivenOwner) {
  Probe probe(
      "sp_addlogin joe, secret\ngo\nsp_adduser joe\ngo\n"
      "create table t (a int null, b int null)\ncreate index i on t (a)\n"
      "create table joe.t (z int null, y int null)\ncreate index i on joe.t (z, y desc)\ngo\n");
  EXPECT_EQ(probe.rows("select index_col(o.name, i.indid, 1, o.uid), index_col(o.name, i.indid, 2, "
                       "o.uid), index_colorder(o.name, i.indid, 2, o.uid) from sysindexes i, "
                       "sysobjects o where o.id = i.id and i.name = 'i' order by o.uid"),
            "a | - | -\nz | y | DESC\n");
}

// Only of databases that a script makes is it known which options they have.
TEST(Databases, DefinitionsInTransactionsAreAnOption) {
  struct Case {
    const char* script;
    std::vector<std::string> refusals;
  };
  const std::string refused =
      " command is not allowed within a multi-statement transaction in the 'shop' database.";
  for (const Case& one : std::vector<Case>{
           {"create database shop\ngo\nuse shop\ngo\nbegin tran\ngo\ncreate table t (a int)\ngo\n"
            "create view v as select 1 as a\ngo\ngrant create table to public\ngo\n"
            "drop table t\ngo\ncommit\n",
            {"'CREATE TABLE'", "'CREATE VIEW'", "'GRANT'", "'DROP TABLE'"}},
           {"create database shop\ngo\nuse shop\ngo\ncreate table t (a int)\ngo\n"
            "begin tran create table #t (a int) alter table #t add b int null drop table #t "
            "commit\n",
            {}},
           {"create database shop\ngo\nexec sp_dboption shop, 'ddl in tran', true\ngo\n"
            "use shop\ngo\nbegin tran create table t (a int) commit\n",
            {}},
           {"use shop\ngo\nbegin tran create table t (a int) commit\n", {}},
       }) {
    EmbeddedCatalog catalog;
    LoadOptions options;
    options.stopAtFirstError = false;
    const LoadReport report = loadScript(catalog, "a.sql", one.script, options);
    ASSERT_EQ(report.errors.size(), one.refusals.size()) << one.script;
    for (std::size_t i = 0; i < one.refusals.size(); ++i) {
      EXPECT_EQ(report.errors[i].number, 2762);
      EXPECT_EQ(report.errors[i].text, "The " + one.refusals[i] + refused);
    }
  }
}

TEST(Transactions, ANameInAnUnknownVariableIsRefused) {
  Probe probe;
  for (const char* statement : {"commit tran @x", "rollback tran @x", "begin tran commit tran @x"})
    EXPECT_EQ(probe.refusal(statement), "137: Must declare variable '@x'.\n") << statement;
  EXPECT_EQ(probe.ask("declare @x varchar(9) select @x = 'a' begin tran @x commit tran @x"),
            "(closed)\n");
}

}  // namespace
}  // namespace kelvane::embedded
