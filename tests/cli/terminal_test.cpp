// What a terminal shows while scripts are loaded and reports written, and what Ctrl-C leaves
// behind.
#include <gmock/gmock.h>
#include <sys/stat.h>

#include "tests/cli/compared_scripts.h"
#include "tests/cli/program.h"

namespace kelvane::cli {
namespace {

using kelvane::testing::Program;
using ::testing::HasSubstr;

class OnATerminal : public ComparedScripts {
 protected:
  // Where a program waits for as long as nobody opens the other end.
  std::string pipe() const {
    mkfifo(path("pipe").c_str(), 0600);
    return path("pipe");
  }
  const std::string script_ = file("a.sql", "create table t (a int)\ngo\n");
};

TEST_F(OnATerminal, CtrlCWhileLoadingEndsTheProgram) {
  Program program({"compare", script_, pipe()}, {}, Program::Terminal::own);
  ASSERT_TRUE(program.waitFor("target: loading 0%"));
  program.type("\x03");
  EXPECT_EQ(program.wait(), 128 + SIGINT);
  EXPECT_THAT(program.output(),
              HasSubstr("kelvane: interrupted while loading: there is no result"));
}

TEST_F(OnATerminal, CtrlCWhileWritingTellsWhatIsIncomplete) {
  Program program({"compare", script_, script_, "--html", pipe()}, {}, Program::Terminal::own);
  ASSERT_TRUE(program.waitFor("kelvane: writing "));
  EXPECT_THAT(program.output(), HasSubstr("source: 100% "));
  program.type("\x03");
  EXPECT_EQ(program.wait(), 128 + SIGINT);
  EXPECT_THAT(program.output(),
              HasSubstr("kelvane: interrupted while writing: " + pipe() + " is incomplete"));
}

}  // namespace
}  // namespace kelvane::cli
