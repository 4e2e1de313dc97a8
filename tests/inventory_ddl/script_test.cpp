// The order of objects, names of files, and what a release does not have.
#include <algorithm>
#include <gtest/gtest.h>
#include <random>

#include "inventory/ddl/batch_lines.h"
#include "inventory/ddl/file_names.h"
#include "inventory/ddl/used_names.h"
#include "tests/inventory_ddl/round_trip.h"

namespace kelvane::inventory {
namespace {

Lines namesIn(std::string_view text, bool quotedIdentifier) {
  Lines all;
  forEachName(text, quotedIdentifier, [&](std::string_view name) { all.emplace_back(name); });
  return all;
}

TEST(UsedNames, StandOutsideOfCommentsAndStrings) {
  constexpr std::string_view kText =
      "select a.\"b c\" -- x\nfrom /* y -- */ [d e], 'it''s f' g /* open";
  EXPECT_EQ(namesIn(kText, true), (Lines{"select", "a", "b c", "from", "d e", "g"}));
  EXPECT_EQ(namesIn(kText, false), (Lines{"select", "a", "from", "d e", "g"}));
  EXPECT_EQ(namesIn("'open", true), Lines());
}

TEST(UsedNames, ComeFirst) {
  const std::vector<NamedText> texts{{"a", "a z b"}, {"b", "C /* d */"}, {"c", "'a' e"},
                                     {"d", "e"},     {"e", "d"},         {"Z", ""}};
  EXPECT_EQ(inOrderOfUse(texts, false), (std::vector<std::size_t>{1, 0, 3, 4, 2, 5}));
  EXPECT_EQ(inOrderOfUse(texts, true), (std::vector<std::size_t>{3, 4, 2, 1, 5, 0}));
}

// Each view uses some of those that were created before it, whatever their names are.
TEST(Views, AreInTheOrderOfUse) {
  std::mt19937 random(7);
  for (int round = 0; round < 20; ++round) {
    std::vector<int> numbers(40);
    for (std::size_t at = 0; at < numbers.size(); ++at) numbers[at] = static_cast<int>(at);
    std::ranges::shuffle(numbers, random);
    std::string script = "create table t (a int null)\n";
    for (std::size_t at = 0; at < numbers.size(); ++at) {
      const std::string name = "v" + std::to_string(numbers[at]);
      script += "create view " + name + " as select x.a from t x";
      for (int more = 0; more < 2 && at > 0; ++more)
        script += ", v" + std::to_string(numbers[random() % at]) + " y" + std::to_string(more);
      script += '\n';
    }
    expectSame(databaseOf(script, Release::ase15), Release::ase15, "round");
  }
}

// Views that each use the next one are no calls within calls.
TEST(UsedNames, MayBeDeep) {
  std::vector<std::string> names(200'000);
  for (std::size_t at = 0; at < names.size(); ++at) names[at] = "v" + std::to_string(at);
  std::vector<NamedText> texts;
  for (std::size_t at = 0; at < names.size(); ++at)
    texts.push_back({names[at], names[std::min(at + 1, names.size() - 1)]});
  EXPECT_EQ(inOrderOfUse(texts, false).front(), names.size() - 1);
}

TEST(FileNames, AreSafe) {
  EXPECT_EQ(fileName({"dbo", "customer"}), "dbo.customer");
  EXPECT_EQ(fileName({"dbo", "../a b.c%\xC3\xA9"}), "dbo.%2E%2E%2Fa%20b%2Ec%25%C3%A9");
  EXPECT_EQ(fileName({"Con"}), "%43on");
  EXPECT_EQ(fileName({"com1", "t"}), "%63om1.t");
  EXPECT_EQ(fileName({"common"}), "common");
  const std::string one = fileName({std::string(250, 'a') + "b"});
  const std::string other = fileName({std::string(250, 'a') + "c"});
  EXPECT_LE(one.size(), 200U);
  EXPECT_NE(one, other);
}

TEST(FileNames, DoNotDifferInCaseAlone) {
  std::vector<ScriptedObject> objects{{Kind::table, "", "tables/dbo.t.sql", {}},
                                      {Kind::table, "", "tables/dbo.T%2E.sql", {}},
                                      {Kind::table, "", "tables/dbo.t%2E.sql", {}},
                                      {Kind::table, "", "tables/Dbo.T.sql", {}},
                                      {Kind::view, "", "views/dbo.T.sql", {}}};
  tellApart(objects);
  Lines files;
  for (const ScriptedObject& object : objects) files.push_back(object.file);
  EXPECT_EQ(files, (Lines{"tables/dbo.t.sql", "tables/dbo.%54%2E.sql", "tables/dbo.t%2E.sql",
                          "tables/%44bo.%54.sql", "views/dbo.T.sql"}));
}

// Files in the order of their names, and what runs.
TEST(Files, RunByPhasesAndByUse) {
  const std::string mark(kFileMark);
  const std::vector<std::string> files{
      "print 'first'\n",
      mark +
          "procedure dbo.a\ngo\ncreate procedure a as select * from b\ngo\n"
          "\n-- Phase: permissions\ngo\ngrant execute on a to joe\ngo\n",
      mark +
          "table dbo.t\ngo\ncreate table t (x int null)\ngo\n\n-- Phase: triggers\ngo\n"
          "-- The text that follows ends without a line end.\ngo\n"
          "create trigger tr on t for insert as\n-- Phase: bindings\nprint 'a'\r\ngo\n"
          "print 'b'\ngo\n",
      "print 'last'\n",
      mark + "user joe\nGO\nsp_adduser joe\ngo\n",
      mark + "view dbo.b\ngo\ncreate view b as select x from t\ngo\n",
      mark + "nothing that there is\ngo\nprint 'by hand'\ngo\n"};
  Lines ran;
  for (const FilePart& part : inRunningOrder(files, false))
    ran.push_back(std::to_string(part.file) + ": " + part.text);
  const Lines expected{"0: print 'first'\n",
                       "4: " + files[4],
                       "2: " + files[2].substr(0, files[2].find("-- Phase")),
                       "5: " + files[5],
                       "1: " + files[1].substr(0, files[1].find("-- Phase")),
                       "2: \n\n\n\n\n-- Phase: triggers\ngo\n"
                       "-- The text that follows ends without a line end.\ngo\n"
                       "create trigger tr on t for insert as\n-- Phase: bindings\nprint 'a'",
                       "2: " + std::string(13, '\n') + "print 'b'\ngo\n",
                       "1: \n\n\n\n\n-- Phase: permissions\ngo\ngrant execute on a to joe\ngo\n",
                       "3: print 'last'\n",
                       "6: " + files[6]};
  EXPECT_EQ(ran, expected);
}

// A client that sends texts as they are, without looking for `go`, may have created it.
TEST(Texts, MayHoldBatchEnds) {
  Database database = databaseOf("create procedure p as select 1\n", Release::ase125);
  for (const char* const text :
       {"create procedure p as\n/* example:\nexec p\ngo\n GO 2\n*/\nprint 'it''s'\n",
        "create procedure p as select 1 /*\ngo\n*/",
        "create procedure p as select 1 /*\r\ngo\r\n*/",
        "create procedure p as /*\n Exit\n!!ls\n:r x\n*/ select 1\n"}) {
    database.procedures[0].definition.text = text;
    expectSame(database, Release::ase125, text);
    std::istringstream script(textOf(scriptOf(database, {})));
    for (std::string line; std::getline(script, line);)
      EXPECT_TRUE(!isCommand(line) || line == "go") << text << line;
  }
}

// setuser gives nobody a right; what the script gives it takes away again.
TEST(Owners, HaveTheRightToCreate) {
  const Database database = databaseOf(
      "sp_addgroup staff\nsp_addlogin joe, secret1\nsp_adduser joe, joe, staff\n"
      "grant create procedure to staff\ncreate table t (a int null)\n"
      "create view joe.v as select a from t\ncreate procedure joe.p as select 1\n"
      "create rule joe.r as @x > 1\n",
      Release::ase15);
  const std::string text = textOf(scriptOf(database, {}));
  for (const std::string action : {"create view", "create rule"}) {
    const std::size_t given = text.find("grant " + action + " to joe"),
                      taken = text.find("revoke " + action + " from joe");
    EXPECT_LT(given, text.find(action + " joe.")) << text;
    EXPECT_GT(taken, text.find(action + " joe.")) << text;
    EXPECT_NE(taken, std::string::npos);
  }
  EXPECT_EQ(text.find("create procedure to joe"), std::string::npos) << text;
  expectSameText(database, Release::ase15, "owners");
}

// Behind `read only` no statement would run.
TEST(Options, ThatCloseTheDatabaseComeLast) {
  const Database database = databaseOf(
      "sp_dboption main, 'read only', true\nsp_dboption main, 'ddl in tran', true\n"
      "create table t (a int null)\ncreate trigger tr on t for insert as print 'a'\n"
      "alter table t disable trigger tr\nsp_addlogin joe, secret1\nsp_changedbowner joe\n",
      Release::ase15);
  const std::string text = textOf(scriptOf(database, {}));
  const std::size_t closing = text.find("'read only'");
  ASSERT_NE(closing, std::string::npos);
  for (const char* const earlier : {"'ddl in tran'", "disable trigger", "sp_changedbowner"}) {
    ASSERT_NE(text.find(earlier), std::string::npos) << text;
    EXPECT_LT(text.find(earlier), closing);
  }
}

// What no statement can say is left out by name, and the rest of the script runs.
TEST(Omissions, AreWhatNoStatementSays) {
  Database database = databaseOf(
      "create table t (a int default 1 not null, b int null, constraint k unique (a))\n"
      "create index i on t (b)\nsp_addmessage 20001, 'one'\n",
      Release::ase16);
  Table& table = database.tables[0];
  table.columns[0].defaultValue = DefaultValue{"1", {}, Definition::State::hidden};
  table.indexes[0].partitions = table.keys[0].partitions = {{{"p1", false}}, {{"p2", false}}};
  table.keys[0].local = true;
  table.keys[0].compression = "page";
  database.messages.push_back({20001, "language 7", "eins"});
  const RoundTrip trip = roundTrip(database, Release::ase16);
  Lines omissions;
  for (const Omission& one : trip.script.omissions) omissions.push_back(one.what);
  EXPECT_EQ(omissions,
            (Lines{"message 20001 (language 7)", "table dbo.t: column a: default",
                   "table dbo.t: constraint k: compression",
                   "table dbo.t: constraint k: local index", "table dbo.t: index i: partitions"}));
  EXPECT_EQ(trip.errors, Lines()) << trip.text;
}

// The names of objects, owners and databases in front, calls with parentheses.
TEST(UsedObjects, StandWhereStatementsNameOne) {
  const auto objectsIn = [](std::string_view text) {
    Lines all;
    forEachObject(text, true, [&](const UsedObject& used) {
      std::string line(used.database);
      if (!used.owner.empty() || !used.database.empty())
        line += "." + std::string(used.owner) + ".";
      all.push_back(line + std::string(used.name) + (used.isCall ? "()" : ""));
    });
    return all;
  };
  EXPECT_EQ(
      objectsIn("select a.b, c from d a, joe.e f, other..g where h in (select i from \"j k\")"),
      (Lines{"d", ".joe.e", "other..g", "in()", "j k"}));
  EXPECT_EQ(objectsIn("UPDATE t SET a = dbo.f(x, y) FROM u JOIN v ON v.z = 1 -- from w\n"
                      "insert into x (a) select 'from y' delete z exec p q, r"),
            (Lines{"t", ".dbo.f()", "u", "v", ".v.z", "x", "z"}));
}

// What needs something that cannot be written is left out too, and the rest of the script runs.
TEST(Omissions, AreFollowedByWhatNeedsThem) {
  Database database = databaseOf(
      "create default d as 1\ncreate rule ru as @x > 1\nsp_addtype ty, int, 'null'\n"
      "sp_bindefault d, ty\ncreate encryption key k for AES\n"
      "create table p (x int not null, y as x + 1, constraint pk primary key (x))\n"
      "create table q (p int null, t ty, constraint f foreign key (p) references p (x))\n"
      "create table c (a varchar(9) null encrypt with k)\n"
      "create table n (a int null check (a > 1), b int null check (b > 1))\n"
      "sp_addmessage 20001, 'one'\nsp_bindrule ru, 'q.p'\nsp_primarykey p, x\nsp_foreignkey q, p, "
      "p\n"
      "create view a_view as select x from p\ncreate view b_view as select x from a_view\n"
      "create trigger tr on q for insert as select 1 from p\n"
      "create procedure uses as select * from q, b_view\n"
      "create procedure calls as exec uses\n"
      "create procedure has_column as select p, q.p from q where p = 1\n"
      "grant select on b_view to public\nsp_procxmode uses, 'chained'\n",
      Release::ase15);
  const auto named = [](auto& records, std::string_view name) -> auto& {
    return *std::ranges::find_if(records, [&](const auto& one) { return one.name.name == name; });
  };
  database.defaults[0].definition.state = Definition::State::hidden;
  database.rules[0].definition.state = Definition::State::incomplete;
  named(database.tables, "p").columns[1].computed =
      Definition{"x + 1", Definition::State::hidden, false};
  database.encryptionKeys[0].hasPassword = true;
  std::vector<Check>& checks = named(database.tables, "n").checks;
  checks[0].condition.state = Definition::State::hidden;
  checks[0].message = checks[1].message = 20001;
  const RoundTrip trip = roundTrip(database, Release::ase15);
  Lines omissions;
  for (const Omission& one : trip.script.omissions)
    omissions.push_back(one.what + ": " + one.reason);
  EXPECT_EQ(
      omissions,
      (Lines{"default dbo.d: its text is hidden",
             "rule dbo.ru: a part of its text is missing in the catalog",
             "type dbo.ty: default: default dbo.d is left out",
             "encryption key dbo.k: its password is not known",
             "table dbo.c: column a: encryption key dbo.k is left out",
             "table dbo.n: check without a name: its text cannot be read",
             "table dbo.p: column y: its expression cannot be read",
             "table dbo.q: foreign key f: table dbo.p is left out",
             "table dbo.q: logical key foreign (p) of dbo.p(x): table dbo.p is left out",
             "table dbo.q: column p: rule: rule dbo.ru is left out",
             "table dbo.q: column t: default: default dbo.d is left out",
             "trigger dbo.tr: table dbo.p is left out", "view dbo.a_view: table dbo.p is left out",
             "view dbo.b_view: view dbo.a_view is left out",
             "procedure dbo.uses: view dbo.b_view is left out"}));
  EXPECT_EQ(trip.errors, Lines()) << trip.text;
  EXPECT_EQ(trip.again.procedures.size(), 2U);
  EXPECT_NE(trip.text.find("-- create encryption key dbo.k for AES with keylength 128 init_vector "
                           "random pad null passwd '...'"),
            std::string::npos)
      << trip.text;
}

// What an earlier release lacks is left out by name, and the rest of the script runs there.
TEST(Releases, LackWhatIsLeftOut) {
  const Database database = databaseOf(
      "create table a (x int null, y as x + 1)\ncreate table b (x bigint null)\n"
      "create table c (x int null, z varchar(9) null) with compression = page\n"
      "create table d (x int null) partition by hash (x) (p1, p2)\n"
      "create table e (x text in row (100) null) with dml_logging = minimal\n"
      "create index i on c (upper(z))\ncreate index j on c (z) with index_compression = page\n"
      "create table name_that_is_longer_than_thirty (x int null)\n"
      "create function f (@x int) returns int as return 1\ncreate encryption key k for AES\n"
      "create view v as select x from c\ncreate trigger tr on v instead of insert as print 'a'\n"
      "create trigger t1 on c for insert order 2 as print 'a'\n",
      Release::ase16);
  struct Expected {
    Release release;
    Lines omissions;
  };
  const Expected kExpected[] = {
      {Release::ase16, {}},
      {Release::ase15, {"table dbo.c: index j: compression", "trigger dbo.t1"}},
      {Release::ase125,
       {"encryption key dbo.k", "table dbo.a", "table dbo.b", "table dbo.c: compression",
        "table dbo.c: index i", "table dbo.c: index j: compression", "trigger dbo.t1",
        "table dbo.d: partitions by hash", "table dbo.e: column x: in row",
        "table dbo.e: dml_logging", "table dbo.name_that_is_longer_than_thirty", "trigger dbo.tr",
        "function dbo.f"}},
  };
  for (const Expected& expected : kExpected) {
    const RoundTrip trip = roundTrip(database, expected.release);
    Lines omissions;
    for (const Omission& one : trip.script.omissions) omissions.push_back(one.what);
    EXPECT_EQ(omissions, expected.omissions);
    EXPECT_EQ(trip.errors, Lines()) << trip.text;
  }
}

}  // namespace
}  // namespace kelvane::inventory
