// Table data: what is compared, what is told, and what the exit status promises.
#include <atomic>
#include <fstream>
#include <gmock/gmock.h>
#include <latch>
#include <sstream>

#include "cli/data_progress.h"
#include "cli/run.h"
#include "support/tds_server/server.h"
#include "tests/cli/program.h"
#include "tests/support/temporary_folder.h"
#include "tests/tds/test_catalog.h"

namespace kelvane::cli {
namespace {

using ::testing::HasSubstr;
using testing::Program;

constexpr const char* kOne = R"(
create table same (a int, b varchar(20) null)
create table vals (a int null, b varchar(20) null)
create table more (a int)
create table gone (a int)
create table cols (a int, x int)
create table empty_cols (a int, x int)
go
insert same values (1, 'x') insert same values (2, null)
insert vals values (1, 'x') insert vals values (2, null) insert vals values (3, 'null')
insert more values (1) insert more values (2)
insert cols values (1, 2)
go
)";
constexpr const char* kTwo = R"(
create table same (a int, b varchar(20) null)
create table vals (a int null, b varchar(20) null)
create table more (a int)
create table fresh (a int)
create table cols (a int, y int)
create table empty_cols (a int, x int, y int)
go
insert same values (1, 'x') insert same values (2, null)
insert vals values (1, 'y') insert vals values (2, '') insert vals values (5, null)
insert more values (1)
insert cols values (1, 2)
go
)";
const std::string kWarning =
    "kelvane: rows are paired by position, in the order in which either side returns them: where "
    "that order is another one, equal rows count as different\n";
const std::string kUnproven = "kelvane: not everything could be compared: equality is not proven\n";

class Data : public ::testing::Test {
 protected:
  int data(std::vector<std::string> words, const OpenSide& open = openSide) {
    words.insert(words.begin(), "data");
    out_.str("");
    err_.str("");
    return run(words, {out_, err_}, open);
  }
  std::string file(const std::string& name, const std::string& bytes) const {
    const std::string path = (folder_ / name).string();
    std::ofstream(path, std::ios::binary) << bytes;
    return path;
  }

  std::ostringstream out_, err_;
  const kelvane::testing::TemporaryFolder folder_;
  const std::string one_ = file("one.sql", kOne), two_ = file("two.sql", kTwo);
};

TEST_F(Data, TellsWhatBecameOfEveryTable) {
  EXPECT_EQ(data({one_, two_, "--show", "3"}), kNotProven);
  EXPECT_EQ(out_.str(),
            "Table       Rows compared  Differing values  Null on one side  Ended\n"
            "cols                    0                 0                 0  error: There is no "
            "field with the name 'x'.\n"
            "  columns of the source alone: x\n"
            "  columns of the target alone: y\n"
            "empty_cols              0                 0                 0  all rows\n"
            "  columns of the target alone: y\n"
            "gone                    0                 0                 0  missing in the target\n"
            "more                    1                 0                 0  the source has more "
            "rows\n"
            "same                    2                 0                 0  all rows\n"
            "vals                    3                 2                 2  all rows\n"
            "  row 1, b: x -> y\n"
            "  row 2, b: null -> \" \"\n"
            "  row 3, a: 3 -> 5\n"
            "fresh                   0                 0                 0  missing in the source\n"
            "\n7 tables: 1 equal, 5 different, 0 equal up to a limit, 1 not compared to the end\n");
  EXPECT_EQ(err_.str(), kWarning + kUnproven);

  EXPECT_EQ(data({one_, two_, "--show", "9", "--table", "v?l*", "--format", "json"}), kDifferences);
  EXPECT_THAT(out_.str(), HasSubstr(R"(   "table": "vals",
   "rowsCompared": 3,
   "differingValues": 2,
   "nullsOnOneSide": 2,
   "ended": "bothEnded",
   "error": "",
   "columnsOnlyInSource": [],
   "columnsOnlyInTarget": [],)"));
  EXPECT_THAT(out_.str(),
              HasSubstr("\"row\": 2,\n     \"column\": \"b\",\n     \"target\": \" \"\n"));
  EXPECT_THAT(out_.str(), HasSubstr("\"column\": \"b\",\n     \"source\": \"null\"\n"));
}

// A status of 0 is a promise; a limit that was reached breaks it, a difference found before does
// not need it.
TEST_F(Data, TheExitStatusPromisesNoMoreThanWasSeen) {
  const struct {
    std::vector<std::string> options;
    ExitStatus toItself, toOther;
  } cases[] = {
      {{"--table", "same"}, kNoDifference, kNoDifference},
      {{"--table", "vals"}, kNoDifference, kDifferences},
      {{"--table", "more"}, kNoDifference, kDifferences},
      {{"--table", "gone"}, kNoDifference, kDifferences},
      {{"--table", "empty*"}, kNoDifference, kDifferences},
      {{"--table", "cols"}, kNoDifference, kNotProven},
      {{"--table", "same", "--max-rows", "2"}, kNoDifference, kNoDifference},
      {{"--table", "same", "--max-rows", "1"}, kNotProven, kNotProven},
      {{"--table", "vals", "--max-rows", "1"}, kNotProven, kDifferences},
      {{"--table", "vals", "--max-rows", "0"}, kNotProven, kNotProven},
      {{"--table", "vals", "--max-differences", "0"}, kNoDifference, kDifferences},
      {{"--table", "same", "--table", "vals", "--max-rows", "1"}, kNotProven, kDifferences},
  };
  for (const auto& [options, toItself, toOther] : cases) {
    SCOPED_TRACE(::testing::PrintToString(options));
    std::vector<std::string> words{one_, one_};
    words.insert(words.end(), options.begin(), options.end());
    EXPECT_EQ(data(words), toItself) << out_.str() << err_.str();
    words[1] = two_;
    EXPECT_EQ(data(words), toOther) << out_.str() << err_.str();
  }
  EXPECT_EQ(data({two_, one_, "--table", "gone"}), kDifferences);  // only the target has it
}

TEST_F(Data, WhatMakesNoSenseIsRefused) {
  const std::string bad = "; see kelvane --help\n";
  const struct {
    std::vector<std::string> words;
    std::string complaint;
  } cases[] = {
      {{one_},
       "data needs SOURCE and TARGET, with '--' between them when they are more than two, "
       "and was given 1" +
           bad},
      {{one_, "kept.json"},
       "'kept.json' is a snapshot, and a snapshot has no rows; name the "
       "database" +
           bad},
      {{one_, two_, "--max-rows", "-1"},
       "--max-rows takes a number from 0 to 2147483647, not '-1'" + bad},
      {{one_, two_, "--show", "3x"}, "--show takes a number from 0 to 2147483647, not '3x'" + bad},
      {{one_, two_, "--trace", one_}, "--trace would overwrite '" + one_ + "'" + bad},
  };
  for (const auto& [words, complaint] : cases) {
    EXPECT_EQ(data(words), kError);
    EXPECT_EQ(err_.str(), "kelvane: " + complaint);
  }
  EXPECT_EQ(data({one_, two_, "--table", "same", "--table", "sam"}), kError);
  EXPECT_EQ(err_.str(), kWarning + "kelvane: no table is called 'sam'\n");
}

TEST_F(Data, TablesOfEveryOwner) {
  const std::string script = file("owners.sql",
                                  "create table t (a int)\ngo\nexec sp_adduser ann\ngo\n"
                                  "create table ann.t (b int)\ncreate table ann.u (b int)\ngo\n"
                                  "insert ann.t values (1) insert ann.u values (2)\n");
  EXPECT_EQ(data({script, script}), kNoDifference);
  EXPECT_THAT(out_.str(), HasSubstr("\nann.t              1"));
  EXPECT_THAT(out_.str(), HasSubstr("\n3 tables: 3 equal, 0 different"));
  EXPECT_EQ(data({script, script, "--table", "ann.?"}), kNoDifference);
  EXPECT_THAT(out_.str(), HasSubstr("\n2 tables: 2 equal, 0 different"));
}

// A server that falls silent, and a user who has seen enough: what was compared before stands, and
// nothing more is asked.
TEST_F(Data, OfAServerEndsEarly) {
  if (std::system("odbcinst -q -d -n FreeTDS >/dev/null 2>&1") != 0)
    GTEST_SKIP() << "install tdsodbc and unixodbc";
  for (const bool interrupted : {false, true}) {
    SCOPED_TRACE(interrupted);
    auto catalog = tds::catalogOf(kOne);
    std::latch sent(1), goesOn(1);
    std::atomic<bool> askedAgain = false;
    const tds::TdsServer server(
        catalog, {.fault = [&](const std::string& batch, std::size_t) -> std::optional<tds::Fault> {
          if (batch.find("from same") != batch.npos) askedAgain = true;
          if (batch.find("select * from more") == batch.npos) return std::nullopt;
          if (!interrupted) return tds::Fault{tds::Fault::Kind::silence};
          sent.count_down();
          goesOn.wait();
          return std::nullopt;
        }});
    Program program({"data", "--query-limit", interrupted ? "300" : "1", one_, "--target-server",
                     "127.0.0.1:" + std::to_string(server.port()), "--target-user", "sa"},
                    {{"KELVANE_PASSWORD", "x"}});
    if (interrupted) {
      sent.wait();
      kill(program.id(), SIGINT);
      EXPECT_TRUE(program.waitFor("kelvane: interrupted; once more ends the program at once\n"));
      goesOn.count_down();
    }
    EXPECT_EQ(program.wait(), kNotProven);
    EXPECT_THAT(
        program.output(),
        HasSubstr("\ncols                    1                 0                 0  all rows\n"));
    EXPECT_THAT(
        program.output(),
        HasSubstr(
            "\nsame                    0                 0                 0  not compared\n"));
    EXPECT_THAT(program.output(),
                HasSubstr(interrupted ? "kelvane: interrupted\n"
                                      : "kelvane: target: no answer to \"select * from more\": "));
    EXPECT_FALSE(askedAgain);
  }
}

TEST(DataProgress, Pace) {
  EXPECT_EQ(paceText(0, 1, 5), u"");
  EXPECT_EQ(paceText(500, 2, std::nullopt), u"250 rows/s");
  EXPECT_EQ(paceText(500, 2, 29'750), u"250 rows/s, 119 s left");
  EXPECT_EQ(paceText(500, 2, 30'000), u"250 rows/s, 2 min left");
  EXPECT_EQ(paceText(500, 2, 2'250'000), u"250 rows/s, 3 h left");
}

}  // namespace
}  // namespace kelvane::cli
