// The manual page: formatters take it, and it leaves out nothing that the command knows.
#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <gmock/gmock.h>
#include <sstream>

#include "cli/run.h"
#include "cli/words/verb.h"
#include "tests/support/temporary_folder.h"

namespace kelvane::cli {
namespace {

// What a command writes, standard error included.
std::string outputOf(const std::string& command) {
  std::FILE* const pipe = popen(("{ " + command + "; } 2>&1").c_str(), "r");
  std::string text;
  std::array<char, 4096> bytes{};
  while (const std::size_t read = std::fread(bytes.data(), 1, bytes.size(), pipe))
    text.append(bytes.data(), read);
  pclose(pipe);
  return text;
}

TEST(Manual, IsFormattedWithoutAWarningAndTellsAll) {
  if (std::system("command -v man >/dev/null && command -v groff >/dev/null") != 0)
    GTEST_SKIP() << "there is no man";
  const kelvane::testing::TemporaryFolder folder;
  const std::string page = (folder / "kelvane.1").string();
  std::ostringstream out;
  ASSERT_EQ(run(std::vector<std::string>{"manual"}, {out, out}), 0);
  std::ofstream(page) << out.str();
  EXPECT_EQ(outputOf("groff -man -ww -z -Tutf8 " + page), "");
  EXPECT_EQ(outputOf("LC_ALL=C.UTF-8 man --warnings -E UTF-8 -l -Tutf8 -Z " + page + " >/dev/null"),
            "");
  const std::string text =
      outputOf("LC_ALL=C.UTF-8 MANWIDTH=400 man -E ascii -P cat -l " + page + " | col -bx");
  for (const Verb& verb : verbs()) {
    EXPECT_THAT(text, ::testing::HasSubstr("\n   kelvane " + std::string(verb.name) + "\n"));
    for (const Option* option : optionsOf(verb, Elsewhere::nowhere))
      EXPECT_THAT(text, ::testing::HasSubstr(std::string(option->help)));
  }
  EXPECT_THAT(text, ::testing::HasSubstr("\n       -o, --output FILE\n"));
  EXPECT_THAT(text, ::testing::HasSubstr("\n       password-file = \"dev.password\"\n"));
  EXPECT_EQ(text.find('@'), text.npos);
}

}  // namespace
}  // namespace kelvane::cli
