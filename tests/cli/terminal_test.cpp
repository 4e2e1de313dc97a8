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

TEST_F(OnATerminal, APagerShowsWhatHasNoRoom) {
  std::string wide = "create table wide (a int";
  for (int at = 0; at < 30; ++at) wide += ", c" + std::to_string(at) + " int";
  wide += ")\ngo\n";
  const std::string large = file("large.sql", wide);
  struct Case {
    std::vector<std::string> words;
    Program::Environment environment;
    bool isPaged;
  };
  const std::string mark = "sed s/^/paged:/";
  for (const Case& one : std::initializer_list<Case>{
           {{"show", large, "wide"}, {{"KELVANE_PAGER", mark}, {"PAGER", "false"}}, true},
           {{"show", large, "wide"}, {{"PAGER", mark}}, true},
           {{"ddl", large}, {{"PAGER", mark}}, true},
           {{"show", large, "wide", "--no-pager"}, {{"PAGER", mark}}, false},
           {{"show", large, "wide"}, {{"KELVANE_NO_PAGER", "true"}, {"PAGER", mark}}, false},
           {{"show", large, "wide"}, {{"KELVANE_PAGER", ""}, {"PAGER", mark}}, false},
           {{"show", large, "wide"}, {{"PAGER", "cat"}}, false},
           {{"show", script_, "t"}, {{"PAGER", mark}}, false},
       }) {
    Program program(one.words, one.environment, Program::Terminal::own);
    EXPECT_EQ(program.wait(), kNoDifference);
    EXPECT_EQ(program.output().find("paged:") != std::string::npos, one.isPaged)
        << one.words.front() << '\n'
        << program.output();
    EXPECT_EQ(program.output().find("unknown variable"), std::string::npos);
  }
}

TEST_F(OnATerminal, APagerThatIsLeftOrMissingChangesNoStatus) {
  std::string many;
  for (int at = 0; at < 3'000; ++at)
    many += "create table t" + std::to_string(at) + " (a int)\ngo\n";
  const std::string large = file("large.sql", many);
  Program left({"compare", script_, large}, {{"PAGER", "head -n 3 | sed s/^/paged:/"}},
               Program::Terminal::own);
  EXPECT_EQ(left.wait(), kDifferences);
  EXPECT_THAT(left.output(), HasSubstr("paged:source: "));
  EXPECT_THAT(left.output(), ::testing::Not(HasSubstr("cannot write")));
  Program missing({"compare", script_, large}, {{"PAGER", "no-such-pager"}},
                  Program::Terminal::own);
  EXPECT_EQ(missing.wait(), kDifferences);
  EXPECT_THAT(missing.output(),
              HasSubstr("cannot run the pager 'no-such-pager'; see KELVANE_PAGER and --no-pager"));
  EXPECT_THAT(missing.output(), HasSubstr("3001 differences"));
}

// The keys are for the pager then.
TEST_F(OnATerminal, CtrlCDoesNotEndAPager) {
  const std::string other = file("wide.sql", [] {
    std::string text;
    for (int at = 0; at < 40; ++at)
      text += "create table u" + std::to_string(at) + " (a int)\ngo\n";
    return text;
  }());
  const std::string pager = "trap 'echo caught' INT; cat; echo all; until [ -e " + path("end") +
                            " ]; do sleep 0.1; done; echo left";
  Program program({"compare", script_, other}, {{"PAGER", pager}}, Program::Terminal::own);
  ASSERT_TRUE(program.waitFor("all"));
  program.type("\x03");
  ASSERT_TRUE(program.waitFor("caught"));
  file("end", "");
  EXPECT_EQ(program.wait(), kDifferences);
  EXPECT_THAT(program.output(), HasSubstr("left"));
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
