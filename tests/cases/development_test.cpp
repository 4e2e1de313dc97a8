// Real scripts, where the environment variable KELVANE_DEVELOPMENT_SET names a folder of them, and
// what development.txt says of them.
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "cli/run.h"
#include "drivers/embedded/script.h"

namespace kelvane::cli {
namespace {

namespace fs = std::filesystem;

// The lines of a section of development.txt, cut at " | ".
std::vector<std::vector<std::string>> section(const std::string& name) {
  std::ifstream file(fs::path(KELVANE_TEST_FOLDER) / "development.txt");
  std::vector<std::vector<std::string>> lines;
  bool inside = false;
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with('[')) inside = line == "[" + name + "]";
    if (!inside || line.empty() || line.starts_with('[') || line.starts_with('#')) continue;
    auto& parts = lines.emplace_back();
    for (std::size_t at = 0; at <= line.size();) {
      const auto end = std::min(line.find(" | ", at), line.size());
      parts.push_back(line.substr(at, end - at));
      at = end + 3;
    }
  }
  return lines;
}

class DevelopmentSet : public ::testing::Test {
 protected:
  void SetUp() override {
    const char* folder = std::getenv("KELVANE_DEVELOPMENT_SET");
    if (folder == nullptr) GTEST_SKIP() << "KELVANE_DEVELOPMENT_SET names no folder of scripts";
    folder_ = folder;
  }

  fs::path folder_;
};

// "102 208x3": the numbers of the messages, and how often each.
std::string numbers(const embedded::LoadReport& report) {
  std::map<int, int> counts;
  for (const auto& error : report.errors) ++counts[error.number];
  std::string text;
  for (const auto& [number, count] : counts) {
    text += (text.empty() ? "" : " ") + std::to_string(number);
    if (count > 1) text += "x" + std::to_string(count);
  }
  return text;
}

TEST_F(DevelopmentSet, LoadsButForKnownStatements) {
  std::map<std::string, std::string> expected;
  for (const auto& line : section("files")) expected[line.at(0)] = line.at(1);
  std::size_t seen = 0;
  for (const auto& entry : fs::recursive_directory_iterator(folder_)) {
    if (entry.path().extension() != ".sql") continue;
    const std::string name = entry.path().lexically_relative(folder_).generic_string();
    const auto known = expected.find(name);
    seen += known != expected.end();
    embedded::EmbeddedCatalog catalog;
    const auto report = embedded::loadFile(catalog, entry.path(), {.stopAtFirstError = false});
    EXPECT_EQ(numbers(report), known == expected.end() ? "" : known->second)
        << name << (report.errors.empty() ? "" : "\n" + report.errors.front().describe());
  }
  EXPECT_EQ(seen, expected.size());
}

TEST_F(DevelopmentSet, VersionsDifferAsKnown) {
  for (const auto& line : section("pairs")) {
    std::vector<std::string> arguments{"compare", "--keep-going", "--row-counts"};
    std::istringstream words(line.at(0));
    for (std::string word; words >> word;)
      arguments.push_back(fs::exists(folder_ / word) ? (folder_ / word).string() : word);
    std::ostringstream out, err;
    const int status = run(arguments, {out, err});
    const std::string said = out.str();
    const auto last = said.rfind('\n', said.size() - 2);
    EXPECT_EQ(std::to_string(status) + " " + said.substr(last == std::string::npos ? 0 : last + 1),
              line.at(1) + "\n")
        << line.at(0) << '\n'
        << said;
  }
}

}  // namespace
}  // namespace kelvane::cli
