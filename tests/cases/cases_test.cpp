// Each folder here is a comparison: `a.sql` or the folder `a` with `b.sql` or the folder `b`, and
// in `expected.txt` the words of options, if any, behind "options:", and all that the command says.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <vector>

#include "cli/run.h"

namespace kelvane::cli {
namespace {

namespace fs = std::filesystem;

const fs::path kCases = KELVANE_TEST_FOLDER;

std::vector<std::string> caseNames() {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(kCases)) {
    if (entry.is_directory()) names.push_back(entry.path().filename().string());
  }
  std::ranges::sort(names);
  return names;
}

std::string place(const fs::path& side) {
  return fs::is_directory(side) ? side.string() : side.string() + ".sql";
}

std::string without(std::string text, const std::string& part) {
  for (auto at = text.find(part); at != text.npos; at = text.find(part, at))
    text.erase(at, part.size());
  return text;
}

// Without the lines that say how long something took.
std::string untimed(const std::string& text) {
  std::string kept;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    if (!line.ends_with(" s")) kept += line + "\n";
  }
  return kept;
}

class Case : public ::testing::TestWithParam<std::string> {};

TEST_P(Case, SaysWhatIsExpected) {
  const fs::path folder = kCases / GetParam();
  std::ostringstream file;
  file << std::ifstream(folder / "expected.txt").rdbuf();
  std::istringstream options(file.str().substr(0, file.str().find('\n')));
  std::vector<std::string> words{"compare"};
  std::string said;
  std::string word;
  options >> word;
  if (word == "options:") {
    said = "options:";
    for (; options >> word; said += " " + word) words.push_back(word);
    said += "\n";
  }
  words.push_back(place(folder / "a"));
  words.push_back(place(folder / "b"));
  std::ostringstream out, err;
  const int status = run(words, {out, err});
  said += without(out.str() + untimed(err.str()), folder.string() + "/") + "exit status " +
          std::to_string(status) + "\n";
  EXPECT_EQ(said, file.str());
}

INSTANTIATE_TEST_SUITE_P(Scripts, Case, ::testing::ValuesIn(caseNames()), [](const auto& info) {
  std::string name = info.param;
  std::ranges::replace(name, '-', '_');
  return name;
});

}  // namespace
}  // namespace kelvane::cli
