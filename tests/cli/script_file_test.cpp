// What is said about files that are no scripts.
#include "cli/script_file.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

#include "cli/console.h"

namespace kelvane::cli {
namespace {

class ScriptFile : public ::testing::Test {
 protected:
  void SetUp() override { std::filesystem::create_directory(folder_); }
  void TearDown() override { std::filesystem::remove_all(folder_); }

  std::string file(const std::string& bytes) {
    std::ofstream(folder_ / "x.sql", std::ios::binary) << bytes;
    return (folder_ / "x.sql").string();
  }
  static std::string complaint(const std::string& path) {
    try {
      readScriptFile(path);
    } catch (const CommandError& error) {
      return error.what();
    }
    return "";
  }

  const std::filesystem::path folder_ =
      std::filesystem::path(::testing::TempDir()) / "kelvane_script_file_test";
};

TEST_F(ScriptFile, GivesTheBytes) {
  const std::string bytes("select\0\xFF\r\ngo\n", 14);
  EXPECT_EQ(readScriptFile(file(bytes)), bytes);
  const std::string big(200'000, 'x');
  EXPECT_EQ(readScriptFile(file(big)), big);
}

TEST_F(ScriptFile, SaysWhatIsWrong) {
  const std::string missing = (folder_ / "missing.sql").string();
  EXPECT_EQ(complaint(missing), "cannot read '" + missing + "': No such file or directory");
  EXPECT_EQ(complaint(folder_.string()), "cannot read '" + folder_.string() + "': Is a directory");
  for (const char* nothing : {"", " \r\n\t\n"}) {
    const std::string path = file(nothing);
    EXPECT_EQ(complaint(path), "'" + path + "' is empty; a T-SQL script is needed");
  }
}

}  // namespace
}  // namespace kelvane::cli
