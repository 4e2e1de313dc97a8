#include "drivers/embedded/tsql/script.h"

#include <gmock/gmock.h>
#include <string>

namespace kelvane::tsql {
namespace {

using testing::ElementsAre;

// `<first line>x<repeat>:<text>` of each batch.
std::vector<std::string> batches(std::string_view script) {
  std::vector<std::string> result;
  for (const Batch& batch : splitScript(script))
    result.push_back(std::to_string(batch.firstLine) + "x" + std::to_string(batch.repeat) + ":" +
                     std::string(batch.text));
  return result;
}

TEST(Script, EndsBatchesAtGoLines) {
  EXPECT_THAT(batches("select 1\ngo\nselect 2\n\n  GO\t \nselect 3\nGo"),
              ElementsAre("1x1:select 1\n", "3x1:select 2\n\n", "6x1:select 3\n"));
  EXPECT_THAT(batches("go\n\ngo\nselect 1"), ElementsAre("4x1:select 1"));
  EXPECT_THAT(batches("insert t values (1)\ngo 4\nselect 1\n\tgo 12 "),
              ElementsAre("1x4:insert t values (1)\n", "3x12:select 1\n"));
  EXPECT_THAT(batches(""), ElementsAre());
}

TEST(Script, TakesOnlyWholeLinesForGo) {
  EXPECT_THAT(batches("goto x\ngo4\ngo on\ngo;\nselect go\n"),
              ElementsAre("1x1:goto x\ngo4\ngo on\ngo;\nselect go\n"));
}

TEST(Script, LooksIntoCommentsAndStrings) {
  const std::string hidden =
      "/* it's\ngo\n*/ print 'a\ngo\n' -- don't\nprint \"it's\ngo\n\" print 'it''s\ngo\n'\n";
  EXPECT_THAT(batches(hidden + "go\nselect 1"), ElementsAre("1x1:" + hidden, "12x1:select 1"));
  EXPECT_THAT(batches("select [it's] from [a]]\"b]\ngo\nselect [1\ngo\nprint ']'"),
              ElementsAre("1x1:select [it's] from [a]]\"b]\n", "3x1:select [1\n", "5x1:print ']'"));
}

TEST(Script, KeepsAnOpenQuoteOrCommentFromSwallowingTheRest) {
  EXPECT_THAT(batches("print 'x\ngo\nprint 2\ngo\n/* y\ngo\nprint \"z\n"),
              ElementsAre("1x1:print 'x\n", "3x1:print 2\n", "5x1:/* y\n", "7x1:print \"z\n"));
}

TEST(Script, EndsAtExit) {
  EXPECT_THAT(batches("select 1\ngo\n exit \nselect 2\ngo"), ElementsAre("1x1:select 1\n"));
  EXPECT_THAT(batches("select 1\nQUIT\nselect 2"), ElementsAre("1x1:select 1\n"));
}

TEST(Script, ThrowsAwayWhatIsReset) {
  EXPECT_THAT(batches("selec\n reset\nselect '\nreset\n'\ngo\nRESET\nselect 2"),
              ElementsAre("3x1:select '\nreset\n'\n", "8x1:select 2"));
  EXPECT_THROW(splitScript("select 1\n!! ls\n"), ScriptError);
  EXPECT_THAT(batches("print '\n:r x'\n"), ElementsAre("1x1:print '\n:r x'\n"));
}

TEST(Script, ReadsFilesAsEditorsLeaveThem) {
  EXPECT_THAT(batches("\xEF\xBB\xBFselect 1\r\ngo\r\nselect 'a\r\nb'\r\n GO 2 \r\n"),
              ElementsAre("1x1:select 1\r\n", "3x2:select 'a\r\nb'\r\n"));
  EXPECT_THROW(requireText(std::string_view("a\nb\0c", 5)), ScriptError);
  EXPECT_THROW(requireText(std::string_view("\xFF\xFEs\0", 4)), ScriptError);
}

}  // namespace
}  // namespace kelvane::tsql
