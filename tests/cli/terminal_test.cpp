// What a terminal shows: colors, progress while scripts are loaded and reports written, and what
// Ctrl-C leaves behind.
#include <array>
#include <cstdlib>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include "model/text.h"
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
  const std::string other_ = file("b.sql", "create table t (a int null)\ngo\n");
};

TEST_F(OnATerminal, ColorsAreForTextUnlessRefused) {
  outIsTerminal = true;
  const auto isColored = [&](const std::vector<std::string>& options) {
    EXPECT_EQ(compareFiles(script_, other_, options), kDifferences) << err();
    return out().find("\x1b[") != std::string::npos;
  };
  unsetenv("NO_COLOR");
  setenv("TERM", "xterm", 1);
  EXPECT_TRUE(isColored({}));
  EXPECT_FALSE(isColored({"--color=never"}));
  EXPECT_FALSE(isColored({"--format=json"}));
  EXPECT_FALSE(isColored({"-o", path("o")}));
  EXPECT_EQ(contents("o").find("\x1b["), std::string::npos);
  setenv("NO_COLOR", "1", 1);
  EXPECT_FALSE(isColored({}));
  EXPECT_TRUE(isColored({"--color=always"}));
  unsetenv("NO_COLOR");
  setenv("TERM", "dumb", 1);
  EXPECT_FALSE(isColored({}));
}

// On a terminal the last line of the text has just said it.
TEST_F(OnATerminal, WhatWasAcceptedIsToldOnce) {
  const std::string known =
      file("known", "table dbo.t, column a, type: \"int not null\" -> \"int null\" # agreed\n");
  for (const bool terminal : {true, false}) {
    outIsTerminal = terminal;
    EXPECT_EQ(compareFiles(script_, other_, {"--accept", known}), kNoDifference);
    EXPECT_EQ(err(), terminal ? "" : "kelvane: Accepted differences: 1\n");
  }
}

TEST_F(OnATerminal, ProgressNeverTakesASecondLine) {
  for (const unsigned short columns : std::array<unsigned short, 4>{80, 40, 12, 1}) {
    const std::string script =
        file("\u8868_of_\U0001F600_" + std::string(60, 'x') + ".sql", "go\n");
    Program program({"compare", script, script_, "--keep-going"}, {}, Program::Terminal::own,
                    columns);
    EXPECT_GE(program.wait(), 0);
    const std::string clear = "\r\x1b[K", output = program.output();
    std::size_t shown = 0;
    for (std::size_t at = output.find(clear); at != output.npos; at = output.find(clear, at)) {
      at += clear.size();
      const std::string piece = output.substr(at, output.find_first_of("\r\n", at) - at);
      if (piece.starts_with("kelvane: ")) continue;
      EXPECT_LT(toUtf16(piece).size(), columns) << piece;
      EXPECT_EQ(toUtf8(toUtf16(piece)), piece);
      ++shown;
    }
    EXPECT_GT(shown, 0U);
  }
}

TEST_F(OnATerminal, NoProgressIsForOneThatCannotClearALine) {
  Program program({"compare", script_, script_}, {{"TERM", "dumb"}}, Program::Terminal::own);
  EXPECT_EQ(program.wait(), kNoDifference);
  EXPECT_EQ(program.output().find('\x1b'), std::string::npos);
  EXPECT_THAT(program.output(), ::testing::Not(HasSubstr("loading")));
}

TEST_F(OnATerminal, CtrlCWhileLoadingEndsTheProgram) {
  Program program({"compare", script_, pipe()}, {}, Program::Terminal::own);
  ASSERT_TRUE(program.waitFor("target: loading 0%"));
  program.type("\x03");
  EXPECT_EQ(program.wait(), 128 + SIGINT);
  EXPECT_THAT(program.output(),
              HasSubstr("kelvane: interrupted while loading: there is no result"));
}

TEST_F(OnATerminal, CtrlCWhileWritingTellsWhatIsLeft) {
  for (const bool isRead : {false, true}) {
    SCOPED_TRACE(isRead);
    const int reader = isRead ? open(pipe().c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC) : -1;
    if (isRead) fcntl(reader, F_SETPIPE_SZ, 4096);
    Program program({"compare", script_, script_, "--html", pipe()}, {}, Program::Terminal::own);
    ASSERT_TRUE(program.waitFor("kelvane: writing "));
    EXPECT_THAT(program.output(), HasSubstr("% changes meanwhile"));
    if (isRead) {
      pollfd written{reader, POLLIN, 0};
      ASSERT_EQ(poll(&written, 1, 20'000), 1);
    }
    program.type("\x03");
    EXPECT_EQ(program.wait(), 128 + SIGINT);
    EXPECT_THAT(program.output(), HasSubstr("kelvane: interrupted while writing: " + pipe() +
                                            (isRead ? " is incomplete" : " is not written")));
    if (isRead) close(reader);
  }
}

}  // namespace
}  // namespace kelvane::cli
