// Transcripts of a shell: each file of the folder is what is typed and what comes of it.
//
//   === pets.sql                              the lines behind it are written into that file
//   create table pet (id int)
//
//   $ kelvane list pets.sql table             a command, in the folder of the files
//   dbo.pet                                   what it writes to standard output,
//   ! kelvane: a complaint                    then to standard error,
//   exit 4                                    and its exit status unless that is 0
//
// A line "..." stands for any lines, and a line that ends so for any that begins as it does. Lines
// that begin with "# " are remarks, and empty lines part commands. In files whose names begin with
// "published_" compare has --published.
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <span>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <vector>

#include "tests/support/temporary_folder.h"

namespace kelvane::cli {
namespace {

namespace fs = std::filesystem;
using Lines = std::vector<std::string>;

Lines linesOf(const fs::path& path) {
  Lines lines;
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);) lines.push_back(line);
  return lines;
}

// A folder to type commands in.
class Shell {
 public:
  explicit Shell(bool published) : published_(published) { fs::create_directory(here_); }

  void write(const std::string& name, const Lines& lines) const {
    fs::create_directories((here_ / name).parent_path());
    std::ofstream file(here_ / name);
    for (const std::string& line : lines) file << line << '\n';
  }
  Lines answerTo(const std::string& command) const {
    std::ofstream(folder_ / "command") << command << '\n';
    const fs::path program = KELVANE_PROGRAM;
    const std::string line = "cd '" + here_.string() + "' && env -i HOME=\"$PWD\" PATH='" +
                             program.parent_path().string() + "':/usr/bin:/bin LC_ALL=C.UTF-8 " +
                             "EXAMPLES='" KELVANE_TEST_FOLDER "/../../examples' " +
                             (published_ ? "KELVANE_PUBLISHED=true " : "") +
                             "bash ../command >../out 2>../err";
    const int status = std::system(line.c_str());
    Lines answer = linesOf(folder_ / "out");
    for (const std::string& complaint : linesOf(folder_ / "err"))
      answer.push_back("! " + complaint);
    if (status != 0) answer.push_back("exit " + std::to_string(WEXITSTATUS(status)));
    return answer;
  }

 private:
  const kelvane::testing::TemporaryFolder folder_;
  const fs::path here_ = folder_ / "here";
  const bool published_;
};

bool isAsShown(std::span<const std::string> answer, std::span<const std::string> shown) {
  constexpr std::string_view kAny = "...";
  if (shown.empty()) return answer.empty();
  if (shown[0] == kAny) {
    for (std::size_t left = 0; left <= answer.size(); ++left)
      if (isAsShown(answer.subspan(left), shown.subspan(1))) return true;
    return false;
  }
  if (answer.empty()) return false;
  const std::string& line = shown[0];
  const bool same = line.ends_with(kAny)
                        ? answer[0].starts_with(line.substr(0, line.size() - kAny.size()))
                        : answer[0] == line;
  return same && isAsShown(answer.subspan(1), shown.subspan(1));
}

std::string joined(const Lines& lines) {
  std::string text;
  for (const std::string& line : lines) text += line + '\n';
  return text;
}

class Transcript : public ::testing::TestWithParam<std::string> {};

TEST_P(Transcript, IsWhatHappens) {
  const Shell shell(GetParam().starts_with("published_"));
  const Lines lines =
      linesOf(fs::path(KELVANE_TEST_FOLDER) / "transcripts" / (GetParam() + ".txt"));
  const auto begins = [](const std::string& line) {
    return line.starts_with("$ ") || line.starts_with("=== ");
  };
  for (auto at = std::ranges::find_if(lines, begins); at != lines.end();) {
    const auto end = std::find_if(at + 1, lines.end(), begins);
    Lines block(at + 1, end);
    if (!at->starts_with('='))
      std::erase_if(block, [](auto& one) { return one.starts_with("# "); });
    while (!block.empty() && block.back().empty()) block.pop_back();
    if (at->starts_with('=')) {
      shell.write(at->substr(4), block);
    } else {
      Lines answer = shell.answerTo(at->substr(2));
      while (!answer.empty() && answer.back().empty()) answer.pop_back();
      if (!isAsShown(answer, block)) {
        EXPECT_EQ(joined(answer), joined(block)) << *at;
      }
    }
    at = end;
  }
}

Lines names() {
  Lines names;
  for (const auto& entry : fs::directory_iterator(KELVANE_TEST_FOLDER "/transcripts"))
    names.push_back(entry.path().stem().string());
  std::ranges::sort(names);
  return names;
}

INSTANTIATE_TEST_SUITE_P(Cli, Transcript, ::testing::ValuesIn(names()),
                         [](const auto& info) { return info.param; });

}  // namespace
}  // namespace kelvane::cli
