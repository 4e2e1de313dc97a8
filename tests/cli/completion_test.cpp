// The completion scripts, in the shells that they are for.
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <sstream>

#include "cli/run.h"
#include "tests/cli/shell.h"
#include "tests/support/temporary_folder.h"

namespace kelvane::cli {
namespace {

class Completion : public ::testing::Test {
 protected:
  void write(const std::string& name, const std::string& text) const {
    std::ofstream(folder_ / name) << text;
  }
  static std::string scriptFor(const std::string& shell) {
    std::ostringstream out;
    EXPECT_EQ(run(std::vector<std::string>{"completion", shell}, {out, out}), 0);
    return out.str();
  }
  std::string outputHere(const std::string& command) const {
    return kelvane::testing::outputOf("cd '" + folder_.string() + "' && env -u KELVANE_NO_CONFIG " +
                                      command);
  }

  const kelvane::testing::TemporaryFolder folder_;
};

TEST_F(Completion, BashCompletesWhatTheVerbsTake) {
  const std::string environments =
      "[env.prod]\ndsn = 'p'\n[env.preview]\nsnapshot = 'x.json'\n"
      "[env.'$(touch ran)']\ndsn = 'p'\n";
  // The words as bash parts them; the last one is completed.
  const std::pair<const char*, const char*> cases[] = {
      {"sn", "snapshot"},
      {"''", "compare data snapshot show list switches completion manual --help --version"},
      {"compare --ignore-",
       "--ignore-case --ignore-line-breaks --ignore-spaces --ignore-tabs "
       "--ignore-names"},
      {"compare --color ''", "auto always never"},
      {"compare --color =", "auto always never"},
      {"compare --color = n", "never"},
      {"list --format ''", "text json"},
      {"compare --include t", "table: type:"},
      {"snapshot --set Tables_Columns_D",
       "Tables_Columns_DataTypes=off "
       "Tables_Columns_Defaults=off"},
      {"compare p", "preview prod pile.sql"},
      {"compare odbc : DSN = x -- pr", "preview prod"},
      {"compare -o pi", "pile.sql"},
      {"compare -- --f", ""},
      {"show --sort Length prod tr", "trigger:"},
      {"list --server s --user u p", "procedure"},
      {"list prod p", "procedure"},
      {"completion z", "zsh"},
      {"switches ''", ""},
  };
  write("kelvane.toml", environments);
  write("pile.sql", "");
  std::string script = scriptFor("bash"), expected;
  for (const auto& [words, completions] : cases) {
    script += "COMP_WORDS=(" KELVANE_PROGRAM " " + std::string(words) +
              ") COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _kelvane; echo \"${COMPREPLY[*]}\"\n";
    expected += std::string(completions) + "\n";
  }
  write("script", script);
  EXPECT_EQ(outputHere("bash --norc script"), expected);
  EXPECT_FALSE(std::filesystem::exists(folder_ / "ran"));
}

TEST_F(Completion, ZshCanReadItsScript) {
  if (std::system("command -v zsh >/dev/null") != 0) GTEST_SKIP() << "there is no zsh";
  const std::string script = scriptFor("zsh");
  write("script", script);
  EXPECT_EQ(outputHere("zsh -f -n script"), "");
  EXPECT_THAT(script, ::testing::HasSubstr(":WHEN:(auto always never)'"));
}

}  // namespace
}  // namespace kelvane::cli
