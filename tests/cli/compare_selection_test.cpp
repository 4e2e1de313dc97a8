// --include and --exclude: what takes part, what is asked of the server, what is said about it.
#include <gmock/gmock.h>
#include <set>
#include <sstream>

#include "cli/selection.h"
#include "tests/cli/compared_scripts.h"

namespace kelvane::cli {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

constexpr const char* kSource = R"(
create table cust (a int)
create table cust_tmp (a int)
create table item (a int)
go
create view cust_v as select a from cust
go
create proc cust_p as select 1
go
execute sp_adduser 'ann'
go
)";

constexpr const char* kNothing = "print 'nothing'\ngo\n";

class SelectedObjects : public ComparedScripts {
 protected:
  // The names of the objects that are compared with an empty database.
  std::set<std::string> compared(const std::vector<std::string>& options) {
    compare(kSource, kNothing, options);
    std::set<std::string> names;
    std::istringstream lines(out());
    const std::string ending = ": only in source";
    for (std::string line; std::getline(lines, line);)
      if (line.ends_with(ending) && line[0] != ' ')
        names.insert(line.substr(0, line.size() - ending.size()));
    return names;
  }
};

TEST_F(SelectedObjects, PatternsChoose) {
  using Names = std::set<std::string>;
  const std::string view = "view dbo.cust_v", procedure = "stored procedure dbo.cust_p";
  const struct {
    std::vector<std::string> options;
    Names expected;
  } cases[] = {
      {{"--include", "cust"}, {"table dbo.cust"}},
      {{"--include=c*"}, {"table dbo.cust", "table dbo.cust_tmp", view, procedure}},
      {{"--include", "c*", "--exclude", "table:*_t?p"}, {"table dbo.cust", view, procedure}},
      {{"--include=table:dbo.i*m", "--include=view:*"}, {"table dbo.item", view}},
      {{"--exclude", "dbo.*"}, {"user ann"}},
      {{"--include", "d*"}, {}},  // is about names, not about owners
      {{"--include", "user:a?n"}, {"user ann"}},
      {{"--include", "ITEM"}, {}},
      {{"--include", "ITEM", "--ignore-case"}, {"table dbo.item"}},
      {{"--include", "ITEM", "--exclude", "i*", "--ignore-case"}, {}},
      {{"--include", "*", "--exclude", "table:none"},
       {"table dbo.cust", "table dbo.cust_tmp", "table dbo.item", view, procedure, "user ann"}},
  };
  for (const auto& [options, expected] : cases)
    EXPECT_EQ(compared(options), expected) << ::testing::PrintToString(options);
}

TEST_F(SelectedObjects, SnapshotsAreChosenFromAsDatabasesAre) {
  const std::string source = file("s.sql", kSource);
  ASSERT_EQ(kelvane({"snapshot", source, "-o", path("s.json")}), kNoDifference);
  const std::string target = file("t.sql", "create table item (a int null)\ngo\n");
  const std::vector<std::string> options{"--include", "table:*", "--exclude", "*_tmp"};
  for (const std::string& side : {source, path("s.json")}) {
    EXPECT_EQ(compareFiles(side, target, options), kDifferences);
    EXPECT_THAT(out(),
                HasSubstr("table dbo.item\n    column a\n        Nullable: False -> True\n"));
    EXPECT_THAT(out(), HasSubstr("Left out by patterns: 7 objects of the source, 3 objects of the "
                                 "target.\n"));
    EXPECT_THAT(err(), Not(HasSubstr("matches no object")));
  }
}

TEST_F(SelectedObjects, NothingIsAskedAboutWhatIsLeftOut) {
  compare(kSource, kNothing, {"--exclude", "cust*", "--trace", path("trace")});
  EXPECT_THAT(contents("trace"), HasSubstr("item"));
  EXPECT_THAT(contents("trace"), Not(HasSubstr("cust")));
}

// A server that ignores case may be compared with one that does not, which decides.
TEST(SelectionOfNames, WaitsForTheOtherSideWhereCaseMatters) {
  const std::vector<std::string> words{"x*"};
  const Selection selection(Arguments{{{kExclude, words}}, {}, {}});
  const Selection decided(Arguments{{{kExclude, words}}, {}, {}}, CaseMode::ignore);
  Schema schema;
  for (const char16_t* name : {u"x1", u"X2", u"y"}) {
    const Selection::Name both{name, name};
    Selection::Tally tally;
    const std::u16string_view text = name;
    EXPECT_EQ(selection.leavesUnread(entity_TABLE, both, CaseMode::ignore, tally), text == u"x1");
    EXPECT_EQ(selection.leavesUnread(entity_TABLE, both, CaseMode::exact, tally), text == u"x1");
    EXPECT_EQ(decided.leavesUnread(entity_TABLE, both, CaseMode::exact, tally), text != u"y");
    Table table;
    table.Name = table.FullName = name;
    schema.Tables.append(table);
  }
  for (const auto& [mode, left] : {std::pair(CaseMode::exact, 2), {CaseMode::ignore, 1}}) {
    Schema copy = schema;
    Selection::Tally tally;
    selection.apply(copy, mode, tally);
    EXPECT_EQ(copy.Tables.count(), left);
    EXPECT_EQ(tally.leftOut, static_cast<std::size_t>(3 - left));
  }
}

TEST_F(SelectedObjects, WhatIsLeftOutIsTold) {
  EXPECT_EQ(compare(kSource, kSource, {"--include=cust*", "--exclude=none", "--format=json"}),
            kNoDifference);
  const std::string note = "Left out by patterns: ";
  EXPECT_THAT(err(), HasSubstr("kelvane: --exclude none matches no object\nkelvane: " + note));
  EXPECT_THAT(out(), HasSubstr("\"complete\": true"));
  EXPECT_THAT(out(), HasSubstr("\"notes\": [\n  \"" + note));
  EXPECT_EQ(compare(kSource, kNothing, {"--include", "tabel:x"}), kError);
  EXPECT_EQ(err(),
            "kelvane: --include 'tabel:x': 'tabel' is no kind; write table, view, procedure, "
            "function, user, group or type; see kelvane --help\n");
}

}  // namespace
}  // namespace kelvane::cli
