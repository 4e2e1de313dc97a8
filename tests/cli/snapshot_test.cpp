// Snapshots as sides: they say what the database said, and what they do not know.
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <map>
#include <sstream>

#include "cli/run.h"
#include "tests/support/temporary_folder.h"

namespace kelvane::cli {
namespace {

using ::testing::HasSubstr;

// Every switch of the test below decides about one of their differences.
constexpr const char* kOne = R"(
create table parent (a int not null, constraint pk_one primary key (a))
create table child (a int not null, b char(9) default 'x' null, constraint fk_one foreign key (a)
  references parent (a))
create index ix_one on child (b)
insert parent values (1)
go
create view v as select a from child
go
create proc p @a int as select 1
go
)";
constexpr const char* kTwo = R"(
create table parent (a int not null, constraint pk_two primary key (a))
create table child (a int not null, b char(5) default 'y' null, constraint fk_two foreign key (a)
  references parent (a))
create unique index ix_two on child (b)
go
create view w as select a from child
go
create proc p @a money as select 1
go
)";

class Snapshots : public ::testing::Test {
 protected:
  int kelvane(const std::vector<std::string>& words) {
    out_.str("");
    err_.str("");
    return run(words, {out_, err_});
  }
  std::string path(const std::string& name) const { return (folder_ / name).string(); }
  std::string file(const std::string& name, const std::string& bytes) const {
    std::ofstream(path(name), std::ios::binary) << bytes;
    return path(name);
  }
  std::string snapshot(const std::string& script, std::vector<std::string> options = {}) {
    const std::string taken = path(std::to_string(++taken_) + ".json");
    options.insert(options.begin(), {"snapshot", script, "-o", taken});
    EXPECT_EQ(kelvane(options), kNoDifference) << err_.str();
    return taken;
  }
  static std::string example(const std::string& name) {
    return (std::filesystem::path(KELVANE_TEST_FOLDER) / "../../examples" / (name + ".sql"))
        .string();
  }

  std::ostringstream out_, err_;
  const kelvane::testing::TemporaryFolder folder_;
  int taken_ = 0;
};

TEST_F(Snapshots, StandForTheirDatabaseOnEitherSide) {
  const std::map<std::string, std::string> taken{{"shop-1", snapshot(example("shop-1"))},
                                                 {"shop-2", snapshot(example("shop-2"))}};
  ASSERT_EQ(kelvane({"compare", example("shop-1"), example("shop-2")}), kDifferences);
  const std::string expected = out_.str();
  for (const std::string& source : {example("shop-1"), taken.at("shop-1")}) {
    for (const std::string& target : {example("shop-2"), taken.at("shop-2")}) {
      EXPECT_EQ(kelvane({"compare", source, target}), kDifferences);
      EXPECT_EQ(out_.str(), expected);
    }
  }
  EXPECT_EQ(kelvane({"compare", example("shop-1"), taken.at("shop-1")}), kNoDifference);
  // The same database, the same text.
  ASSERT_EQ(kelvane({"snapshot", taken.at("shop-2")}), kNoDifference);
  std::ostringstream text;
  text << std::ifstream(taken.at("shop-2")).rdbuf();
  EXPECT_EQ(out_.str(), text.str());
}

// Every switch: what a snapshot was taken without cannot differ, also from one that was taken with
// it.
TEST_F(Snapshots, AreReadWithoutWhatIsSwitchedOff) {
  const std::string one = file("one.sql", kOne), two = file("two.sql", kTwo), whole = snapshot(one);
  for (const std::string name :
       {"Views", "Tables_RowCount", "Tables_Columns_Lengths", "StoredProcs_Columns_DataTypes",
        "Tables_PrimaryKeys_Names", "Tables_ForeignKeys_Names", "Tables_Indexes_Descriptions"}) {
    const std::vector<std::string> off{"--set", name + "=off"};
    ASSERT_EQ(kelvane({"compare", off[0], off[1], one, two}), kDifferences);
    const std::string expected = out_.str();
    kelvane({"compare", off[0], off[1], whole, two});
    EXPECT_EQ(out_.str(), expected) << name;
    const std::string without = snapshot(two, off);
    EXPECT_EQ(kelvane({"compare", off[0], off[1], whole, without}), kDifferences);
    EXPECT_EQ(out_.str(), expected) << name;
    EXPECT_EQ(err_.str(), "");
    // Not asked to leave it out, the command says that it had to.
    EXPECT_EQ(kelvane({"compare", whole, without}), kNotProven);
    EXPECT_THAT(err_.str(), HasSubstr("was taken without it: " + name + "\n"));
  }
}

TEST_F(Snapshots, OfAnIncompleteDatabaseProveNoEquality) {
  const std::string script = file("s.sql", "create table t (a int)\ngo\nselect b from t\ngo\n");
  const std::string taken = path("s.json");
  EXPECT_EQ(kelvane({"snapshot", "--keep-going", script, "-o", taken}), kNotProven);
  const std::string good = file("good.sql", "create table t (a int)\ngo\n");
  EXPECT_EQ(kelvane({"compare", taken, good}), kNotProven);
  EXPECT_THAT(out_.str(), ::testing::Not(HasSubstr("No differences.")));
  EXPECT_THAT(err_.str(),
              HasSubstr("source: when the snapshot was taken: not everything could be loaded"));
}

TEST_F(Snapshots, ThatCannotBeReadSayWhy) {
  const std::string good = file("good.sql", "create table t (a int)\ngo\n");
  const std::string cut = file("cut.json", "{\n \"kelvane snapshot\": 1,\n \"caseSens");
  const struct {
    std::vector<std::string> words;
    std::string complaint;
  } cases[] = {
      {{"compare", cut, good}, cut + ": line 3: ends too early: it was cut off"},
      {{"compare", good, path("none.json")}, path("none.json") + ": No such file or directory"},
      {{"snapshot"}, "snapshot needs one SIDE, or --server; see kelvane --help"},
      {{"snapshot", good, "-o", good},
       "--output would overwrite '" + good + "'; see kelvane --help"},
      {{"snapshot", good, "-o", path("no/where")},
       "cannot write snapshot '" + path("no/where") + "': No such file or directory"},
      {{"compare", "--set", "Tables_Kolumns=off", good, good},
       "there is no switch 'Tables_Kolumns'; kelvane switches lists them; see kelvane --help"},
      {{"compare", "--set", "Tables=maybe", good, good},
       "--set takes Tables=on or Tables=off, not 'Tables=maybe'; see kelvane --help"},
      {{"compare", "--format", "yaml", good, good},
       "--format takes text, tree, json or html, not 'yaml'; see kelvane --help"},
  };
  for (const auto& [words, complaint] : cases) {
    EXPECT_EQ(kelvane(words), kError);
    EXPECT_EQ(err_.str(), "kelvane: " + complaint + "\n");
  }
}

TEST_F(Snapshots, RulesLeaveDifferencesOut) {
  const std::string one = file("one.sql",
                               "create table T (a int)\ngo\ncreate proc p as\n  select "
                               "1\ngo\ngrant select on T to public\ngo\n");
  const std::string two =
      file("two.sql", "create table t (a int)\ngo\ncreate proc p as\n\tselect  1\n\ngo\n");
  EXPECT_EQ(kelvane({"compare", one, two}), kDifferences);
  EXPECT_EQ(kelvane({"compare", "--ignore-case", "--ignore-tabs", "--ignore-spaces",
                     "--ignore-line-breaks", "--no-permissions", one, two}),
            kNoDifference)
      << out_.str();
}

}  // namespace
}  // namespace kelvane::cli
