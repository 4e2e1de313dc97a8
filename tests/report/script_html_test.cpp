// The change script in the data of the page: whatever its texts are, and which step ends what.
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sstream>

#include "change_script/plan.h"
#include "inventory/compare/compare.h"
#include "report/change_report.h"
#include "tests/support/made_inventory.h"

namespace kelvane::inventory {
namespace {

using change_script::ChangeScript;
using change_script::Stage;
using change_script::Step;
using nlohmann::json;

std::size_t countIn(const std::string& text, const std::string& part) {
  std::size_t count = 0;
  for (std::size_t at = text.find(part); at != text.npos; at = text.find(part, at + 1)) ++count;
  return count;
}

json dataOf(const std::vector<Change>& changes, const ChangeScript* script) {
  std::ostringstream out;
  if (script == nullptr) {
    writeHtmlReport(changes, {"a", "b", "1"}, out);
  } else {
    const ShownScript shown{*script, {"</script>"}};
    writeHtmlReport(changes, {"a", "b", "1"}, out, &shown);
  }
  const std::string page = out.str(), begin = "id=\"data\">";
  EXPECT_EQ(countIn(page, "</script"), 2U);
  const std::size_t from = page.find(begin) + begin.size();
  return json::parse(page.substr(from, page.find("</script>", from) - from));
}

Step stepFor(Kind kind, const std::string& object, const std::string& difference) {
  Step step{Stage::columns, kind, object, difference, {}};
  step.batches.push_back({Phase::tables, "print '</script><!--&'", {}, false, false});
  return step;
}

TEST(ScriptHtml, ADifferenceHasTheStepsThatEndIt) {
  const std::string odd = "</script>\n'\"&";
  Database source, target;
  source.tables = {testing::table("t", {testing::column("a", "int"), testing::column(odd, "int")})};
  target.tables = {testing::table("t", {testing::column("b", "int")})};
  const std::vector<Change> changes = compare(source, target);
  ASSERT_EQ(changes[0].parts.size(), 3U);
  const auto part = [&](std::size_t at) {
    return change_script::described(changes[0], &changes[0].parts[at]);
  };

  ChangeScript script;
  script.steps = {stepFor(Kind::table, "dbo.t", part(0)), stepFor(Kind::table, "dbo.t", part(1)),
                  stepFor(Kind::table, "dbo.t", "another\n" + part(0)),
                  stepFor(Kind::table, "dbo.t", "the table is made again")};
  script.steps.insert(script.steps.begin(), script.steps[0]);
  script.steps[0].stage = Stage::checks;
  script.steps[1].isAllowed = false;
  script.steps[1].dangers = script.steps[1].missing = {change_script::Danger::narrow};
  script.steps[1].rows = 3;
  script.steps[3].isAllowed = false;
  script.steps[3].needs = {1, 2};
  script.omissions = {{part(2), "nobody knows how"}, {"table dbo.t: column order", "it stays"}};
  const json data = dataOf(changes, &script);

  const json& table = data["kinds"][0]["objects"][0];
  EXPECT_EQ(table["parts"][0]["steps"], json::parse("[[1, 0], [3, 1]]"));
  EXPECT_EQ(table["parts"][1]["steps"], json::parse("[[2, 0]]"));
  EXPECT_EQ(table["parts"][2]["steps"], json::array());
  EXPECT_EQ(table["parts"][2]["omitted"], json::parse("[0]"));
  EXPECT_EQ(table["omitted"], json::parse("[0, 1]"));
  const json& steps = data["script"]["steps"];
  EXPECT_TRUE(steps[0]["isCheck"]);
  EXPECT_EQ(steps[1]["why"], "it needs --allow narrow; the table has 3 rows");
  EXPECT_EQ(steps[1]["classes"], json::parse(R"(["narrow"])"));
  EXPECT_EQ(steps[3]["needs"], json::parse("[1]"));
  EXPECT_EQ(steps[4]["text"], "-- the table is made again\nprint '</script><!--&'\ngo\n");
  EXPECT_EQ(data["script"]["stages"],
            json::parse(R"(["what must hold before anything is done", "columns"])"));
  EXPECT_EQ(data["script"]["omissions"][1]["reason"], "it stays");
}

TEST(ScriptHtml, NoScriptNoSteps) {
  const testing::MadeInventories made;
  const std::string data = dataOf(compare(made.source, made.target), nullptr).dump();
  EXPECT_EQ(countIn(data, "\"steps\""), 0U);
  EXPECT_EQ(countIn(data, "\"script\""), 0U);
}

TEST(ScriptHtml, EveryDifferenceOfAnObjectHasStepsOrAReason) {
  const testing::MadeInventories made;
  for (const auto& [source, target] :
       {std::pair{&made.source, &made.target}, std::pair{&made.target, &made.source}}) {
    const auto changes = compare(*source, *target);
    const ChangeScript script = change_script::plan(*source, *target, changes, {});
    const json data = dataOf(changes, &script);
    for (const json& kind : data["kinds"]) {
      if (kind["one"] == "database") continue;  // a step for all of its options
      for (const json& object : kind["objects"]) {
        for (const json& part : object["parts"])
          EXPECT_FALSE(part["steps"].empty() && part["omitted"].empty()) << object["name"] << part;
        if (object.contains("side")) {
          EXPECT_FALSE(object["steps"].empty() && object["omitted"].empty()) << object["name"];
        }
      }
    }
  }
}

}  // namespace
}  // namespace kelvane::inventory
