// What objects use is created before them, whatever their kinds are.
#include <algorithm>
#include <gtest/gtest.h>

#include "inventory/ddl/use_graph.h"
#include "tests/inventory_ddl/round_trip.h"

namespace kelvane::inventory {
namespace {

struct Case {
  std::string_view about;
  std::string_view script;
};

std::string withFunctions(std::string_view script) {
  return "create function plus1 (@a int) returns int as begin return @a + 1 end\n" +
         std::string(script);
}

constexpr Case kCases[] = {
    {"computed columns, checks, indexes and rules call functions",
     "create table t (a int null, b as dbo.plus1(a), c int null check (dbo.plus1(c) > 0))\n"
     "create index i on t (dbo.plus1(a))\n"
     "create rule ru as dbo.plus1(@x) > 1\nsp_addtype ty, int, 'null'\nsp_bindrule ru, ty\n"
     "create table u (a ty null)\n"},
    {"a function of a table calls one that reads a view of another one",
     "create table base (a int null)\ncreate view v as select a from base\n"
     "create function inner_ (@a int) returns int as begin declare @n int "
     "select @n = count(*) from v where a = @a return @n end\n"
     "create function outer_ (@a int) returns int as begin return dbo.inner_(@a) end\n"
     "create table a (a int null, constraint ck check (dbo.outer_(a) > 1))\n"
     "create table z (a int null, b as dbo.plus1(a))\n"},
    {"a check and a column use a function that reads their table",
     "create table t (a int null)\n"
     "create function f (@a int) returns int as begin declare @n int "
     "select @n = count(*) from t where a = @a return @n end\n"
     "alter table t add b as dbo.f(a)\nalter table t add z int null\n"
     "alter table t add constraint ck check (dbo.f(a) > 0)\ncreate index i on t (b)\n"
     "create view v as select b from t\n"},
    {"a function of an index reads the table of the index",
     "create table t (a int null)\n"
     "create function f (@a int) returns int as begin declare @n int "
     "select @n = count(*) from t where a = @a return @n end\n"
     "create index i on t (dbo.f(a))\n"},
    {"two tables whose functions read the other one",
     "create table t (a int null)\ncreate table u (a int null)\n"
     "create function of_t (@a int) returns int as begin declare @n int "
     "select @n = count(*) from t where a = @a return @n end\n"
     "create function of_u (@a int) returns int as begin declare @n int "
     "select @n = count(*) from u where a = @a return @n end\n"
     "alter table t add constraint ct check (dbo.of_u(a) > 0)\n"
     "alter table u add constraint cu check (dbo.of_t(a) > 0)\n"},
    {"columns have the names of other views",
     "create table t (a int null)\ncreate view a as select a as b from t\n"
     "create view b as select b as a from a\ncreate view c as select a from b\n"},
    {"functions of other owners, and one that calls itself",
     "sp_addlogin joe, secret1\nsp_adduser joe\n"
     "create function joe.f (@a int) returns int as begin if @a > 0 return joe.f(@a - 1) "
     "return 0 end\ncreate table t (a int null check (joe.f(a) > 1))\n"},
};

TEST(Functions, AreWhereTheyAreUsed) {
  for (const Case& one : kCases) {
    for (const Release release : {Release::ase15, Release::ase16}) {
      expectSameText(databaseOf(withFunctions(one.script), release), release,
                     std::string(one.about));
    }
  }
}

Lines omissionsOf(const Script& script) {
  Lines omissions;
  for (const Omission& one : script.omissions) omissions.push_back(one.what + ": " + one.reason);
  return omissions;
}

TEST(Functions, ThatAreLeftOutTakeAlongWhatUsesThem) {
  Database database = databaseOf(
      withFunctions("create table d (a int null, b as dbo.plus1(a))\n"
                    "create table c (a int null check (dbo.plus1(a) > 1), b int null)\n"
                    "create index i on c (dbo.plus1(a))\ncreate index j on c (b)\n"
                    "create table a (d int null, b int null)\n"
                    "create rule ru as dbo.plus1(@x) > 1\nsp_addtype ty, int, 'null'\n"
                    "sp_bindrule ru, ty\nsp_bindrule ru, 'c.b'\n"
                    "create function more (@a int) returns int as begin return dbo.plus1(@a) end\n"
                    "create view v as select b from d\n"
                    "create trigger tr on a for insert as select * from v\n"),
      Release::ase16);
  std::ranges::find_if(database.functions, [](const Function& one) {
    return one.name.name == "plus1";
  })->definition.state = Definition::State::hidden;
  const RoundTrip trip = roundTrip(database, Release::ase16);
  EXPECT_EQ(trip.errors, Lines()) << trip.text;
  const std::string reason = ": function dbo.plus1 is left out";
  EXPECT_EQ(
      omissionsOf(trip.script),
      (Lines{"function dbo.plus1: its text is hidden", "rule dbo.ru" + reason,
             "type dbo.ty: rule: rule dbo.ru is left out", "trigger dbo.tr: view dbo.v is left out",
             "table dbo.c: check without a name" + reason, "table dbo.c: index i" + reason,
             "table dbo.c: column b: rule: rule dbo.ru is left out",
             "table dbo.d: column b" + reason, "view dbo.v: table dbo.d is left out",
             "function dbo.more" + reason}));
}

// A key cannot wait for the function that its column calls.
TEST(Functions, ThatCannotBeWaitedForAreNamed) {
  Database database = databaseOf(
      "create table t (a int not null)\n"
      "create function f (@a int) returns int as begin declare @n int "
      "select @n = count(*) from t where a = @a return @n end\n"
      "alter table t add b as dbo.f(a)\nalter table t add c int default 1 not null\n",
      Release::ase16);
  KeyConstraint key;
  key.name.name = "k";
  key.columns = {{"c"}};
  database.tables[0].keys.push_back(key);
  const RoundTrip trip = roundTrip(database, Release::ase16);
  EXPECT_EQ(trip.errors, Lines()) << trip.text;
  EXPECT_EQ(omissionsOf(trip.script).front(),
            "table dbo.t: column b: its function uses the table, and the table needs column c");
}

// Somebody changed the files: what they call is found in them.
TEST(Files, AreInTheOrderOfUse) {
  const std::string mark(kFileMark);
  const std::vector<std::string> files{
      mark + "function dbo.f\ngo\ncreate function f as select a from v\ngo\n",
      mark + "function dbo.g\ngo\ncreate function g as return 1\ngo\n",
      mark + "rule dbo.r\ngo\ncreate rule r as dbo.g(@x) > 1\ngo\n",
      mark + "table dbo.a\ngo\ncreate table a (x int check (dbo.f(x) > 1))\ngo\n",
      mark + "table dbo.b\ngo\ncreate table b (g int null)\ngo\n",
      mark + "view dbo.v\ngo\ncreate view v as select a from b\ngo\n",
      mark + "view dbo.w\ngo\ncreate view w as select a from dbo.f\ngo\n"};
  std::string order;
  for (const FilePart& part : inRunningOrder(files, false)) order += std::to_string(part.file);
  EXPECT_EQ(order, "1245036");
}

TEST(UseGraph, FindsCircles) {
  UseGraph graph("main", false);
  for (const char* const name : {"a", "b", "c", "d", "e"}) graph.add(Kind::view, "dbo", name);
  for (const auto& [user, text] : {std::pair<std::size_t, const char*>(0, "from b"),
                                   {1, "from main.dbo.c"},
                                   {2, "from b, d"},
                                   {3, "from other..a, joe.e"},
                                   {4, "from e, A, f"}})
    graph.addUses(user, "dbo", text, false);
  const std::vector<std::size_t> circles = graph.circles();
  EXPECT_EQ(circles[1], circles[2]);
  EXPECT_EQ(std::set<std::size_t>(circles.begin(), circles.end()).size(), 4U);
  EXPECT_EQ(graph.order(), (std::vector<std::size_t>{3, 2, 1, 0, 4}));
  EXPECT_EQ(graph.closure({2}), (std::vector<bool>{false, true, true, true, false}));
}

}  // namespace
}  // namespace kelvane::inventory
