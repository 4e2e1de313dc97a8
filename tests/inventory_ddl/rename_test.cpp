// What was renamed is created by the text that the server keeps, and gets its name again.
#include <gtest/gtest.h>

#include "inventory/ddl/former_names.h"
#include "tests/inventory_ddl/round_trip.h"

namespace kelvane::inventory {
namespace {

struct Case {
  std::string_view about;
  std::string_view script;
  Release since = Release::ase125;
};

constexpr Case kCases[] = {
    {"each kind that has a text",
     "create table t (a int null)\n"
     "create procedure p1 as select 1\nsp_rename p1, p2\n"
     "create view v1 as select a from t\nsp_rename v1, v2\n"
     "create trigger tr1 on t for insert as select 1\nsp_rename tr1, tr2\n"
     "alter table t disable trigger tr2\ngrant execute on p2 to public\n"
     "create rule r1 as @x > 1\nsp_rename r1, r2\nsp_bindrule r2, 't.a'\n"
     "create default d1 as 1\nsp_rename d1, d2\nsp_bindefault d2, 't.a'\n"},
    {"functions that tables call",
     "create function f1 (@a int) returns int as begin return @a end\nsp_rename f1, f2\n"
     "create table t (a int null, b as dbo.f2(a))\n",
     Release::ase15},
    {"views over what was renamed, before and behind",
     "create table t (a int null)\ncreate view v1 as select a from t\n"
     "create view a as select v1.a from v1\nsp_rename v1, v2\n"
     "create view b as select a from v2\ncreate view c as select b.a from b\n"},
    {"the old name has a new owner",
     "create procedure p1 as select 1\nsp_rename p1, p2\ncreate procedure p1 as select 2\n"
     "create procedure zz as exec p1 exec p2\n"},
    {"names that were swapped, twice",
     "create procedure a as select 1\ncreate procedure b as select 2\n"
     "create procedure c as select 3\ncreate procedure moved_aside_1 as select 4\n"
     "sp_rename a, x\nsp_rename b, a\nsp_rename c, b\nsp_rename x, c\n"},
    {"procedures of a group, of which one came later",
     "create procedure p as select 1\ncreate procedure p;2 as select 2\nsp_rename p, q\n"
     "create procedure q;3 as select 3\ncreate procedure p as select 4\n"},
    {"a table that its trigger knows by another name",
     "create table t1 (a int null, b int null)\n"
     "create trigger tr on t1 for insert as select b from t1\n"
     "create view v as select a from t1\nsp_rename t1, t2\n"
     "create trigger tu on t2 for update as select b from t2\n"
     "create view w as select b from t2\n"},
    {"tables that swapped their names",
     "create table t1 (a int null)\ncreate table t2 (b int null)\n"
     "create trigger a on t1 for insert as select 1\ncreate trigger b on t2 for insert as select "
     "2\n"
     "sp_rename t1, x\nsp_rename t2, t1\nsp_rename x, t2\n"},
    {"types of parameters",
     "sp_addtype ty1, 'varchar(10)'\ncreate procedure p @x ty1, @y int as declare @z ty1\n"
     "create procedure q @y int as declare @z ty1 select @z\n"
     "sp_rename ty1, ty2\ncreate procedure r @x ty2 as select @x\n"},
    {"objects of other owners",
     "sp_addlogin joe, secret1\nsp_adduser joe\ncreate table t (a int null)\n"
     "create procedure joe.p as select 1\ncreate view joe.v as select a from t\nsetuser 'joe'\n"
     "sp_rename p, q\nsp_rename v, w\nsetuser\ncreate procedure p as select 2\n"},
    {"names that need quotes",
     "create procedure p1 as select 1\nsp_rename p1, 'p 2'\n"
     "set quoted_identifier on\ncreate procedure \"p.3\" as select 1\nsp_rename '\"p.3\"', p3\n",
     Release::ase15},
};

TEST(RenamedObjects, ComeBack) {
  for (const Case& one : kCases) {
    for (const Release release : {Release::ase125, Release::ase15, Release::ase16}) {
      if (release < one.since) continue;
      expectSameText(databaseOf(std::string(one.script), release), release, std::string(one.about));
    }
  }
}

// Which of two objects had the name, or what had it at all, nobody knows.
TEST(RenamedObjects, ThatAreNotKnownAreNamed) {
  const Database database = databaseOf(
      "create table t (a int null, b int null)\ncreate table gone (a int null)\n"
      "create view vt as select t.a from t left join gone on t.a = gone.a\n"
      "create view over_it as select a from vt\ncreate view stays as select a from t\n"
      "create table u (a int null)\ncreate view ambiguous as select a from u\n"
      "create trigger tu on u for insert as select 1\nsp_rename u, u2\n"
      "create table u (a int null)\ncreate trigger tu2 on u for insert as select 1\n"
      "sp_rename u, u3\ndrop table gone\n",
      Release::ase16);
  const RoundTrip trip = roundTrip(database, Release::ase16);
  EXPECT_EQ(trip.errors, Lines()) << trip.text;
  Lines omissions;
  for (const Omission& one : trip.script.omissions)
    omissions.push_back(one.what + ": " + one.reason);
  EXPECT_EQ(omissions, (Lines{"view dbo.ambiguous: names u, which is not in the database",
                              "view dbo.vt: names gone, which is not in the database",
                              "view dbo.over_it: view dbo.vt is left out"}));
}

// Columns in texts keep the names that they had.
TEST(RenamedColumns, AreNamed) {
  const Database database = databaseOf(
      "create table t (a int null, b int null, d as b + 1)\n"
      "create table c (a int null, b int null check (b > 1), constraint k check (a > 1))\n"
      "create index i on c (b + 1)\nsp_rename 'c.b', c\nsp_rename 't.b', e\n"
      "create table u (a int null, b int null)\n"
      "create view one as select a, x = b from u\n"
      "create view two as select y.b from u x, u y where x.a > 1\n"
      "create view three as select b from u x join c on x.a = c.a\n"
      "create view over_it as select x from one\n"
      "create view fine as select a b, f = a, convert(int, a) c, datepart(dd, getdate()) dd, "
      "case when a = 1 then 2 end d from u where a > 1\nsp_rename 'u.b', 'bb'\n",
      Release::ase16);
  const RoundTrip trip = roundTrip(database, Release::ase16);
  EXPECT_EQ(trip.errors, Lines()) << trip.text;
  Lines omissions;
  for (const Omission& one : trip.script.omissions)
    omissions.push_back(one.what + ": " + one.reason);
  EXPECT_EQ(
      omissions,
      (Lines{"table dbo.c: check without a name: names column b, which the table does not have",
             "table dbo.c: index i: names column b, which the table does not have",
             "table dbo.t: column d: names column b, which the table does not have",
             "view dbo.one: names column b of u, which is not there",
             "view dbo.over_it: view dbo.one is left out",
             "view dbo.three: names column b, which is not there",
             "view dbo.two: names column b of u, which is not there"}));
}

TEST(CreatedObjects, AreWhatTextsBeginWith) {
  const auto created = [](std::string_view text) {
    const auto object = createdObject(text, true);
    return object ? std::string(object->owner) + "." + std::string(object->name) : "none";
  };
  EXPECT_EQ(created("/* a */ CREATE -- b\nproc joe.p;2 @x int as select 1"), "joe.p");
  EXPECT_EQ(created("create or replace view \"a b\" (x) as select 1"), ".a b");
  EXPECT_EQ(created("create access rule r as @x = 1"), ".r");
  EXPECT_EQ(created("create precomputed result set dbo.s as select 1"), "dbo.s");
  EXPECT_EQ(created("create default [view] as 1"), ".view");
  EXPECT_EQ(created("create procedure main..p as select 1"), ".p");
  EXPECT_EQ(created("create table t (a int)"), "none");
  EXPECT_EQ(created("select 1"), "none");
  EXPECT_EQ(created("create view"), "none");
}

}  // namespace
}  // namespace kelvane::inventory
