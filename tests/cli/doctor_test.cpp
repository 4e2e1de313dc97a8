// kelvane doctor over live servers.
#include <gmock/gmock.h>

#include "support/tds_server/server.h"
#include "tests/cli/program.h"
#include "tests/tds/test_catalog.h"

namespace kelvane::cli {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using testing::Program;

constexpr const char* kScript =
    "create table payroll (id int primary key)\ngo\ncreate view salaries as select id from "
    "payroll\ngo\ngrant select on payroll to public\ngo\n";

class Doctor : public ::testing::Test {
 protected:
  void SetUp() override {
    if (std::system("odbcinst -q -d -n FreeTDS >/dev/null 2>&1") != 0)
      GTEST_SKIP() << "install tdsodbc and unixodbc";
  }

  // What it says of a server with these faults, and its exit status.
  static std::pair<std::string, int> said(const tds::ServerOptions& options,
                                          std::vector<std::string> words = {},
                                          embedded::Release release = embedded::Release::ase125) {
    embedded::EmbeddedCatalog catalog({.release = release});
    EXPECT_TRUE(embedded::loadScript(catalog, "test", kScript).succeeded());
    const tds::TdsServer server(catalog, options);
    std::vector<std::string> all{"doctor", "--server", "127.0.0.1:" + std::to_string(server.port()),
                                 "--user", "sa"};
    all.insert(all.end(), words.begin(), words.end());
    Program program(all, {{"KELVANE_PASSWORD", "x"}});
    const int status = program.wait();
    return {program.output(), status};
  }
};

TEST_F(Doctor, FindsNothingOnAServerOfEachRelease) {
  for (const auto release :
       {embedded::Release::ase125, embedded::Release::ase15, embedded::Release::ase16}) {
    const auto [text, status] = said({}, {}, release);
    EXPECT_EQ(status, 0) << text;
    EXPECT_THAT(text, AllOf(HasSubstr("side: a live server"), HasSubstr("everything could be read"),
                            Not(HasSubstr("payroll")), Not(HasSubstr("salaries"))));
    if (release == embedded::Release::ase125) {
      EXPECT_THAT(text, HasSubstr("of which 0 differ"));
    }
  }
}

TEST_F(Doctor, SaysWhatTheLoginMayNotRead) {
  const auto [text, status] = said(tds::failing("from sysprotects order", {}));
  EXPECT_EQ(status, 3) << text;
  EXPECT_THAT(text, HasSubstr("What could not be read\n  permissions: "));
  EXPECT_THAT(text, HasSubstr("Let the login read"));
}

TEST_F(Doctor, EndsWithTheConnection) {
  const auto [text, status] =
      said(tds::failing("from sysindexes", {.kind = tds::Fault::Kind::close}));
  EXPECT_EQ(status, 2) << text;
  EXPECT_THAT(text, HasSubstr("kelvane: side: reading stopped: indexes: "));
}

}  // namespace
}  // namespace kelvane::cli
