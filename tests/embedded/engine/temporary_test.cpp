// Temporary tables as tables: what tempdb tells of them, how they change, what a rollback does.

#include <gtest/gtest.h>

#include "drivers/embedded/script.h"
#include "model/text.h"
#include "tests/embedded/engine/probe.h"

namespace kelvane::embedded {
namespace {

TEST(Temporary, TempdbKnowsThem) {
  Probe probe;
  EXPECT_EQ(probe.rows("select count(*) from tempdb..sysobjects where type = 'U'"), "0\n");
  probe.ask(
      "create table #orders (id numeric(6) identity, note varchar(20) null,"
      " constraint pk primary key (id)) create index notes on #orders (note desc)");
  EXPECT_EQ(probe.rows("select substring(name, 1, 13), char_length(name), type, uid"
                       " from tempdb..sysobjects where name like '#orders%'"),
            "#orders______ | 30 | U  | 1\n");
  EXPECT_EQ(probe.rows("select name, colid, length, prec, status from tempdb..syscolumns"
                       " where id = object_id('tempdb..#orders') order by colid"),
            "id | 1 | 4 | 6 | 128\nnote | 2 | 20 | - | 8\n");
  EXPECT_EQ(probe.rows("select case indid when 0 then '-' else name end, indid, status, keycnt"
                       " from tempdb..sysindexes where id = object_id('tempdb..#orders')"
                       " order by indid"),
            "- | 0 | 0 | 0\npk | 2 | 2 | 1\nnotes | 3 | 0 | 1\n");
  EXPECT_EQ(probe.rows("if exists (select 1 from tempdb..sysobjects where name like '#orders%')"
                       " drop table #orders select count(*) from tempdb..sysobjects"
                       " where type = 'U'"),
            "0\n");
}

TEST(Temporary, TempdbKnowsTheirDefaultsAndChecks) {
  Probe probe;
  probe.ask(
      "create table #t (a int default 5 check (a > 0), b int null, constraint low check (b < 9))");
  const char* declared =
      "select o.type, c.text, p.status from tempdb..sysobjects o, tempdb..syscomments c,"
      " tempdb..sysprocedures p where o.id = c.id and o.id = p.id order by c.text";
  EXPECT_EQ(probe.rows(declared),
            "D  | DEFAULT 5 | 4096\nR  | check (a > 0) | 4096\nR  | check (b < 9) | 4096\n");
  EXPECT_EQ(probe.rows("select c.name, m.text from tempdb..syscolumns c, tempdb..syscomments m"
                       " where c.cdefault = m.id"),
            "a | DEFAULT 5\n");
  EXPECT_EQ(probe.rows("select o.name, x.status, case when x.tableid = object_id('tempdb..#t')"
                       " then 't' end from tempdb..sysconstraints x, tempdb..sysobjects o"
                       " where o.id = x.constrid and o.name = 'low'"),
            "low | 128 | t\n");
  probe.ask("alter table #t drop constraint low alter table #t replace a default 6");
  EXPECT_EQ(probe.rows(declared), "D  | DEFAULT 6 | 4096\nR  | check (a > 0) | 4096\n");
  probe.ask("drop table #t");
  EXPECT_EQ(probe.rows("select count(*) from tempdb..sysobjects where type <> 'S'"), "0\n");
  EXPECT_EQ(probe.rows("select count(*) from tempdb..syscomments"), "0\n");
  EXPECT_EQ(probe.rows("select count(*) from tempdb..sysconstraints"), "0\n");
}

TEST(Temporary, EachSessionHasItsOwn) {
  EmbeddedCatalog catalog;
  const auto one = catalog.connect();
  one->Open(u"create table #t (a int)", {});
  {
    const auto other = catalog.connect();
    other->Open(u"create table #t (b int)", {});
    const auto rows =
        one->Open(u"select count(distinct name) from tempdb..sysobjects where name like '#t%'", {});
    EXPECT_EQ(toUtf8(rows->Fields(0).Value().toText()), "2");
  }
  const auto rows = one->Open(
      u"select c.name from tempdb..syscolumns c, tempdb..sysobjects o"
      u" where o.id = c.id and o.type = 'U'",
      {});
  EXPECT_EQ(toUtf8(rows->Fields(0).Value().toText()), "a");
}

struct Altered {
  const char* change;
  const char* columns;
  const char* rows;
};

TEST(Temporary, AreAltered) {
  for (const Altered& altered : {
           Altered{"add d int null", "a, b, c, d", "1 | x | 1.5 | -\n2 | y | 2.5 | -\n"},
           Altered{"add d int default 7", "a, b, c, d", "1 | x | 1.5 | 7\n2 | y | 2.5 | 7\n"},
           Altered{"add d numeric(5) identity", "a, b, c, d", "1 | x | 1.5 | 1\n2 | y | 2.5 | 2\n"},
           Altered{"add d as a * 10", "a, b, c, d", "1 | x | 1.5 | 10\n2 | y | 2.5 | 20\n"},
           Altered{"drop b", "a, c", "1 | 1.5\n2 | 2.5\n"},
           Altered{"modify a varchar(9) null", "a, b, c", "1 | x | 1.5\n2 | y | 2.5\n"},
           Altered{"modify c int", "a, b, c", "1 | x | 1\n2 | y | 2\n"},
           Altered{"add d int null, e int null", "a, b, c, d, e",
                   "1 | x | 1.5 | - | -\n2 | y | 2.5 | - | -\n"},
       }) {
    Probe probe;
    probe.ask(
        "create table #t (a int, b char(1) null, c numeric(5, 1))"
        " insert #t values (1, 'x', 1.5) insert #t values (2, 'y', 2.5)");
    EXPECT_EQ(probe.ask(std::string("alter table #t ") + altered.change), "(closed)\n")
        << altered.change;
    EXPECT_EQ(probe.rows("select * from #t order by 1"), altered.rows) << altered.change;
    std::string listed;
    for (std::string names = probe.rows("select name from tempdb..syscolumns"
                                        " where id = object_id('tempdb..#t') order by colid");
         !names.empty(); names.erase(0, names.find('\n') + 1)) {
      listed += (listed.empty() ? "" : ", ") + names.substr(0, names.find('\n'));
    }
    EXPECT_EQ(listed, altered.columns) << altered.change;
  }
}

TEST(Temporary, ConstraintsAreAltered) {
  Probe probe;
  probe.ask(
      "create table #t (a int, b int null, constraint u unique (a),"
      " constraint positive check (b > 0))");
  EXPECT_EQ(probe.refusal("alter table #t drop a").substr(0, 4), "4922");
  EXPECT_EQ(probe.refusal("alter table #t drop b").substr(0, 4), "4922");
  EXPECT_EQ(probe.refusal("alter table #t drop z").substr(0, 4), "4924");
  EXPECT_EQ(probe.refusal("alter table #t add a int null").substr(0, 4), "2705");
  EXPECT_EQ(probe.refusal("alter table #t add z int").substr(0, 4), "4997");
  EXPECT_EQ(probe.refusal("alter table #t drop constraint z").substr(0, 4), "3728");
  EXPECT_EQ(probe.refusal("alter table #missing drop a").substr(0, 3), "208");
  // Other columns change, the constraints stay.
  probe.ask("alter table #t add c int null");
  probe.ask("insert #t values (1, 1, 1)");
  EXPECT_EQ(probe.refusal("insert #t values (1, 2, 2)").substr(0, 4), "2601");
  EXPECT_EQ(probe.refusal("insert #t values (2, -2, 2)").substr(0, 3), "548");
  probe.ask("alter table #t drop constraint u");
  probe.ask("alter table #t drop constraint positive");
  EXPECT_EQ(probe.ask("insert #t values (1, -2, 2)"), "(closed)\n");
  // What fails leaves the table as it was.
  EXPECT_EQ(probe.refusal("alter table #t add constraint v unique (a)").substr(0, 4), "1505");
  EXPECT_EQ(probe.refusal("alter table #t modify b int not null, add d int").substr(0, 4), "4997");
  EXPECT_EQ(probe.rows("select * from #t order by b"), "1 | -2 | 2\n1 | 1 | 1\n");
  EXPECT_EQ(probe.ask("alter table #t replace b default 5"), "(closed)\n");
  probe.ask("insert #t (a) values (9)");
  EXPECT_EQ(probe.rows("select b from #t where a = 9"), "5\n");
}

TEST(Temporary, ComputedColumnsAreComputed) {
  Probe probe;
  EXPECT_EQ(
      probe.ask("create table #t (a int, twice as a * 2, b varchar(5), both compute b + '!')"),
      "(closed)\n");
  probe.ask("insert #t values (3, 'x') update #t set a = 4");
  EXPECT_EQ(probe.rows("select * from #t where twice = 8"), "4 | 8 | x | x!\n");
  EXPECT_NE(probe.refusal("update #t set twice = 1"), "");
  EXPECT_EQ(probe.refusal("create view v as select twice from #t").substr(0, 4), "4508");
}

TEST(Temporary, RollbackBringsThemBack) {
  Probe probe;
  probe.ask("create table #t (a int) insert #t values (1) create unique index u on #t (a)");
  const auto state = [&] {
    return probe.rows("select * from #t") +
           probe.rows(
               "select count(*) from tempdb..syscolumns where id = object_id('tempdb..#t')") +
           probe.refusal("insert #t select a from #t").substr(0, 4);
  };
  const std::string before = state();
  EXPECT_EQ(before, "1\n1\n2601");
  for (const char* change :
       {"drop table #t", "drop table #t create table #t (z int)", "alter table #t add b int null",
        "alter table #t add b int null alter table #t drop b drop table #t", "drop index #t.u",
        "save tran s drop table #t rollback tran s"}) {
    probe.ask(std::string("begin tran ") + change + " rollback");
    EXPECT_EQ(state(), before) << change;
  }
  probe.ask("begin tran drop table #t commit");
  probe.ask("begin tran insert tempdb..sysobjects select 1 rollback");
  EXPECT_EQ(probe.refusal("select * from #t").substr(0, 3), "208");
}

TEST(Temporary, WhatTempdbKeepsIsNotADatabaseOfTheScript) {
  EmbeddedCatalog catalog;
  EXPECT_TRUE(loadScript(catalog, "a.sql",
                         "use shop\ngo\ncreate table t (a int) create table tempdb..x (a int)"
                         " create table #y (a int)\ngo\n")
                  .errors.empty());
  EXPECT_EQ(catalog.databases(), std::vector<std::string>{"shop"});
}

}  // namespace
}  // namespace kelvane::embedded
