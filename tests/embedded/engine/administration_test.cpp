// System privileges, proxy tables by `create table`, changes of computed columns.

#include <gtest/gtest.h>

#include "drivers/embedded/script.h"
#include "tests/embedded/engine/probe.h"

namespace kelvane::embedded {
namespace {

TEST(Privileges, OfTheSystemAreKept) {
  struct Case {
    const char* statement;
    const char* kept;
  };
  for (const Case& one : {
           Case{"grant manage any login to ann", "- | manage any login | 1\n"},
           Case{"grant select any table, kill to ann", "- | kill | 1\n- | select any table | 1\n"},
           Case{"grant dbcc checkdb to ann", "- | dbcc checkdb | 1\n"},
           Case{"grant dbcc checkdb, dbcc tablealloc on all to ann",
                "- | dbcc checkdb any database | 1\n- | dbcc tablealloc any database | 1\n"},
           Case{"grant set tracing to ann", "- | set tracing | 1\n"},
           Case{"grant identity_insert on t to ann", "t | identity_insert | 1\n"},
           Case{"grant identity_update on t to ann with grant option", "t | identity_update | 0\n"},
           Case{"grant dbcc checkdb to ann revoke dbcc checkdb from ann", ""},
       }) {
    Probe probe("exec sp_adduser ann\ngo\ncreate table t (a int)\n");
    probe.ask(one.statement);
    EXPECT_EQ(
        probe.rows("select isnull(object_name(p.id), '-'), v.name, p.protecttype"
                   " from sysprotects p, master..spt_values v"
                   " where v.number = p.action and v.type in ('T', 'GP') and p.uid = user_id('ann')"
                   " order by v.name"),
        one.kept)
        << one.statement;
  }
}

TEST(Privileges, OfDbccAreOfTheDatabaseThatIsNamed) {
  Probe probe("use shop\ngo\nexec sp_adduser ann\ngo\nuse other\ngo\n");
  probe.ask("grant dbcc checktable on shop to ann");
  EXPECT_EQ(probe.rows("select (select count(*) from shop..sysprotects),"
                       " (select count(*) from other..sysprotects)"),
            "1 | 0\n");
}

TEST(Privileges, UnknownOnesAreRefused) {
  Probe probe(
      "exec sp_adduser ann\ngo\ncreate table t (a int)\ngo\ncreate view v as select 1 as a\n");
  for (const char* refused :
       {"grant manage any colour to ann", "grant manage any login on t to ann",
        "grant identity_insert on v to ann", "grant dbcc tune on all to ann"})
    EXPECT_NE(probe.refusal(refused).substr(0, 8), "accepted") << refused;
  CatalogOptions options;
  options.release = Release::ase125;
  Probe old("exec sp_adduser ann\n", options);
  EXPECT_EQ(old.refusal("grant manage any login to ann").substr(0, 4), "156:");
}

TEST(Privileges, ThoseWithoutAPlaceAreTold) {
  EmbeddedCatalog catalog;
  const LoadReport report = loadScript(catalog, "a.sql",
                                       "grant default permissions on system tables\n"
                                       "revoke default permissions on system tables\n"
                                       "grant select on builtin set_appcontext to public\n",
                                       {.listIgnored = true});
  EXPECT_TRUE(report.errors.empty());
  EXPECT_EQ(report.notes.size(), 3U);
}

TEST(ProxyTables, AreCreatedByCreateTableToo) {
  Probe probe("create table t (a int) external table at 'far.db.dbo.t' create table u (a int)");
  EXPECT_EQ(probe.rows("select o.name, a.char_value, a.comments from sysobjects o, sysattributes a"
                       " where o.id = a.object and a.class = 9 and o.sysstat2 & 1024 != 0"),
            "t | far.db.dbo.t | table\n");
}

TEST(ComputedColumns, AreModified) {
  struct Case {
    const char* change;
    const char* state;
  };
  for (const Case& one : {
           Case{"modify c materialized", "48 | a + 1 | 56 | 5\n"},
           Case{"modify m not materialized", "16 | a + 1 | 56 | 5\n"},
           Case{"modify c as convert(varchar(9), a) + 'x'",
                "16 | convert(varchar(9), a) + 'x' | 39 | 4x\n"},
           Case{"modify c compute a * 2 materialized", "48 | a * 2 | 56 | 8\n"},
           Case{"modify m as a * 3", "16 | a + 1 | 56 | 5\n"},
       }) {
    Probe probe("create table t (a int, c as a + 1, m as a + 2 materialized) insert t values (4)");
    EXPECT_EQ(probe.ask(std::string("alter table t ") + one.change), "(closed)\n") << one.change;
    EXPECT_EQ(probe.rows("select c.status2, m.text, case c.type when 38 then 56 else c.type end,"
                         " (select c from t) from syscolumns c, syscomments m"
                         " where c.id = object_id('t') and c.name = 'c' and m.id = c.computedcol"),
              one.state)
        << one.change;
    const bool isStored = std::string_view(one.change).find("modify m not") == std::string::npos;
    EXPECT_EQ(probe.rows("select status2 & 32 from syscolumns where name = 'm'"),
              isStored ? "32\n" : "0\n");
  }
  Probe probe("create table t (a int, c as a + 1)");
  for (const char* refused :
       {"modify c int", "modify a as 7", "modify c as z + 1", "modify c as getdate() materialized"})
    EXPECT_NE(probe.refusal(std::string("alter table t ") + refused).substr(0, 8), "accepted")
        << refused;
}

}  // namespace
}  // namespace kelvane::embedded
