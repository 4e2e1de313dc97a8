// The command on script files: the examples, scripts that fail, files that are no scripts.
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <sstream>

#include "cli/run.h"
#include "tests/support/temporary_folder.h"

namespace kelvane::cli {
namespace {

using ::testing::HasSubstr;

class Scripts : public ::testing::Test {
 protected:
  std::string file(const std::string& name, const std::string& bytes) {
    const auto path = folder_ / name;
    std::ofstream(path, std::ios::binary) << bytes;
    return path.string();
  }
  int compare(const std::string& source, const std::string& target) {
    out_.str("");
    err_.str("");
    const std::vector<std::string> words{"compare", source, target};
    return run(words, {out_, err_});
  }
  static std::string example(const std::string& name) {
    return (std::filesystem::path(KELVANE_TEST_FOLDER) / "../../examples" / name).string();
  }

  std::ostringstream out_, err_;
  const kelvane::testing::TemporaryFolder folder_;
};

TEST_F(Scripts, AnExampleEqualsItself) {
  for (const char* name : {"shop-1.sql", "shop-2.sql"}) {
    EXPECT_EQ(compare(example(name), example(name)), kNoDifference);
    EXPECT_EQ(out_.str(), "No differences.\n");
    EXPECT_EQ(err_.str(), "");
  }
}

TEST_F(Scripts, TheExamplesDifferAsTheirListingSays) {
  ASSERT_EQ(compare(example("shop-1.sql"), example("shop-2.sql")), kDifferences);
  std::ostringstream listing;
  listing << std::ifstream(example("shop-differences.txt")).rdbuf();
  EXPECT_EQ(out_.str(), listing.str());
  EXPECT_EQ(err_.str(), "");
}

TEST_F(Scripts, AFailingScriptSaysWhere) {
  const std::string good = file("good.sql", "create table t (a int)\ngo\n");
  const std::string bad =
      file("bad.sql",
           "create table t (a int)\ngo\n\ncreate view v as\n  select b from t\ngo\nselect from\n");
  EXPECT_EQ(compare(good, bad), kError);
  EXPECT_THAT(err_.str(),
              HasSubstr("kelvane: " + bad + ":5: message 207: Invalid column name 'b'"));
  EXPECT_THAT(err_.str(), HasSubstr("(near \"create view v as\")\n"));
  EXPECT_EQ(std::ranges::count(err_.str(), '\n'), 1);
  EXPECT_EQ(out_.str(), "");
}

TEST_F(Scripts, FilesThatAreNoScriptsAreErrorsOfEitherSide) {
  const std::string missing = (folder_ / "missing.sql").string();
  const std::string good = file("good.txt", "create table t (a int)\n");
  const std::string emptyFolder = (folder_ / "empty").string();
  std::filesystem::create_directory(emptyFolder);
  const std::vector<std::string> paths{missing,
                                       emptyFolder,
                                       file("empty.sql", ""),
                                       file("blank.sql", " \r\n\t"),
                                       file("binary.sql", std::string("\x7F"
                                                                      "ELF\0\1\2",
                                                                      7)),
                                       file("wide.sql", std::string("\xFF\xFEs\0e\0", 6))};
  for (const std::string& path : paths) {
    for (const bool first : {true, false}) {
      EXPECT_EQ(first ? compare(path, good) : compare(good, path), kError);
      EXPECT_EQ(std::ranges::count(err_.str(), '\n'), 1) << err_.str();
      EXPECT_THAT(err_.str(), ::testing::StartsWith("kelvane: " + path));
      EXPECT_EQ(out_.str(), "");
    }
  }
}

TEST_F(Scripts, ATableWhoseNameTheReaderCannotAskForIsNotProvenEqual) {
  const std::string odd =
      file("odd.sql", "set quoted_identifier on\ngo\ncreate table \"order\" (a int)\ngo\n");
  EXPECT_EQ(compare(odd, odd), kNotProven);
  EXPECT_EQ(out_.str(), "No differences in what could be read.\n");
  EXPECT_THAT(err_.str(), HasSubstr("source: Retrieving properties for Table order: the server "
                                    "rejected \"exec sp_columns order,dbo\": "));
}

}  // namespace
}  // namespace kelvane::cli
