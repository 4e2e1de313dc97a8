// How the environments of kelvane.toml lead to servers.
#include <filesystem>
#include <gmock/gmock.h>

#include "model/text.h"
#include "tests/cli/compared_scripts.h"

namespace kelvane::cli {
namespace {

using ::testing::HasSubstr;

class Environments : public ComparedScripts {
 protected:
  // Where a command with these words would log in, or why it would not.
  std::string login(std::vector<std::string> words) {
    words.insert(words.end(), {"--config", path("kelvane.toml")});
    std::string place;
    std::ostringstream out, err;
    run(words, {out, err}, [&](const Place& opened, const Console&) -> std::unique_ptr<Side> {
      const auto& server = std::get<ServerPlace>(opened);
      place = server.name + ": " + toUtf8(server.address.text());
      throw CommandError({"seen"});
    });
    return place.empty() ? err.str() : place;
  }
};

TEST_F(Environments, LeadToServers) {
  std::filesystem::permissions(file("secret", "geheim\n"), std::filesystem::perms::owner_read);
  file("kelvane.toml", R"(
[env.direct]
server = "db1:5000"
user = "sa"
database = "shop"
password-file = "secret"
[env.source]
dsn = "prod"
user = "sa"
password-file = "secret"
[env.text]
connection = "odbc:DSN=test;UID=sa"
password-file = "secret"
)");
  EXPECT_EQ(login({"list", "direct", "--database", "other"}),
            "direct (db1:5000): Driver=FreeTDS;Server=db1;Port=5000;TDS_Version=5.0;UID=sa;"
            "Database=other;PWD=geheim;");
  EXPECT_THAT(login({"list", "source"}), HasSubstr("DSN=prod;UID=sa;PWD=geheim;"));
  EXPECT_THAT(login({"list", "text"}), HasSubstr("text (odbc:DSN=test;UID=sa): "));
  EXPECT_THAT(login({"list", "text", "--user", "u"}), HasSubstr("has a connection string"));
}

}  // namespace
}  // namespace kelvane::cli
