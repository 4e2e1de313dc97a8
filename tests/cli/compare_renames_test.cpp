// Objects that probably were renamed: which are paired, and where that is told.
#include <gmock/gmock.h>
#include <set>

#include "tests/cli/compared_scripts.h"

namespace kelvane::cli {
namespace {

using ::testing::HasSubstr;

class Renames : public ComparedScripts {
 protected:
  // The guesses about what the source alone has: "name -> name (likeness)".
  std::set<std::string> guesses(const std::string& source, const std::string& target) {
    EXPECT_EQ(compare(source + "\ngo\n", target + "\ngo\n"), kDifferences) << err();
    std::set<std::string> found;
    std::istringstream lines(out());
    const std::string kMissing = ": only in source", kGuess = "    probably renamed to ";
    std::string name;
    for (std::string line; std::getline(lines, line);) {
      if (const auto at = line.find(kMissing); at != line.npos) name = line.substr(0, at);
      if (line.starts_with(kGuess)) found.insert(name + " -> " + line.substr(kGuess.size()));
    }
    return found;
  }
};

TEST_F(Renames, AreGuessedFromContents) {
  using Guesses = std::set<std::string>;
  const std::string five = " (a int, b int, c int, d int, e int)";
  const std::string code = " as\n  select 1\n  select 2\n  select 3\n  select 4\n  select 5";
  // What every table of a schema has tells nothing of which one it is.
  const std::string house = "id int, made datetime, maker int, changed datetime, ";
  std::string others;
  for (const std::string name : {"colour", "country", "size", "unit"})
    others.append("create table ").append(name).append(" (").append(house + name + "_text int)\n");
  const std::string bill = house + "no int, day datetime, customer int, total money, paid money";
  const struct {
    std::string source, target;
    Guesses expected;
  } cases[] = {
      {others + "create table shop (" + house + "street int)",
       others + "create table coin (" + house + "worth int)",
       {}},
      {others + "create table bill (" + bill + ")",
       others + "create table invoice (" + bill + ", due datetime)",
       {"table dbo.bill -> dbo.invoice (91% of the contents)"}},
      {"create table t (a int) insert t values (1)",
       "create table u (a int)",
       {"table dbo.t -> dbo.u (equal contents)"}},
      {"create table t (a int)", "create table u (a int null)", {}},
      {"create table t (a int, b int)", "create table u (b int, a int)", {}},
      {"create table t" + five,
       "create table u (x int, a int, b int, c int, d int, e int)",
       {"table dbo.t -> dbo.u (92% of the contents)"}},
      {"create table t" + five, "create table u (a int, b int, c int, f int, g int)", {}},
      // Neither contents that others have too nor lines of others alone say which table it is.
      {others + "create table a (id int) create table b (id int)",
       others + "create table a (id int) create table c (id int)",
       {}},
      {others + "create table shop (id int, maker int)",
       others + "create table coin (id int, maker int)",
       {}},
      // Of two that are equal, neither is the one.
      {"create table t" + five, "create table u" + five + " create table v" + five, {}},
      {"create table t" + five + "\ngo\ncreate trigger t_i on t for insert as print 't'",
       "create table u" + five + "\ngo\ncreate trigger u_i on u for insert as print 'u'",
       {"table dbo.t -> dbo.u (equal contents)"}},
      {"create proc p" + code,
       "create proc q" + code,
       {"procedure dbo.p -> dbo.q (equal contents)"}},
      {"create proc p" + code,
       "create proc q" + code + "\n  select 6",
       {"procedure dbo.p -> dbo.q (93% of the contents)"}},
      // The name is no part of the longer name.
      {"create proc p as select 'p', 'pp'", "create proc q as select 'q', 'qq'", {}},
      {"execute sp_addtype t, 'char(5)'",
       "execute sp_addtype u, 'char(5)'",
       {"type dbo.t -> dbo.u (equal contents)"}},
      {"create table t (a int)", "create view u as select a = 1", {}},
      {"execute sp_adduser t", "execute sp_adduser u", {}},
  };
  for (const auto& [source, target, expected] : cases)
    EXPECT_EQ(guesses(source, target), expected) << source << "\n" << target;
}

TEST_F(Renames, StandBesideBothMissingObjects) {
  const std::string source = "create table t (a int)\ngo\n",
                    target = "create table u (a int)\ngo\n";
  EXPECT_EQ(compare(source, target), kDifferences);
  EXPECT_EQ(out(),
            "source: " + path("source.sql") + " -> target: " + path("target.sql") +
                "\n\n"
                "table dbo.t: only in source\n    probably renamed to dbo.u (equal contents)\n\n"
                "table dbo.u: only in target\n    probably renamed from dbo.t (equal contents)\n\n"
                "2 differences in 2 objects: 2 tables.\n");
  EXPECT_EQ(compare(source, target, {"--format=json"}), kDifferences);
  EXPECT_THAT(out(), HasSubstr(" \"renames\": [\n  {\n   \"kind\": \"table\",\n   \"source\": "
                               "\"dbo.t\",\n   \"target\": \"dbo.u\",\n   \"likeness\": 100\n"));
}

}  // namespace
}  // namespace kelvane::cli
