// How much kelvane compare says, and how: summaries, silence, colours.
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

TEST_F(Output, QuietLeavesTheExitStatusAndFiles) {
  for (const char* quiet : {"-q", "--quiet"}) {
    EXPECT_EQ(compare(kSource, kTarget, {quiet, "--json", path("j")}), kDifferences);
    EXPECT_EQ(out() + err(), "");
    EXPECT_THAT(contents("j"), HasSubstr("\"old_t\""));
    EXPECT_EQ(compare(kSource, kSource, {quiet}), kNoDifference);
    EXPECT_EQ(out() + err(), "");
  }
}

}  // namespace
}  // namespace kelvane::cli
