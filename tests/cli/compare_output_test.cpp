// How much kelvane compare says, and how: summaries, silence, colours.
#include <cstdlib>
#include <gmock/gmock.h>

#include "tests/cli/compared_scripts.h"

namespace kelvane::cli {
namespace {

using ::testing::HasSubstr;

constexpr const char* kSource = R"(
create table t (a int, b char(5) not null)
create table old_t (x datetime)
go
create view v as select a from t
go
)";
constexpr const char* kTarget = R"(
create table t (a int null, b char(9) null)
create table u (y text, z money)
go
)";

class Output : public ComparedScripts {};

TEST_F(Output, ASummaryCountsKinds) {
  EXPECT_EQ(compare(kSource, kTarget, {"--summary"}), kDifferences);
  EXPECT_EQ(out(),
            "                    differ  only in source  only in target  differences\n"
            "tables                   1               1               1            6\n"
            "views                    0               1               0            1\n"
            "\n"
            "7 differences in 4 objects: 3 tables, 1 view.\n");
  EXPECT_EQ(compare(kSource, kSource, {"--summary", "-o", path("o")}), kNoDifference);
  EXPECT_EQ(out(), "");
  EXPECT_EQ(contents("o"), "No differences.\n");
  EXPECT_EQ(compare(kSource, kSource, {"--summary", "--format", "json"}), kError);
  EXPECT_EQ(err(), "kelvane: --summary is a text, not json; see kelvane --help\n");
}

TEST_F(Output, ATreeGoesWhereItIsAskedFor) {
  EXPECT_EQ(compare(kSource, kTarget, {"--format", "tree", "--tree", path("t")}), kDifferences);
  EXPECT_THAT(out(), HasSubstr("|   |-- dbo.old_t: only in source\n"));
  EXPECT_EQ(contents("t"), out());
}

TEST_F(Output, VerboseTellsWhatWasRead) {
  EXPECT_EQ(compare(kSource, kTarget, {"-v"}), kDifferences);
  const std::string sourceThenTarget =
      "source.sql: 2 batches in .* s\nkelvane: source: loaded in .* s\n"
      ".*target.sql: 1 batch in .* s\nkelvane: target: loaded in .* s\n"
      "kelvane: source: read 2 tables, 1 view, .* in .* s\nkelvane: target: read 2 tables, .* s\n";
  EXPECT_THAT(err(), ::testing::ContainsRegex(sourceThenTarget));
}

TEST_F(Output, QuietLeavesTheExitStatusAndFiles) {
  for (const char* quiet : {"-q", "--quiet"}) {
    EXPECT_EQ(compare(kSource, kTarget, {quiet, "--json", path("j")}), kDifferences);
    EXPECT_EQ(out() + err(), "");
    EXPECT_THAT(contents("j"), HasSubstr("\"old_t\""));
    EXPECT_EQ(compare(kSource, kSource, {quiet}), kNoDifference);
    EXPECT_EQ(out() + err(), "");
  }
}

// The text without what tells a terminal about colours.
std::string withoutColors(std::string text) {
  for (std::size_t at = 0; (at = text.find("\x1b[", at)) != text.npos;)
    text.erase(at, text.find('m', at) + 1 - at);
  return text;
}

class Colored : public ComparedScripts {
 protected:
  Colored() {
    outIsTerminal = true;
    unsetenv("NO_COLOR");
    setenv("TERM", "xterm", 1);
  }
  bool isColored(const std::vector<std::string>& options) {
    EXPECT_EQ(compare(kSource, kTarget, options), kDifferences) << err();
    return withoutColors(out()) != out();
  }
};

TEST_F(Colored, TextIsTheSameWithoutTheColors) {
  outIsTerminal = false;
  const std::string code = "create proc p as\n  select '\x1b[31m'\n", other = code + "  select 2\n";
  ASSERT_EQ(compare(kSource + code, kTarget + other), kDifferences) << err();
  const std::string plain = out();
  compare(kSource + code, kTarget + other, {"--color", "always"});
  EXPECT_EQ(withoutColors(out()), plain);
  EXPECT_THAT(out(), HasSubstr("\x1b[1mtable dbo.t\x1b[0m\n    column a\n        Nullable: "
                               "\x1b[31mFalse\x1b[0m -> \x1b[32mTrue\x1b[0m\n"));
  EXPECT_THAT(out(), HasSubstr("\x1b[32m+   select 2\x1b[0m\n"));
}

TEST_F(Colored, OnATerminalUnlessRefused) {
  EXPECT_TRUE(isColored({}));
  EXPECT_FALSE(isColored({"--color=never"}));
  EXPECT_FALSE(isColored({"--format=json"}));
  EXPECT_FALSE(isColored({"-o", path("o")}));
  EXPECT_EQ(withoutColors(contents("o")), contents("o"));
  setenv("NO_COLOR", "1", 1);
  EXPECT_FALSE(isColored({}));
  EXPECT_TRUE(isColored({"--color=always"}));
  unsetenv("NO_COLOR");
  setenv("TERM", "dumb", 1);
  EXPECT_FALSE(isColored({}));
  EXPECT_EQ(compare(kSource, kTarget, {"--color", "on"}), kError);
  EXPECT_EQ(err(), "kelvane: --color takes auto, always or never, not 'on'; see kelvane --help\n");
}

}  // namespace
}  // namespace kelvane::cli
