// kelvane.toml and environment variables: which of them holds, and what they may not say.
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <sstream>

#include "cli/run.h"
#include "model/text.h"
#include "tests/support/temporary_folder.h"

namespace kelvane::cli {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

// A folder to run in, with an environment variable or two.
class Config : public ::testing::Test {
 protected:
  Config() {
    std::filesystem::current_path(folder_);
    set("KELVANE_NO_CONFIG", "");
    set("HOME", folder_.string());
    write("one.sql", "create table a (x char(2) null)\ngo\ncreate view v as select x from a\n");
    write("two.sql", "create table a (x char(3) null)\ngo\ncreate view w as select x from a\n");
  }
  ~Config() override {
    std::filesystem::current_path(std::filesystem::temp_directory_path());
    for (const std::string& name : set_) unsetenv(name.c_str());
    set("KELVANE_NO_CONFIG", "1");
  }

  void set(const std::string& name, const std::string& value) {
    setenv(name.c_str(), value.c_str(), 1);
    if (name != "HOME") set_.push_back(name);
  }
  void write(const std::string& name, const std::string& text) const {
    std::filesystem::create_directories((folder_ / name).parent_path());
    std::ofstream(folder_ / name) << text;
  }
  // The last line of standard output, or what standard error says where there is none.
  std::string run(const std::vector<std::string>& words, const OpenSide& open = openSide) {
    std::ostringstream out, err;
    status_ = cli::run(words, {out, err}, open);
    std::string text = out.str();
    if (text.empty()) return err.str();
    text.pop_back();
    return text.substr(text.rfind('\n') + 1);
  }

  const kelvane::testing::TemporaryFolder folder_;
  int status_ = 0;

 private:
  std::vector<std::string> set_;
};

constexpr const char* kAll = "4 differences in 3 objects: 1 table, 2 views.";
constexpr const char* kTable = "2 differences in 1 object: 1 table.";

TEST_F(Config, TheNearestLayerHolds) {
  const std::vector<std::string> plain{"compare", "one.sql", "two.sql"};
  const auto with = [&](std::vector<std::string> more) {
    more.insert(more.begin(), plain.begin(), plain.end());
    return more;
  };
  EXPECT_EQ(run(plain), kAll);
  write("kelvane.toml", "quiet = true\nset = 'Tables=off'\n[show]\nformat = 'json'\n");
  EXPECT_EQ(run(plain), "");
  EXPECT_EQ(run(with({"--quiet=false"})), "2 differences in 2 objects: 2 views.");
  set("KELVANE_QUIET", "no");
  set("KELVANE_SET", "Views=off,StoredProcs=off");
  EXPECT_EQ(run(plain), kTable);
  EXPECT_EQ(run(with({"--set", "Tables=off", "--set=Views=off"})), "No differences.");
  EXPECT_EQ(status_, kNoDifference);
  set("KELVANE_SET", "");
  write("kelvane.toml", "set = 'Views=off'\n[compare]\nset = ['Tables=off']\n");
  EXPECT_EQ(run(plain), "2 differences in 2 objects: 2 views.");
}

TEST_F(Config, TheFileIsLookedForHereThenAtHome) {
  write(".config/kelvane/kelvane.toml", "set = 'Views=off'");
  EXPECT_EQ(run({"compare", "one.sql", "two.sql"}), kTable);
  write("xdg/kelvane/kelvane.toml", "set = 'Tables=off'");
  set("XDG_CONFIG_HOME", folder_ / "xdg");
  EXPECT_EQ(run({"compare", "one.sql", "two.sql"}), "2 differences in 2 objects: 2 views.");
  write("kelvane.toml", "");
  EXPECT_EQ(run({"compare", "one.sql", "two.sql"}), kAll);
  set("KELVANE_CONFIG", "xdg/kelvane/kelvane.toml");
  EXPECT_EQ(run({"compare", "one.sql", "two.sql", "--no-config"}), kAll);
  EXPECT_EQ(run({"compare", "one.sql", "two.sql", "--config", ".config/kelvane/kelvane.toml"}),
            kTable);
}

TEST_F(Config, EnvironmentsAreSides) {
  write("sub/kelvane.toml", R"(
[env.one]
scripts = ["../one.sql"]
set = ["Views=off"]
[env.two]
scripts = "../two.sql"
exclude = ["table:b*"]
[env.kept]
snapshot = "~/sub/kept.json"
[env."two.sql"]
snapshot = "nowhere.json"
)");
  set("KELVANE_CONFIG", "sub/kelvane.toml");
  EXPECT_EQ(run({"snapshot", "two", "-o", "sub/kept.json"}), "");
  EXPECT_THAT(run({"compare", "one", "two"}), StartsWith(kTable));
  EXPECT_EQ(run({"compare", "env:one", "kept"}), kTable);
  EXPECT_EQ(run({"compare", "one.sql", "two.sql"}), kAll);  // a file that is there
  EXPECT_EQ(run({"list", "two", "view"}), "dbo.w");
  EXPECT_THAT(run({"compare", "one", "--html", "two.sql", "two"}),
              HasSubstr("would overwrite 'sub/../two.sql'"));
  EXPECT_THAT(run({"compare", "one", "one.sql", "--", "two.sql"}),
              HasSubstr("'one' is a whole side; nothing can be put beside it"));
  EXPECT_THAT(run({"compare", "one", "two.sql", "--source-user", "u"}),
              HasSubstr("--source-user is for a server, and 'one' is none"));
  EXPECT_THAT(run({"compare", "keept", "two"}),
              HasSubstr("'keept' is neither a file nor an environment of sub/kelvane.toml; did you "
                        "mean 'kept'?"));
  EXPECT_THAT(run({"compare", "env:keept", "two"}),
              HasSubstr("no [env.keept] in sub/kelvane.toml; did you mean 'kept'?"));
}

TEST_F(Config, ServersAreNamedInSeveralWays) {
  write("secret", "geheim\n");
  std::filesystem::permissions("secret", std::filesystem::perms::owner_read);
  write("kelvane.toml", R"(
[env.host]
server = "db1:5000"
user = "sa"
database = "shop"
password-file = "secret"
[env.source]
dsn = "prod"
user = "sa"
odbc-driver = "X"
)");
  std::string name, address;
  const OpenSide seen = [&](const Place& place, const Console&) -> std::unique_ptr<Side> {
    if (const auto* const server = std::get_if<ServerPlace>(&place)) {
      name = server->name;
      address = toUtf8(server->address.text());
    }
    throw CommandError({"seen"});
  };
  EXPECT_THAT(run({"list", "host"}, seen), HasSubstr("[env.source] has an odbc-driver"));
  write("kelvane.toml", R"(
[env.host]
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
  run({"list", "host", "--database", "other"}, seen);
  EXPECT_EQ(name, "host (db1:5000)");
  EXPECT_EQ(
      address,
      "Driver=FreeTDS;Server=db1;Port=5000;TDS_Version=5.0;UID=sa;Database=other;PWD=geheim;");
  run({"list", "source"}, seen);
  EXPECT_THAT(address, HasSubstr("DSN=prod;UID=sa;PWD=geheim;"));
  run({"list", "text"}, seen);
  EXPECT_EQ(name, "text (odbc:DSN=test;UID=sa)");
  EXPECT_THAT(run({"list", "text", "--user", "u"}, seen), HasSubstr("has a connection string"));
}

TEST_F(Config, WhatMeansNothingIsRefusedWithItsPlace) {
  const struct {
    std::string text, complaint;
  } cases[] = {
      {"x = [", "1:6: Error while parsing array: encountered end-of-file"},
      {"\n formt = 'json'", "2:2: unknown key 'formt'; did you mean 'format'?"},
      {"[compare]\nhtnl = 'x'", "2:1: unknown key 'htnl'; did you mean 'html'?"},
      {"[list]\nhtml = 'x'", "2:1: unknown key 'html'"},
      {"[env.a]\nserve = 'x'", "2:1: unknown key 'serve'; did you mean 'server'?"},
      {"user = 'x'", "1:1: 'user' is for the command line; here a side is an [env.NAME]"},
      {"quiet = 1", "1:9: quiet takes true or false"},
      {"html = true", "1:8: html takes a text"},
      {"format = 'yaml'",
       "1:1: format takes text, tree, json or html, not 'yaml'; see kelvane --help"},
      {"query-limit = -1",
       "1:1: query-limit takes a number of seconds from 0, not '-1'; see kelvane --help"},
      {"include = ['x:y']",
       "1:1: include 'x:y': 'x' is no kind; write table, view, procedure, function, user, group or "
       "type; see kelvane --help"},
      {"[env.a]\nconnection = 'prod'",
       "2:14: connection takes a connection string such as DSN=prod;UID=sa"},
      {"env = 1", "1:7: env is a section, [env]"},
      {"[env.a]\nuser = 'u'",
       "1:6: [env.a] needs one of connection, dsn, scripts, server and snapshot"},
      {"[env.a]\ndsn = 'u'\nserver = 'x'",
       "1:6: [env.a] needs one of connection, dsn, scripts, server and snapshot"},
      {"[env.a]\nsnapshot = 'x'\nuser = 'u'",
       "1:6: [env.a] has a user, database or password-file, and is no server"},
  };
  for (const auto& [text, complaint] : cases) {
    write("kelvane.toml", text);
    EXPECT_EQ(run({"compare", "one.sql", "two.sql"}), "kelvane: kelvane.toml:" + complaint + "\n");
    EXPECT_EQ(status_, kError);
  }
  EXPECT_EQ(run({"compare", "a", "b", "--config", "none"}),
            "kelvane: 'none' cannot be read: No such file or directory\n");
  write("kelvane.toml", "");
  set("KELVANE_COLOR", "blue");
  EXPECT_THAT(run({"compare", "one.sql", "two.sql"}),
              HasSubstr("KELVANE_COLOR takes auto, always or never, not 'blue'"));
}

TEST_F(Config, PasswordsAreRefusedAndNotRepeated) {
  for (const std::string key :
       {"password = 'geheim'", "pwd = 'geheim'", "[env.a]\nsource-password = 'geheim'",
        "[env.a]\nconnection = 'DSN=p;PWD=geheim'"}) {
    write("kelvane.toml", key);
    const std::string complaint = run({"compare", "one.sql", "two.sql"});
    EXPECT_THAT(complaint, HasSubstr("a password does not belong here"));
    EXPECT_THAT(complaint, ::testing::Not(HasSubstr("geheim")));
  }
}

}  // namespace
}  // namespace kelvane::cli
