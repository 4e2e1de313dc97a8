// Files that a command writes: what stands there until they are whole, and what is left when they
// are not.
#include "cli/screen/written_file.h"

#include <csignal>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iostream>
#include <iterator>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/temporary_folder.h"

namespace kelvane::cli {
namespace {

namespace fs = std::filesystem;

class FileThatIsWritten : public ::testing::Test {
 protected:
  fs::path file(const std::string& name, const std::string& text) const {
    std::ofstream(folder_ / name) << text;
    return folder_ / name;
  }
  static std::string contents(const fs::path& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
  }
  std::ptrdiff_t files() const {
    return std::distance(fs::directory_iterator(folder_), fs::directory_iterator());
  }

  std::ostringstream out_, err_;
  const Console console_{out_, err_};
  const kelvane::testing::TemporaryFolder folder_;
};

TEST_F(FileThatIsWritten, TakesTheOldOnesPlaceWhenItIsWhole) {
  const fs::path old = file("old", "old");
  chmod(old.c_str(), 0640);
  fs::create_symlink("old", folder_ / "link");
  fs::create_symlink("new", folder_ / "leads nowhere");
  for (const fs::path& path : {folder_ / "link", folder_ / "leads nowhere"}) {
    WrittenFile written("report", path.string(), console_);
    written.stream() << std::string(200'000, 'x');
    EXPECT_EQ(contents(old), path.filename() == "link" ? "old" : std::string(200'000, 'x'));
    written.close();
    EXPECT_TRUE(fs::is_symlink(path));
    EXPECT_EQ(contents(path), std::string(200'000, 'x'));
  }
  struct stat facts {};
  stat(old.c_str(), &facts);
  EXPECT_EQ(facts.st_mode & 07777, 0640U);
  EXPECT_EQ(files(), 4);
}

TEST_F(FileThatIsWritten, LeavesTheOldOneWhereItIsNotWhole) {
  const fs::path old = file("old", "old");
  { WrittenFile("report", old.string(), console_).stream() << "half"; }
  EXPECT_EQ(contents(old), "old");
  EXPECT_EXIT(
      {
        const Console console(std::cout, std::cerr);
        WrittenFile written("report", old.string(), console);
        written.stream() << "half" << std::flush;
        kill(getpid(), SIGTERM);
        pause();
      },
      ::testing::KilledBySignal(SIGTERM), "interrupted while writing: .*old is not written");
  EXPECT_EQ(contents(old), "old");
  EXPECT_EQ(files(), 1);
}

TEST_F(FileThatIsWritten, TakesNoRightThatThereIsNot) {
  const fs::path old = file("old", "old");
  EXPECT_THROW(WrittenFile("report", folder_.string(), console_), CommandError);
  if (geteuid() == 0) GTEST_SKIP() << "everything may be written to";
  chmod(old.c_str(), 0440);
  EXPECT_THROW(WrittenFile("report", old.string(), console_), CommandError);
  chmod(old.c_str(), 0640);
  fs::permissions(folder_, fs::perms::owner_read | fs::perms::owner_exec);
  EXPECT_THROW(WrittenFile("report", old.string(), console_), CommandError);
  fs::permissions(folder_, fs::perms::owner_all);
  EXPECT_EQ(contents(old), "old");
}

}  // namespace
}  // namespace kelvane::cli
