// The data of the HTML page of rows by their keys.
#include <fstream>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sstream>

#include "cli/screen/console.h"
#include "tests/cli/program.h"
#include "tests/support/temporary_folder.h"

namespace kelvane::cli {
namespace {

using nlohmann::json;
using testing::Program;

class KeyedPage : public ::testing::Test {
 protected:
  std::string file(const std::string& name, const std::string& text) const {
    std::string path = (folder_ / name).string();
    std::ofstream(path, std::ios::binary) << text;
    return path;
  }
  json dataOf(ExitStatus status, std::vector<std::string> options, const std::string& source,
              const std::string& target) const {
    const std::string page = (folder_ / "page.html").string();
    options.insert(options.begin(), {"data", "--html", page, file("source.sql", source),
                                     file("target.sql", target)});
    Program program(options, {});
    EXPECT_EQ(program.wait(), status) << program.output();
    std::ostringstream out;
    out << std::ifstream(page).rdbuf();
    const std::string text = out.str(), begin = "id=\"data\">", end = "</script>";
    const std::size_t from = text.find(begin) + begin.size(), to = text.find(end, from);
    EXPECT_NE(text.find(end, to + 1), text.npos);
    EXPECT_EQ(text.find(end, text.find(end, to + 1) + 1), text.npos) << "a value ends the script";
    return json::parse(text.substr(from, to - from));
  }

  const kelvane::testing::TemporaryFolder folder_;
};

TEST_F(KeyedPage, ShowsWhatDiffersAndNamesWhatIsEqual) {
  const std::string tables =
      "create table t (id int primary key, a varchar(40) null, b varchar(40) null)\n"
      "create table same (id int primary key)\n";
  const json data = dataOf(
      kDifferences, {"--show", "2"},
      tables +
          "create table gone (a int)\nalter table t add old int null\ngo\n"
          "insert t (id, a, b) values (1, 'one <b>red</b> nut', '</script>') insert t (id) values "
          "(2) insert t (id, a) values (3, 'null') insert same values (7)\n",
      tables +
          "insert t values (1, 'one <b>blue</b> nut', '</script>') insert t values (4, 'x', "
          "null) insert t values (3, null, null) insert same values (7)\n");
  EXPECT_EQ(data["notes"],
            json::parse(R"(["3 tables: 1 equal, 2 different, 0 not compared to the end"])"));
  EXPECT_EQ(data["equal"], json::parse(R"(["same: 1 equal; primary key: id"])"));
  EXPECT_EQ(data["kinds"], json::parse(R"([{"one": "table", "many": "tables", "objects": [
    {"name": "gone", "owner": "", "count": 1, "diffs": [], "side": "source", "parts": []},
    {"name": "t", "owner": "dbo", "count": 5, "diffs": [],
     "facts": ["0 equal, 2 changed, 1 only in source, 1 only in target", "primary key: id",
               "columns only in the source: old", "changed values: a 2"],
     "parts": [
       {"word": "column", "name": "old", "side": "source"},
       {"word": "row", "name": "id 1", "diffs": [
         {"label": "a", "values": [["one <b>", "red", "</b> nut"], ["one <b>", "blue", "</b> nut"]]}]},
       {"word": "row", "name": "id 2", "side": "source", "declaration": "a null, b null"}]}]}])"));
}

TEST_F(KeyedPage, TellsNullFromItsWordAndWhatWasNotCompared) {
  const std::string table = "create table t (a varchar(40) primary key, b varchar(9) null)\n";
  const json data = dataOf(kNotProven, {"--key", "u=nope", "--trim"},
                           table + "create table u (a int)\ninsert t values ('<!--', 'null')\n",
                           table + "create table u (a int)\ninsert t values ('<!--', null)\n");
  EXPECT_EQ(data["kinds"][0]["objects"][0]["parts"][0]["diffs"][0]["values"],
            json::parse(R"([["", "\"", "null", "\""], ["null"]])"));
  EXPECT_EQ(data["notes"][1], "Compared with --trim");
  EXPECT_EQ(data["gaps"],
            json::parse(R"(["u: error: the key's column nope is not on both sides"])"));
  EXPECT_FALSE(data.contains("equal"));
}

}  // namespace
}  // namespace kelvane::cli
