// kelvane data --script: whatever the two sides have, running the script ends the differences, or
// changes nothing where the rows are no longer what they were.
#include <array>
#include <gmock/gmock.h>
#include <random>

#include "tests/cli/compared_scripts.h"

namespace kelvane::cli {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

class RowScripts : public ComparedScripts {
 protected:
  /// The script that was made; the status is that of the comparison.
  std::string script(const std::string& source, const std::string& target,
                     std::vector<std::string> options, int expected = kDifferences) {
    std::vector<std::string> words{"data", file("source.sql", source), file("target.sql", target),
                                   "--script", path("script.sql")};
    words.insert(words.end(), options.begin(), options.end());
    EXPECT_EQ(kelvane(words), expected) << out() << err();
    return contents("script.sql");
  }
  /// What is left after the script, from `target` as it is in its file.
  int afterwards() {
    return kelvane({"data", path("source.sql"), "--", path("target.sql"), path("script.sql")});
  }
};

struct Case {
  const char* name;
  std::string tables, source, target;
  std::vector<std::string> statements;
  std::string told = {};  ///< in the head
  int status = kDifferences;
  std::vector<std::string> options = {"--ase", "16", "--allow", "delete"};
};

const Case kCases[] = {
    {"composite keys, nulls",
     "create table t (a int not null, b char(3) not null, c money null, d int null, primary key "
     "(b, "
     "a))",
     "insert t values (1, 'x', 1, null) insert t values (1, 'y', null, 5)",
     "insert t values (1, 'x', null, null) insert t values (1, 'y', 0.5, 4)",
     {"update dbo.t set c = 1 where b = 'x' and a = 1 and c is null",
      "update dbo.t set c = null, d = 5 where b = 'y' and a = 1 and c = 0.5 and d = 4"}},
    {"names in quotes",
     "create table [order] ([the key] int primary key, [from] int null)",
     "insert [order] values (1, 1)",
     "insert [order] values (2, 2)",
     {"insert dbo.\"order\" (\"the key\", \"from\") values (1, 1)",
      "delete dbo.\"order\" where \"the key\" = 2 and \"from\" = 2"}},
    {"rows that go make room for values that are there once",
     "create table t (a int primary key, b int unique)",
     "insert t values (1, 5) insert t values (2, 6)",
     "insert t values (3, 5) insert t values (2, 7)",
     {"delete dbo.t where a = 3 and b = 5", "update dbo.t set b = 6 where a = 2 and b = 7",
      "insert dbo.t (a, b) values (1, 5)"}},
    {"rows go last where nobody needs their values",
     "create table par (id int primary key, u varchar(9) unique, up int null references par (id))\n"
     "create table chi (id int primary key, f int null references par (id))",
     "insert par values (1, 'a', null) insert chi values (1, 1)",
     "insert par values (1, 'a', null) insert par values (2, 'b', null)\n"
     "insert par values (3, 'c', 2) insert chi values (1, 2) insert chi values (2, 3)",
     {"update dbo.chi set f = 1 where id = 1 and f = 2",
      "update dbo.par set up = null where id = 3 and u = 'c' and up = 2",
      "delete dbo.chi where id = 2 and f = 3",
      "delete dbo.par where id = 2 and u = 'b' and up is null",
      "delete dbo.par where id = 3 and u = 'c' and up is null"}},
    {"values that change places are told",
     "create table t (a int primary key, b int unique)",
     "insert t values (1, 5) insert t values (2, 6)",
     "insert t values (1, 6) insert t values (2, 5)",
     {"update dbo.t set b = 5 where a = 1 and b = 6",
      "update dbo.t set b = 6 where a = 2 and b = 5"},
     "the script fails: ",
     kNotProven},
    {"tables that refer to each other",
     "create table a (id int primary key, b int null)\ngo\n"
     "create table b (id int primary key, a int not null references a (id))\ngo\n"
     "alter table a add foreign key (b) references b (id)",
     "insert a values (1, null) insert b values (2, 1) update a set b = 2",
     "insert a values (3, null) insert b values (4, 3) update a set b = 4",
     {"insert dbo.a (id, b) values (1, null)", "insert dbo.b (id, a) values (2, 1)",
      "update dbo.a set b = 2 where id = 1 and b is null",
      "update dbo.a set b = null where id = 3 and b = 4", "delete dbo.b where id = 4 and a = 3",
      "delete dbo.a where id = 3 and b is null"}},
    {"one of several equal rows",
     "create table t (a int null, b real null)",
     "insert t values (1, 0.1) insert t values (1, 0.1)",
     "insert t values (1, 0.1) insert t values (1, 0.1) insert t values (1, 0.1)",
     {"delete top 1 dbo.t where a = 1 and b = 1.0000000149011612e-01"}},
    {"a key that several rows have",
     "create table t (a int null, b int null, c char(3) null)",
     "insert t values (1, 1, 'x') insert t values (1, 1, 'x') insert t values (1, 2, 'y')",
     "insert t values (1, 1, 'x') insert t values (1, null, 'x') insert t values (1, 2, 'y')",
     {"update top 1 dbo.t set b = 1 where a = 1 and b is null and c = 'x'"},
     {},
     kDifferences,
     {"--ase", "16", "--key", "t=a"}},
    {"one of several equal rows on 12.5",
     "create table t (a int null)",
     "insert t values (1)",
     "insert t values (1) insert t values (1)",
     {"set rowcount 1 delete dbo.t where a = 1"},
     {},
     kDifferences,
     {"--ase", "12.5", "--allow", "delete"}},
    {"deletes that nobody allowed",
     "create table t (a int primary key)",
     "insert t values (1)",
     "insert t values (2) insert t values (3)",
     {"insert dbo.t (a) values (1)"},
     "-- not done: t: 2 deletes: it needs --allow delete\n",
     kDifferences,
     {}},
    {"identity values that change",
     "create table t (a int identity, b int unique, c int null)",
     "insert t (b, c) values (1, 1) insert t (b, c) values (2, 2)",
     "insert t (b, c) values (2, 5) insert t (b, c) values (1, 1)",
     {"update dbo.t set c = 2 where b = 2 and c = 5"},
     "-- left out: t: b 1, a: an identity value cannot be changed\n",
     kDifferences,
     {"--ase", "16", "--key", "t=b"}},
    {"a row of which a value has no literal is not inserted",
     "create table t (a int primary key, b text null)",
     "insert t values (1, replicate('x', 16000)) insert t values (2, 'y')",
     "",
     {"insert dbo.t (a, b) values (2, 'y')"},
     "-- left out: t: a 1, b: it is too long for a literal\n"},
    {"an identity table whose name needs quotes",
     "create table [T 1] (id numeric(8,0) identity primary key, v int)",
     "set identity_insert [T 1] on insert [T 1] (id, v) values (5, 1)",
     "set identity_insert [T 1] on insert [T 1] (id, v) values (5, 2)",
     {"update dbo.\"T 1\" set v = 1 where id = 5 and v = 2"}},
    {"blanks that the target does not keep",
     "create table t (a int primary key, b varchar(9) null)",
     "alter table t drop b alter table t add b text null\ngo\ninsert t values (1, 'x  ')",
     "insert t values (1, 'y')",
     {},
     "-- left out: t: a 1, b: the server keeps no blanks at the end of varchar(9)\n"},
    {"rows that a condition leaves out on one side, and columns that nobody compared",
     "create table t (a int primary key, b int null, c int null)",
     "insert t values (1, 1, 7) insert t values (2, 2, 7)",
     "insert t values (1, 2, 7)",
     {"insert dbo.t (a, b) values (2, 2)"},
     "-- note: t: inserted rows have no value of the source in c, which the comparison left out\n"
     "-- note: t: a row that meets the condition on one side only is inserted or deleted\n",
     kDifferences,
     {"--ignore-columns", "c", "--where", "a > 1"}},
    {"a check of the target",
     "create table t (a int primary key, b int null)",
     "insert t values (1, -1)",
     "alter table t add constraint positive check (b > 0)",
     {"insert dbo.t (a, b) values (1, -1)"},
     "the script fails: ",
     kNotProven},
};

TEST_F(RowScripts, HaveTheseStatements) {
  for (const Case& one : kCases) {
    const std::string text =
        script(one.tables + "\ngo\n" + one.source + "\ngo\n",
               one.tables + "\ngo\n" + one.target + "\ngo\n", one.options, one.status);
    std::vector<std::string> statements;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
      const bool isOfRows = line.starts_with("insert dbo.") || line.starts_with("update ") ||
                            line.starts_with("delete ") || line.starts_with("set rowcount 1 ");
      if (isOfRows && line.find("#kelvane_script") == line.npos) statements.push_back(line);
    }
    EXPECT_EQ(statements, one.statements) << one.name;
    EXPECT_THAT(text, HasSubstr(one.told)) << one.name;
    if (one.told.empty()) {
      EXPECT_EQ(afterwards(), kNoDifference) << one.name << out() << err();
    }
  }
}

TEST_F(RowScripts, HaveTextsOfManyLines) {
  const std::string table = "create table t (a int primary key, b text null)\n";
  const std::string source =
      "insert t values (1, replicate('a' + char(10), 300))\n"
      "insert t values (2, replicate(char(9), 1200))\n";
  const std::string target =
      "insert t values (1, replicate('b' + char(10), 400))\n"
      "insert t values (3, replicate(char(13) + char(10), 500))\n";
  const std::string text = script(table + source, table + target, {"--allow", "delete"});
  EXPECT_THAT(text, HasSubstr("\n-- proved: after this script no row differs\n"));
  EXPECT_EQ(afterwards(), kNoDifference) << out() << err();
}

TEST_F(RowScripts, TakeWhatAFileSaysForBothKindsOfScripts) {
  const std::string config = file("kelvane.toml", "allow = [\"drop-column\", \"delete\"]\n");
  const std::string source = "create table t (a int primary key)\ngo\n";
  const std::string text =
      script(source, source + "insert t values (1)\ngo\n", {"--config", config});
  EXPECT_THAT(text, HasSubstr("\ndelete dbo.t where a = 1\n"));
  EXPECT_EQ(kelvane({"script", path("source.sql"), path("target.sql"), "--config", config}),
            kNoDifference)
      << err();
}

struct Meanwhile {
  const char* name;
  std::string source, target;
  std::string change;  ///< of the target, before the script runs
  std::string reason;
};

const char* const kKeyed = "create table t (a int primary key, b int null, c text null)\ngo\n";
const char* const kLoose = "create table t (a int null, b float null)\ngo\n";

const Meanwhile kMeanwhile[] = {
    {"another value",
     kKeyed + std::string("insert t values (1, 1, 'x') insert t values (2, 2, 'y')"),
     kKeyed + std::string("insert t values (1, null, 'x') insert t values (2, 5, 'y')"),
     "update t set b = null where a = 2", "dbo.t, a 2: is not as it was"},
    {"another long value",
     kKeyed + std::string("insert t values (1, 1, 'x') insert t values (2, 2, 'y')"),
     kKeyed + std::string("insert t values (1, 1, null) insert t values (2, 2, 'z')"),
     "update t set c = 'zz' where a = 2", "dbo.t, a 2: is not as it was"},
    {"a row that is gone",
     kKeyed + std::string("insert t values (1, 1, 'x') insert t values (2, 2, 'y')"),
     kKeyed + std::string("insert t values (1, 2, 'x') insert t values (2, 5, 'y')"),
     "delete t where a = 2", "dbo.t, a 2: is not as it was"},
    {"a row that is there already",
     kKeyed + std::string("insert t values (1, 1, 'x') insert t values (2, 2, 'y')"), kKeyed,
     "insert t values (2, 2, 'y')", "dbo.t, a 2: could not be inserted"},
    {"a row that goes has another value", kKeyed,
     kKeyed + std::string("insert t values (1, 1, 'x') insert t values (2, 2, 'y')"),
     "update t set c = null where a = 2", "dbo.t, a 2: is not as it was"},
    {"one of equal rows is gone", kLoose + std::string("insert t values (1, 0.1)"),
     kLoose + std::string("insert t values (1, 0.1) insert t values (1, 0.1) "
                          "insert t values (1, 0.1) insert t values (2, 0.3)"),
     "delete t where a = 2", "dbo.t, a 2, b 0.3: is not as it was"},
};

TEST_F(RowScripts, ChangeNothingWhereARowIsNotWhatItWas) {
  for (const Meanwhile& one : kMeanwhile) {
    std::string text =
        script(one.source + "\ngo\n", one.target + "\ngo\n", {"--ase", "16", "--allow", "delete"});
    const std::string changed = file("changed.sql", one.target + "\ngo\n" + one.change + "\ngo\n");
    EXPECT_EQ(kelvane({"data", changed, "--", changed, path("script.sql")}), kError) << one.name;
    EXPECT_THAT(err(), HasSubstr(one.reason)) << one.name;
    // As in tools that do not stop.
    const std::string quit = "select syb_quit()\n";
    for (std::size_t at = 0; (at = text.find(quit)) != text.npos;) text.erase(at, quit.size());
    kelvane({"data", "--keep-going", changed, "--", changed, file("on.sql", text)});
    EXPECT_THAT(out(), HasSubstr("1 table: 1 equal, 0 different")) << one.name << err();
  }
}

/// Two sides of three tables that refer to each other and to themselves.
class MadeRows {
 public:
  explicit MadeRows(unsigned seed) : random_(seed) {
    for (std::size_t at = 0; at < 5; ++at) {
      kinds_.push_back(below(kValues.size()));
      areOther_.push_back(oneIn(4) ? below(2) : 2);
    }
    hasIdentity_ = oneIn(2);
    for (const std::size_t side : {0U, 1U}) scripts[side] = tables(side) + rows(side);
  }

  std::array<std::string, 2> scripts;

 private:
  unsigned below(unsigned most) { return static_cast<unsigned>(random_() % most); }
  bool oneIn(unsigned most) { return below(most) == 0; }

  /// A type, another one that can have the same values, and values.
  static constexpr std::array<std::array<const char*, 6>, 15> kValues{{
      {"varchar(12) null", "text null", "'a'", "'it''s'", "'two' + char(10) + 'go' + char(10)",
       "' '"},
      {"char(5) not null", "varchar(9) not null", "'a'", "'A'", "' b'", "'%1!'"},
      {"univarchar(9) null", "unitext null", "to_unichar(0x20ac)", "'plain'", "'a' + to_unichar(9)",
       "' '"},
      {"int null", "numeric(12,2) null", "0", "-2147483648", "2147483647", "7"},
      {"numeric(38,10) null", "float null", "0.0000000001",
       "-9999999999999999999999999999.9999999999", "1", "0"},
      {"money null", "numeric(20,4) null", "922337203685477.5807", "-0.0001", "12", "0.5"},
      {"float null", "double precision null", "0.1", "1e300", "-3.3333333333333335e-5", "2"},
      {"real null", "float null", "0.1", "1e30", "-3.25", "16777216"},
      {"datetime null", "bigdatetime null", "'20240229 23:59:59.997'", "'17530101'",
       "'20240101 0:00:00.003'", "'19000101 12:00'"},
      {"bigdatetime null", "bigdatetime null", "'20240229 23:59:59.999999'", "'00010101'",
       "'20240101'", "'19000101 12:00'"},
      {"date null", "datetime null", "'20240229'", "'17530101'", "'20240101'", "'99991231'"},
      {"time null", "bigtime null", "'23:59:59.997'", "'0:00'", "'12:30'", "'0:00:00.003'"},
      {"varbinary(6) null", "image null", "0x00", "0xff00ab", "0x0d0a", "0x27"},
      {"text null", "varchar(900) null", "'long'", "replicate('x', 300)", "'-- go'",
       "'a' + char(13)"},
      {"bit not null", "tinyint not null", "0", "1", "0", "1"},
  }};

  std::string tables(std::size_t side) {
    std::size_t at = 0;
    const auto column = [&](const std::string& name) {
      const std::size_t type = areOther_[at] == side ? 1 : 0;
      return ", " + name + " " + kValues[kinds_[at++]][type];
    };
    std::string text = "create table parent (id int primary key";
    text += column("a");
    text += column("b");
    text += ")\ngo\ncreate table child (id numeric(9,0) ";
    text += hasIdentity_ ? "identity" : "not null";
    text += " primary key, parent int null references parent (id), boss numeric(9,0) null";
    text += column("a");
    text += ")\ngo\nalter table child add foreign key (boss) references child (id)\ngo\n";
    // Text keys, which come in any order; a table without a key.
    text += "create table named (a varchar(5) not null, b int not null";
    text += column("c");
    text += ", primary key (a, b))\ngo\ncreate table loose (x int null";
    text += column("c");
    text += ")\ngo\n";
    return text;
  }

  std::string value(std::size_t kind) {
    const std::string type = kValues[kind][0];
    if (type.ends_with(" null") && !type.ends_with("not null") && oneIn(4)) return "null";
    return kValues[kind][2 + below(4)];
  }

  std::string rows(std::size_t side) {
    std::string text;
    std::vector<unsigned> parents, children;
    for (unsigned id = 0; id < 9; ++id) {
      if (oneIn(3)) continue;
      parents.push_back(id);
      text += "insert parent values (" + std::to_string(id) + ", " + value(kinds_[0]) + ", " +
              value(kinds_[1]) + ")\n";
    }
    if (hasIdentity_) text += "set identity_insert child on\n";
    for (unsigned id = 1; id < 12; ++id) {
      if (oneIn(3)) continue;
      const auto one = [&](const std::vector<unsigned>& of) {
        if (of.empty() || oneIn(4)) return std::string("null");
        return std::to_string(of[below(static_cast<unsigned>(of.size()))]);
      };
      // Bosses come before or, on the other side, behind those whose they are.
      const unsigned number = side == 0 ? id : 12 - id;
      text += "insert child (id, parent, boss, a) values (" + std::to_string(number) + ", " +
              one(parents) + ", " + one(children) + ", " + value(kinds_[2]) + ")\n";
      children.push_back(number);
    }
    if (hasIdentity_) text += "set identity_insert child off\n";
    for (const char* const a : {"'a'", "'A'", "'b'", "'it''s'"}) {
      for (unsigned b = 0; b < 3; ++b) {
        if (oneIn(2)) continue;
        text += "insert named values (" + std::string(a) + ", " + std::to_string(b) + ", " +
                value(kinds_[3]) + ")\n";
      }
    }
    for (unsigned row = below(8); row > 0; --row) {
      text += "insert loose values (" + (oneIn(3) ? "null" : std::to_string(below(2))) + ", " +
              value(kinds_[4]) + ")\n";
    }
    return text + "go\n";
  }

  std::mt19937 random_;
  std::vector<std::size_t> kinds_, areOther_;  // of each column; the side that has the other type
  bool hasIdentity_ = false;
};

TEST_F(RowScripts, EndAllDifferences) {
  for (unsigned seed = 0; seed < 60; ++seed) {
    const MadeRows made(seed);
    const std::vector<std::string> ase =
        seed % 3 == 0 ? std::vector<std::string>{} : std::vector<std::string>{"--ase", "16"};
    std::vector<std::string> options{"--allow", "delete", "--batch", std::to_string(1 + seed % 4)};
    options.insert(options.end(), ase.begin(), ase.end());
    const std::string text = script(made.scripts[0], made.scripts[1], options);
    const std::string told = "seed " + std::to_string(seed) + "\n" + text;
    EXPECT_THAT(text, HasSubstr("\n-- proved: after this script no row differs\n")) << told;
    EXPECT_EQ(afterwards(), kNoDifference) << out() << err() << told;
    if (HasFailure()) return;
  }
}

TEST_F(RowScripts, LeaveNothingButDeletesWithoutLeave) {
  for (unsigned seed = 100; seed < 120; ++seed) {
    const MadeRows made(seed);
    const std::string text = script(made.scripts[0], made.scripts[1], {"--ase", "16"});
    EXPECT_THAT(text, HasSubstr("\n-- proved: after this script no row differs"));
    EXPECT_THAT(text, Not(HasSubstr("\ndelete ")));
    afterwards();
    EXPECT_THAT(out(), Not(HasSubstr("\n  ~ "))) << text;
    EXPECT_THAT(out(), Not(HasSubstr("\n  - "))) << text;
  }
}

}  // namespace
}  // namespace kelvane::cli
