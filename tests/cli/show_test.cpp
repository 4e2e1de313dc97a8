// The browser of one database: what it finds, how it sorts, and the text that it hands out.
#include <fstream>
#include <gmock/gmock.h>
#include <sstream>

#include "cli/run.h"
#include "tests/support/temporary_folder.h"

namespace kelvane::cli {
namespace {

using ::testing::HasSubstr;

const std::string kTrigger =
    "create trigger tr_pet on pet for insert as\n\tprint 'new  '  -- \u00E9\n\n";
const std::string kScript =
    "create table pet (id int not null, name varchar(30) null, born datetime null,\n"
    "  constraint pk_pet primary key (id))\n"
    "create table owner (id int not null)\ngo\ninsert pet values (1, 'Rex', null)\ngo\n"
    "create view owner_view as select id from owner\ngo\n" +
    kTrigger + "go\nexec sp_addtype sum_type, 'numeric(9,2)'\ngo\n" +
    "create proc find @id int as select 1\ngo\nexec sp_adduser ann\ngo\nsetuser 'ann'\ngo\n"
    "create view ann.pet as select id from dbo.owner\ngo\nsetuser\ngo\n";

class Show : public ::testing::Test {
 protected:
  int kelvane(const std::vector<std::string>& words) {
    out_.str("");
    err_.str("");
    return run(words, {out_, err_});
  }
  std::string file(const std::string& name, const std::string& bytes) const {
    const std::string path = (folder_ / name).string();
    std::ofstream(path, std::ios::binary) << bytes;
    return path;
  }
  // The lines of the answer between a heading and the next empty line.
  std::string part(const std::string& heading) const {
    const std::string text = out_.str();
    const std::size_t begin = text.find(heading);
    if (begin == text.npos) return "no " + heading;
    const std::size_t end = text.find("\n\n", begin);
    return text.substr(begin, end == text.npos ? end : end + 1 - begin);
  }

  std::ostringstream out_, err_;
  const kelvane::testing::TemporaryFolder folder_;
  const std::string script_ = file("s.sql", kScript);
};

TEST_F(Show, ListsObjectsAndWhatTheyConsistOf) {
  EXPECT_EQ(kelvane({"show", script_}), kNoDifference) << err_.str();
  EXPECT_THAT(out_.str(), HasSubstr("Tables (2)\n  dbo.owner\n  dbo.pet\n"
                                    "Views (2)\n  ann.pet\n  dbo.owner_view\n"
                                    "Procedures (1)\n  dbo.find\nFunctions (0)\n"));
  EXPECT_THAT(out_.str(), HasSubstr("Types (1)\n  dbo.sum_type\n"));

  EXPECT_EQ(kelvane({"show", script_, "table:pet"}), kNoDifference) << err_.str();
  EXPECT_EQ(part("table "), "table dbo.pet\n  Row Count  1\n  Max Width  0\n");
  EXPECT_EQ(part("Columns"),
            "Columns (3)\n"
            "  Name  Data Type  Default  Scale  Length  Nullable  Ordinal Position  Precision\n"
            "  id    int                 0      4       False     1                 10\n"
            "  name  varchar             0      30      True      2                 30\n"
            "  born  datetime            3      8       True      3                 23\n");
  EXPECT_EQ(part("Primary key"),
            "Primary key (1)\n  Columns  Name    Attributes\n"
            "  id       pk_pet  Clustered\n");
  EXPECT_EQ(part("Foreign keys"), "Foreign keys (0)\n");

  EXPECT_EQ(kelvane({"show", script_, "tr_pet"}), kNoDifference) << err_.str();
  EXPECT_EQ(out_.str(),
            "trigger dbo.pet.tr_pet\n"
            "  Definition  65 bytes of SQL code (double-click to view)\n"
            "  Is Insert   True\n  Is Update   False\n  Is Delete   False\n");
  EXPECT_EQ(kelvane({"show", script_, "sum_type", "--format", "json"}), kNoDifference);
  EXPECT_THAT(out_.str(), HasSubstr(" \"kind\": \"type\",\n \"name\": \"dbo.sum_type\",\n"
                                    " \"properties\": {\n  \"Base Type\": \"numeric\",\n"));
}

TEST_F(Show, SortsByAnyProperty) {
  const struct {
    std::vector<std::string> options;
    std::vector<std::string> names;
  } cases[] = {
      {{"--sort", "Name"}, {"born", "id", "name"}},
      {{"--sort", "length"}, {"name", "id", "born"}},  // "30", "4", "8"
      {{"--sort", "Length", "--numeric"}, {"id", "born", "name"}},
      {{"--sort", "Length", "--numeric", "--descending"}, {"name", "born", "id"}},
      {{"--sort", "Nullable", "--descending"}, {"name", "born", "id"}},  // equal ones stay
  };
  for (const auto& [options, names] : cases) {
    std::vector<std::string> words{"show", script_, "table:pet"};
    words.insert(words.end(), options.begin(), options.end());
    EXPECT_EQ(kelvane(words), kNoDifference) << err_.str();
    std::istringstream lines(part("Columns"));
    std::vector<std::string> found;
    std::string line;
    for (int skipped = 0; std::getline(lines, line); ++skipped) {
      if (skipped >= 2) found.push_back(line.substr(2, line.find(' ', 2) - 2));
    }
    EXPECT_EQ(found, names) << ::testing::PrintToString(options);
  }
}

TEST_F(Show, TheSourceIsTheDefinitionAndNothingElse) {
  const std::string snapshot = (folder_ / "s.json").string();
  ASSERT_EQ(kelvane({"snapshot", script_, "-o", snapshot}), kNoDifference) << err_.str();
  for (const std::string& side : {script_, snapshot}) {
    EXPECT_EQ(kelvane({"show", "--source", side, "trigger:tr_pet"}), kNoDifference) << err_.str();
    EXPECT_EQ(out_.str(), kTrigger);
  }
  // A snapshot answers what its database answers.
  for (const std::vector<std::string>& object :
       {std::vector<std::string>{}, {"table:pet"}, {"find"}, {"ann"}, {"public"}}) {
    std::vector<std::string> words{"show", script_};
    words.insert(words.end(), object.begin(), object.end());
    EXPECT_EQ(kelvane(words), kNoDifference);
    const std::string expected = out_.str();
    words[1] = snapshot;
    EXPECT_EQ(kelvane(words), kNoDifference);
    EXPECT_EQ(out_.str(), expected);
  }
}

TEST_F(Show, TheSourceOfATriggerIsThatOfItsTable) {
  const std::string ofAnn = "create trigger tr on t for insert as print 'of ann'\n";
  const std::string ofDbo = "create trigger tr on t for insert as print 'of dbo'\n";
  const std::string two =
      file("two.sql", "create table t (a int)\ngo\n" + ofDbo + "go\nexec sp_adduser ann\ngo\n" +
                          "setuser 'ann'\ngo\ncreate table t (a int)\ngo\n" + ofAnn + "go\n");
  EXPECT_EQ(kelvane({"show", two, "trigger:dbo.t.tr", "--source"}), kNoDifference) << err_.str();
  EXPECT_EQ(out_.str(), ofDbo);
  EXPECT_EQ(kelvane({"show", two, "trigger:ann.t.tr", "--source"}), kNoDifference) << err_.str();
  EXPECT_EQ(out_.str(), ofAnn);
  EXPECT_EQ(kelvane({"show", two, "trigger:tr", "--source"}), kError);
  EXPECT_EQ(out_.str(), "");
  EXPECT_EQ(err_.str(),
            "kelvane: 'tr' stands for trigger ann.t.tr, trigger dbo.t.tr; say which, as in "
            "trigger:ann.t.tr\n");
}

TEST_F(Show, ListAsksForNames) {
  EXPECT_EQ(kelvane({"list", script_, "view"}), kNoDifference) << err_.str();
  EXPECT_EQ(out_.str(), "ann.pet\ndbo.owner_view\n");
  EXPECT_EQ(kelvane({"list", script_}), kNoDifference);
  EXPECT_THAT(out_.str(), HasSubstr("view:ann.pet\nview:dbo.owner_view\nprocedure:dbo.find\n"));
  const std::string other = file("other.sql", "create table one_more (a int)\ngo\n");
  EXPECT_EQ(kelvane({"list", "--format=json", script_, other, "--", "table"}), kNoDifference);
  EXPECT_THAT(out_.str(),
              HasSubstr("{\n  \"table\": [\n   \"dbo.one_more\",\n   \"dbo.owner\",\n"));
  const std::string trace = (folder_ / "trace").string();
  EXPECT_EQ(kelvane({"list", script_, "group", "--trace", trace}), kNoDifference);
  std::ostringstream asked;
  asked << std::ifstream(trace).rdbuf();
  EXPECT_THAT(asked.str(), HasSubstr("SELECT name FROM sysusers WHERE uid=gid"));
  EXPECT_THAT(asked.str(), ::testing::Not(HasSubstr("sysobjects")));
}

TEST_F(Show, WhatCannotBeShownIsSaid) {
  const std::string snapshot = (folder_ / "s.json").string();
  ASSERT_EQ(kelvane({"snapshot", script_, "-o", snapshot}), kNoDifference);
  const std::string bad = "; see kelvane --help";
  const struct {
    std::vector<std::string> words;
    std::string complaint;
  } cases[] = {
      {{"show", script_, "pett"},
       "there is no object 'pett'; did you mean table dbo.pet, view ann.pet?"},
      {{"show", script_, "table:zzz"}, "there is no table 'zzz'"},
      {{"show", script_, "Pet"},
       "there is no object 'Pet'; did you mean table dbo.pet, view ann.pet?"},
      {{"show", script_, "pet"},
       "'pet' stands for table dbo.pet, view ann.pet; say which, as in table:dbo.pet"},
      {{"show", script_, "dbo.pet", "--source"},
       "table dbo.pet has no definition; views, procedures, functions and triggers have one"},
      {{"show", script_, "ann", "--sort", "Size"},
       "nothing of user ann has a property 'Size'; there are: Name, Value, CREATE DEFAULT, CREATE "
       "PROCEDURE, CREATE RULE, CREATE TABLE, CREATE VIEW"},
      {{"show", script_, "--source"}, "--source needs an OBJECT" + bad},
      {{"show", script_, "pet", "--numeric"}, "--numeric needs --sort" + bad},
      {{"show", script_, "find", "--source", "--format", "json"},
       "--source writes a text as it is: it goes with neither --sort nor --format" + bad},
      {{"list", script_, "tabel"},
       "a KIND is table, view, procedure, function, user, group or type, not 'tabel'" + bad},
      {{"list", snapshot},
       "list asks a database, and '" + snapshot +
           "' is a snapshot: kelvane show lists what is in it" + bad},
  };
  for (const auto& [words, complaint] : cases) {
    EXPECT_EQ(kelvane(words), kError);
    EXPECT_EQ(err_.str(), "kelvane: " + complaint + "\n");
    EXPECT_EQ(out_.str(), "");
  }
}

TEST_F(Show, GapsAreToldAndProveNothing) {
  const std::string broken =
      file("broken.sql", "create table t (a int)\ngo\nselect b from t\ngo\n");
  for (const std::string command : {"show", "list"}) {
    EXPECT_EQ(kelvane({command, "--keep-going", broken}), kNotProven);
    EXPECT_THAT(out_.str(), HasSubstr("dbo.t\n"));
    EXPECT_THAT(err_.str(), HasSubstr("kelvane: not everything could be loaded\n"));
  }
  const std::string snapshot = (folder_ / "part.json").string();
  ASSERT_EQ(kelvane({"snapshot", "--set", "Tables_Triggers=off", script_, "-o", snapshot}), 0);
  EXPECT_EQ(kelvane({"show", snapshot, "dbo.pet"}), kNotProven);
  EXPECT_EQ(err_.str(), "kelvane: the snapshot was taken without Tables_Triggers\n");
  EXPECT_EQ(kelvane({"show", snapshot, "tr_pet"}), kError);
  EXPECT_EQ(err_.str(),
            "kelvane: the snapshot was taken without Tables_Triggers\n"
            "kelvane: there is no object 'tr_pet'\n");
}

}  // namespace
}  // namespace kelvane::cli
