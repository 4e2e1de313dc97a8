// What a release's grammar has, and where the effect of each statement can be read.

#include <gtest/gtest.h>

#include "tests/embedded/engine/probe.h"

namespace kelvane::embedded {
namespace {

/// Errors and, with `-v`, what was ignored: `error 17461` or the text of a note, a line each.
std::string told(std::string_view script, std::optional<Release> release = {}) {
  CatalogOptions options;
  options.release = release;
  EmbeddedCatalog catalog(options);
  std::string text;
  const LoadReport report =
      loadScript(catalog, "a.sql", script, {.stopAtFirstError = false, .listIgnored = true});
  for (const ScriptNote& error : report.errors) {
    text +=
        "error " + std::to_string(error.number) + " in line " + std::to_string(error.line) + "\n";
  }
  for (const ScriptNote& note : report.notes) text += note.text + "\n";
  return text;
}

TEST(Dialect, NamesInArgumentsMayBeQuoted) {
  constexpr std::string_view kScript = R"(
set quoted_identifier on
go
create procedure "P x" as select 1
go
create table "T.x" ("c d" int, e int)
go
create rule r as @a > 0
go
sp_rename '"P x"', '"P ""y"'
go
sp_bindrule r, '"T.x"."c d"'
go
sp_rename '"T.x".e', '"e f"'
go
sp_primarykey 'dbo."T.x"', '"e f"'
go
if object_id('main.dbo."P ""y"') is null raiserror 20001 'not found'
go
)";
  Probe probe(kScript);
  EXPECT_EQ(probe.rows("select c.name, o.name from syscolumns c, sysobjects o, sysobjects t"
                       " where c.id = t.id and t.name = 'T.x' and o.id =* c.domain"),
            "c d | r\ne f | -\n");
  EXPECT_EQ(probe.rows("select keycnt, key1 from syskeys"), "1 | 2\n");
  EXPECT_EQ(probe.rows("select object_id('\"T.x\"')"), "-\n");
  EXPECT_EQ(told(kScript, Release::ase125).substr(0, 22), "error 17461 in line 10");
}

TEST(Dialect, AViewIsPartOfABatch) {
  Probe probe(R"(
create table t (a int, b int)
-- the first
create view v as select * from t
grant select on v to public
/* the second */ create view w (x) as select a from v where a > 1
insert t values (2, 3)
if exists (select * from w) create view y as select 1 as one else create view n as select 2 as two
go
-- alone
create view z as select a from t
go
)");
  EXPECT_EQ(probe.rows("select c.text from syscomments c, sysobjects o where o.id = c.id"
                       " and o.name in ('w', 'z') order by o.name"),
            "create view w (x) as select a from v where a > 1\n"
            "-- alone\ncreate view z as select a from t\n\n");
  EXPECT_EQ(probe.rows("select name from sysobjects where type = 'V' order by name"),
            "v\nw\ny\nz\n");
  EXPECT_EQ(probe.rows("select object_name(id) from sysprotects"), "v\n");
}

TEST(Dialect, ReplacedObjectsStayWhatTheyWere) {
  constexpr std::string_view kScript = R"(create table t (a int check (a > 0), b int default 1)
go
create default d as 1
go
create rule r as @a > 0
go
create view v as select a from t
go
create procedure p @a int as select 1
go
create function f (@a int) returns int as return 1
go
create trigger g on t for insert as print 'one'
go
grant execute on p to public grant select on v to public
select name, id into before from sysobjects
go
create or replace default d as 2
go
create or replace rule r as @a > 2
go
create or replace view v as select a, b from t
go
create or replace procedure p @b int, @c int as select 2
go
create or replace function f (@b int) returns int as return 2
go
create or replace trigger g on t for update as print 'two'
go
)";
  Probe probe(kScript);
  EXPECT_EQ(probe.rows("select o.name from sysobjects o, before b where o.name = b.name and o.id !="
                       " b.id"),
            "");
  EXPECT_EQ(probe.rows("select object_name(id) from sysprotects order by 1"), "p\nv\n");
  EXPECT_EQ(probe.rows("select count(*) from syscolumns where id in (object_id('p'),"
                       " object_id('v'), object_id('f'))"),
            "5\n");
  EXPECT_EQ(probe.rows("select object_name(instrig), object_name(updtrig) from sysobjects"
                       " where name = 't'"),
            "- | g\n");
  EXPECT_EQ(probe.rows("select count(*) from syscomments where text like '%one%'"), "0\n");
  const std::string check =
      probe.rows("select name from sysobjects where type = 'R' and name != 'r'");
  EXPECT_EQ(probe.refusal("create or replace rule " + check + " as @a > 5").substr(0, 4), "2714");
  EXPECT_EQ(told("create procedure p as select 1\ngo\ncreate procedure p;2 as select 1\ngo\n"
                 "create or replace procedure p as select 2\ngo\n"
                 "create or replace procedure q;2 as select 2\n"),
            "error 0 in line 5\nerror 0 in line 7\n");
  for (const Release release : {Release::ase125, Release::ase15}) {
    EXPECT_EQ(told("create or replace view v as select 1 as a\n", release),
              "error 156 in line 1\n");
  }
}

TEST(Dialect, StringsOfNationalAndUnicodeCharacters) {
  Probe probe(R"(
create table d (a nvarchar(9) default N'x''y' null, b univarchar(9) default u&'\00fc' null)
insert d values (N'e', U&'\0065')
insert d (a) values (U&'\00e9' + N'a')
insert d values (u&'\\\+01d6d1\D835\DED1', U&"z")
go
create proc p @a nvarchar(9) = N'x' as select @a
go
)");
  EXPECT_EQ(probe.rows("select a, b from d"),
            "e | e\n\u00e9a | \u00fc\n\\\U0001d6d1\U0001d6d1 | z\n");
  EXPECT_EQ(probe.rows("exec p"), "x\n");
  EXPECT_EQ(probe.rows("exec p N'y'"), "y\n");
  EXPECT_EQ(probe.rows("exec p U&'\\0079'"), "y\n");
  EXPECT_EQ(probe.rows("exec p U&'\\007a'"), "z\n");
}

}  // namespace
}  // namespace kelvane::embedded
