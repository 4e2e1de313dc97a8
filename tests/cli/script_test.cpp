// kelvane script: its steps as data, accepted differences, tables with rows.
#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include "tests/cli/compared_scripts.h"
#include "tests/report/json_schema.h"

namespace kelvane::cli {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

class Script : public ComparedScripts {
 protected:
  int script(const std::string& source, const std::string& target,
             std::vector<std::string> options = {}) {
    options.insert(options.begin(),
                   {"script", file("source.sql", source), file("target.sql", target)});
    return kelvane(options);
  }
};

const char* const kSource =
    "create table t (a varchar(5) null, k int not null)\ngo\n"
    "create view v as select a from t\ngo\n";
const char* const kTarget =
    "create table t (a varchar(9) null, b int null, k int not null)\ngo\n"
    "create view v as select b from t\ngo\ninsert t values ('x', 1, 2)\n"
    "insert t values ('y', 1, 2)\ngo\n";

TEST_F(Script, AsDataIsWhatItsSchemaSays) {
  EXPECT_EQ(script(kSource, kTarget, {"--format", "json", "--allow", "narrow"}), kDifferences);
  const nlohmann::json data = nlohmann::json::parse(out());
  const nlohmann::json schema = kelvane::testing::documentedSchema("script.schema.json");
  EXPECT_EQ(kelvane::testing::violations(data, schema), std::vector<std::string>());
  EXPECT_EQ(data["left"], nlohmann::json({"table dbo.t, column b: only in target"}));
  const auto isOf = [](const std::string& danger) {
    return [danger](const nlohmann::json& step) {
      return step["classes"] == nlohmann::json({danger});
    };
  };
  const auto drop = std::ranges::find_if(data["steps"], isOf("drop-column"));
  ASSERT_NE(drop, data["steps"].end());
  EXPECT_EQ((*drop)["rows"], 2);
  EXPECT_EQ((*drop)["done"], false);
  const auto narrow = std::ranges::find_if(data["steps"], isOf("narrow"));
  ASSERT_NE(narrow, data["steps"].end());
  EXPECT_EQ((*narrow)["done"], true);
}

TEST_F(Script, AllowsForTablesWithoutRows) {
  EXPECT_EQ(script(kSource, kTarget, {"--allow", "narrow,drop-column:empty"}), kDifferences);
  EXPECT_THAT(out(), HasSubstr("it needs --allow drop-column; the table has 2 rows"));
  const std::string empty = std::string(kTarget).substr(0, std::string(kTarget).find("insert"));
  EXPECT_EQ(script(kSource, empty, {"--allow", "narrow,drop-column:empty"}), kNoDifference);
  EXPECT_THAT(out(), HasSubstr("table dbo.t has rows"));
  EXPECT_EQ(script(kSource, empty, {"--allow", "revoke:empty"}), kError);
  EXPECT_THAT(err(), HasSubstr("--allow revoke has nothing to do with rows"));
}

// What is accepted stays, and does not count as something that the script should have ended.
TEST_F(Script, LeavesWhatIsAccepted) {
  const std::string known = path("known.txt");
  EXPECT_EQ(compare(kSource, kTarget, {"--write-accept", known}), kDifferences);
  EXPECT_EQ(script(kSource, kTarget, {"--accept", known}), kNoDifference) << err();
  EXPECT_THAT(out(), HasSubstr("proved: after this script nothing differs"));
  EXPECT_THAT(out(), Not(HasSubstr("alter table")));
}

}  // namespace
}  // namespace kelvane::cli
