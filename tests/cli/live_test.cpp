// The program over live servers: its sides, its passwords, its limits and Ctrl-C.
#include <atomic>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <latch>
#include <limits>
#include <map>
#include <sstream>
#include <sys/stat.h>

#include "cli/screen/console.h"
#include "drivers/embedded/script.h"
#include "support/tds_server/server.h"
#include "tests/cli/program.h"
#include "tests/support/temporary_folder.h"
#include "tests/tds/test_catalog.h"

namespace kelvane::cli {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using testing::Program;

const std::string kPassword = "a;b{c}d=\u00E9";
const std::string kScript =
    "create table s (a int)\ncreate table t (a int not null, b varchar(20) null, primary key (a))\n"
    "create table u (a int)\ngo\ncreate view v as select a from t\ngo\n";

class Live : public ::testing::Test {
 protected:
  void SetUp() override {
    if (std::system("odbcinst -q -d -n FreeTDS >/dev/null 2>&1") != 0)
      GTEST_SKIP() << "install tdsodbc and unixodbc";
  }

  std::string file(const std::string& name, const std::string& text, mode_t mode = 0600) const {
    std::string path = (folder_ / name).string();
    std::ofstream(path, std::ios::binary) << text;
    chmod(path.c_str(), mode);
    return path;
  }
  // Data sources for a server, with further lines in the second.
  void describe(const tds::TdsServer& server, const std::string& more) {
    const std::string common =
        "Driver=FreeTDS\nServer=127.0.0.1\nTDS_Version=5.0\nPort=" + std::to_string(server.port()) +
        "\n";
    file("odbc.ini", "[plain]\n" + common + "[full]\n" + common + more);
  }
  static std::string address(const tds::TdsServer& server) {
    return "127.0.0.1:" + std::to_string(server.port());
  }
  // The server as the target, and the script that it answers from as the source.
  Program withTarget(const std::string& verb, const tds::TdsServer& server,
                     const std::vector<std::string>& options) const {
    std::vector<std::string> words{
        verb, file("script.sql", kScript), "--target-server", address(server), "--target-user",
        "sa"};
    words.insert(words.end(), options.begin(), options.end());
    return Program(words, {{"KELVANE_PASSWORD", "x"}});
  }
  Program::Environment with(const Program::Environment& more = {}) const {
    Program::Environment all{{"ODBCINI", (folder_ / "odbc.ini").string()}};
    all.insert(all.end(), more.begin(), more.end());
    return all;
  }

  const kelvane::testing::TemporaryFolder folder_;
};

tds::ServerOptions guarded() { return {.users = {{"sa", {kPassword}}, {"b}", {"plain"}}}}; }

TEST_F(Live, SidesOfAnyKindsDifferAlike) {
  const auto example = [](const std::string& name) {
    return (std::filesystem::path(KELVANE_TEST_FOLDER) / "../../examples" / name).string();
  };
  const std::string oldScript = example("shop-1.sql"), newScript = example("shop-2.sql");
  std::ostringstream listing;
  listing << std::ifstream(example("shop-differences.txt")).rdbuf();
  // Between the line that names the sides and what servers do not tell.
  const auto differences = [](const std::string& text) {
    const auto start = text.find('\n');
    return text.substr(start, text.rfind('.', text.find(" Not readable from servers: ")) - start);
  };
  embedded::EmbeddedCatalog oldCatalog, newCatalog;
  ASSERT_TRUE(embedded::loadFile(oldCatalog, oldScript).succeeded());
  ASSERT_TRUE(embedded::loadFile(newCatalog, newScript).succeeded());
  const tds::TdsServer oldServer(oldCatalog), newServer(newCatalog);
  describe(newServer, "UID=sa\nPWD=x\n");
  const std::vector<std::vector<std::string>> cases{
      {"--source-server", address(oldServer), "--source-user", "sa", newScript},
      {oldScript, "--target-server", address(newServer), "--target-user", "sa"},
      {"--source-server", address(oldServer), "--source-user", "sa", "--source-database", "main",
       "odbc:DSN=full"},
      {oldScript, "odbc:DSN=plain;UID=sa"},
      {"odbc:Driver=FreeTDS;TDS_Version=5.0;Server=127.0.0.1;UID=sa;Port=" +
           std::to_string(oldServer.port()),
       "odbc:DSN=full;Database={main}"},
  };
  for (auto words : cases) {
    words.insert(words.begin(), "compare");
    Program live(words, with({{"KELVANE_PASSWORD", "x"}}));
    EXPECT_EQ(live.wait(), kDifferences);
    EXPECT_EQ(differences(live.output()), differences(listing.str()));
  }
}

TEST_F(Live, AScriptOfRowsIsTriedOnACopyOfTheServersRows) {
  const std::string tables =
      "create table a (id numeric(9,0) identity primary key, d datetime null, r real null, u "
      "univarchar(9) null, i image null)\n"
      "create table b (a numeric(9,0) not null references a (id), n varchar(9) not null, primary "
      "key (a, n))\ngo\n";
  const std::string source =
      file("rows.sql", tables +
                           "insert a (d, r, u, i) values ('20240101 1:02:03.997', 0.1, "
                           "to_unichar(0xe4), 0x0d0a) insert a (d) values (null)\n"
                           "insert b values (1, 'x') insert b values (2, 'y')\ngo\n");
  const std::string before =
      tables + "insert a (d, r, u) values ('19990101', 0.3, 'z') insert b values (1, 'z')\ngo\n";
  embedded::EmbeddedCatalog catalog = tds::catalogOf(before);
  const tds::TdsServer server(catalog);
  const std::string script = (folder_ / "script.sql").string();
  Program program({"data", source, "--target-server", address(server), "--target-user", "sa",
                   "--script", script, "--allow", "delete"},
                  with({{"KELVANE_PASSWORD", "x"}}));
  EXPECT_EQ(program.wait(), kDifferences) << program.output();
  std::ostringstream text;
  text << std::ifstream(script).rdbuf();
  EXPECT_THAT(text.str(), HasSubstr("\n-- proved: after this script no row differs\n"));
  EXPECT_THAT(text.str(), HasSubstr("'this script is for the database main'"));
  Program after({"data", source, "--", file("before.sql", before), script}, {});
  EXPECT_EQ(after.wait(), kNoDifference) << after.output() << text.str();
}

// Many equal rows, and two that may differ.
std::string scriptOfSums(bool isChanged) {
  std::string script =
      "create table t (id numeric(9,0) primary key, n varchar(9) null, d datetime null)\n";
  for (int row = 0; row < 5000; ++row) {
    const bool differs = isChanged && (row == 0 || row == 2500);
    script += "insert t values (" + std::to_string(row) + ", '" + (differs ? "x" : "y") +
              "', '20240101')\n" + (row % 500 == 0 ? "go\n" : "");
  }
  return script;
}

// The sums of a server are those of another one and of the catalog itself, and lead to the rows
// that differ.
TEST_F(Live, ChecksumsLeadToTheRowsThatDiffer) {
  const std::string source = file("a.sql", scriptOfSums(false));
  embedded::EmbeddedCatalog one({.release = embedded::Release::ase16}),
      other({.release = embedded::Release::ase15});
  ASSERT_TRUE(embedded::loadFile(one, source).succeeded());
  ASSERT_TRUE(embedded::loadScript(other, "b.sql", scriptOfSums(true)).succeeded());
  const tds::TdsServer sourceServer(one), targetServer(other);
  const auto side = [](const tds::TdsServer& server) {
    return "odbc:Driver=FreeTDS;TDS_Version=5.0;Server=127.0.0.1;UID=sa;Port=" +
           std::to_string(server.port());
  };
  for (const std::string& first : {source, side(sourceServer)}) {
    Program exact({"data", "--exact", first, side(targetServer)},
                  with({{"KELVANE_PASSWORD", "x"}}));
    EXPECT_EQ(exact.wait(), kDifferences);
    Program summed({"data", "--checksums", first, side(targetServer)},
                   with({{"KELVANE_PASSWORD", "x"}}));
    EXPECT_EQ(summed.wait(), kDifferences);
    std::string text = summed.output();
    const auto drop = [&](const std::string& part) {
      const std::size_t at = text.find(part);
      ASSERT_NE(at, text.npos) << part << " in " << summed.output();
      text.erase(at, part.size());
    };
    drop("  by checksum: rows of 2 of 5 buckets were read\n");
    drop("; 1 by checksum");
    EXPECT_EQ(text, exact.output());
  }
  Program exact({"data", "--exact", side(sourceServer), side(targetServer)},
                with({{"KELVANE_PASSWORD", "x"}}));
  EXPECT_EQ(exact.wait(), kDifferences);
  Program several({"data", "--parallel", "3", side(sourceServer), side(targetServer)},
                  with({{"KELVANE_PASSWORD", "x"}}));
  EXPECT_EQ(several.wait(), kDifferences);
  EXPECT_EQ(several.output(), exact.output());
}

// The reference is read once, and no target stops another one.
TEST_F(Live, AFleetIsComparedWhateverBreaks) {
  const auto catalogWith = [&](const std::string& more) {
    return std::make_unique<embedded::EmbeddedCatalog>(tds::catalogOf(kScript + more));
  };
  const auto reference = catalogWith(""), equal = catalogWith(""),
             other = catalogWith("create table more (a int)\ngo\n"), broken = catalogWith("");
  std::atomic<std::size_t> asked = 0;
  tds::ServerOptions counting, breaking;
  counting.fault = [&](const std::string&, std::size_t) {
    ++asked;
    return std::nullopt;
  };
  breaking.fault = [](const std::string&, std::size_t number) -> std::optional<tds::Fault> {
    if (number < 9) return std::nullopt;
    return tds::Fault{tds::Fault::Kind::close, 30};
  };
  const tds::TdsServer first(*reference, counting), second(*equal), third(*other),
      fourth(*broken, breaking);
  const auto side = [](const tds::TdsServer& server, const std::string& name) {
    return "odbc:Driver=FreeTDS;TDS_Version=5.0;Server=127.0.0.1;UID=sa;APP=" + name +
           ";Port=" + std::to_string(server.port());
  };
  Program program({"fleet", side(first, "r"), side(second, "a"), side(third, "b"), side(third, "c"),
                   side(third, "d"), side(fourth, "e")},
                  with({{"KELVANE_PASSWORD", "x"}}));
  EXPECT_EQ(program.wait(), kNotProven);
  EXPECT_THAT(program.output(), HasSubstr("\n1 target equal\n"));
  EXPECT_THAT(program.output(), HasSubstr("\n3 targets with the same 1 difference\n"));
  EXPECT_THAT(program.output(), HasSubstr("    table dbo.more: only in target\n"));
  EXPECT_THAT(program.output(), HasSubstr("\n1 target could not be read\n"));
  EXPECT_THAT(program.output(), HasSubstr(": reading stopped: "));
  EXPECT_THAT(program.output(), HasSubstr("5 targets: 1 equal; 3 with the same 1 difference; 1 "
                                          "could not be read\n"));
  // Those of the login among them.
  EXPECT_LE(asked, 30U);
}

// Whatever fails, the report is the one without a fault, or one that proves nothing.
TEST_F(Live, ChecksumsWithAFaultAtEachStatement) {
  const std::string source = file("a.sql", scriptOfSums(false));
  embedded::EmbeddedCatalog catalog({.release = embedded::Release::ase16});
  ASSERT_TRUE(embedded::loadScript(catalog, "b.sql", scriptOfSums(true)).succeeded());
  std::atomic<std::size_t> at = std::numeric_limits<std::size_t>::max(), batches = 0;
  std::atomic<tds::Fault::Kind> kind = tds::Fault::Kind::close;
  tds::ServerOptions options;
  options.fault = [&](const std::string&, std::size_t) -> std::optional<tds::Fault> {
    if (batches++ != at) return std::nullopt;
    return tds::Fault{kind, kind == tds::Fault::Kind::close ? std::size_t{20} : std::size_t{0}};
  };
  const tds::TdsServer server(catalog, options);
  const std::vector<std::string> words{
      "data", "--checksums", source,
      "odbc:Driver=FreeTDS;TDS_Version=5.0;Server=127.0.0.1;UID=sa;Port=" +
          std::to_string(server.port())};
  Program whole(words, with({{"KELVANE_PASSWORD", "x"}}));
  ASSERT_EQ(whole.wait(), kDifferences);
  ASSERT_THAT(whole.output(), HasSubstr("by checksum: rows of 2 of 5 buckets were read"));
  const std::string expected = whole.output().substr(0, whole.output().find("  by checksum"));
  const std::size_t count = batches;
  std::size_t unproven = 0;
  for (kind = tds::Fault::Kind::close;; kind = tds::Fault::Kind::error) {
    for (at = 1; at < count; ++at) {
      batches = 0;
      Program program(words, with({{"KELVANE_PASSWORD", "x"}}));
      const int status = program.wait();
      if (status == kNotProven || status == kError) {
        ++unproven;
        EXPECT_THAT(program.output(), HasSubstr("kelvane: ")) << at;
      } else {
        EXPECT_EQ(status, kDifferences) << at;
        EXPECT_THAT(program.output(), HasSubstr(expected)) << at;
      }
    }
    if (kind == tds::Fault::Kind::error) break;
  }
  EXPECT_GE(unproven, count - 1);
}

// Long values that come by pieces are those of the script, which come whole.
TEST_F(Live, LongValuesAreComparedByPieces) {
  constexpr std::size_t kUnits = 400'000;
  const auto scriptOf = [](bool isChanged) {
    std::string text;
    while (text.size() < kUnits) text += "a line of " + std::to_string(text.size()) + "\n";
    std::string bytes(kUnits, 'e');
    const auto row = [&](int id) {
      return "insert t values (" + std::to_string(id) + ", '" + text + "', '" + text + "', 0x" +
             bytes + bytes + bytes + ")\n";
    };
    std::string script =
        "create table t (id int primary key, t text, u unitext null, i image null)\n" + row(1);
    if (isChanged) text[300'000] = bytes[5] = '1';
    return script + row(2) + "go\n";
  };
  const std::string source = file("a.sql", scriptOf(false)), target = file("b.sql", scriptOf(true));
  embedded::EmbeddedCatalog catalog;
  ASSERT_TRUE(embedded::loadFile(catalog, target).succeeded());
  const tds::TdsServer server(catalog);
  for (const std::string& other :
       {target, "odbc:Driver=FreeTDS;TDS_Version=5.0;Server=127.0.0.1;UID=sa;Port=" +
                    std::to_string(server.port())}) {
    Program program({"data", source, other}, with({{"KELVANE_PASSWORD", "x"}}));
    EXPECT_EQ(program.wait(), kDifferences);
    EXPECT_THAT(program.output(), HasSubstr("changed values: t 1, u 1, i 1\n"));
    EXPECT_THAT(program.output(),
                ::testing::ContainsRegex("~ id 2: t \"a line of 0.*characters\\) .different within "
                                         "characters 262145 to 327680\\), u \"a line"));
    EXPECT_THAT(program.output(), HasSubstr("... (600000 bytes) -> 0xeeeee1ee"));
  }
}

// Whatever way the rows came, and however often they are written.
TEST_F(Live, RowsAreExportedAsThoseOfTheScript) {
  const std::string script =
      "create table typed (id int primary key, t tinyint null, b bigint null, u unsigned int null, "
      "n numeric(38,10) null, m money null, r real null, f float null, d datetime null, s "
      "smalldatetime null, day date null, clock time null, c char(9) null, v varchar(30) null, w "
      "univarchar(30) null, x varbinary(9) null, i image null, l text null, flag bit)\n"
      "create table words (a varchar(9) not null, b float null, primary key (a))\n"
      "create table bag (a varchar(9) null, b numeric(9,3) null)\ngo\n"
      "insert typed values (2, 255, -9223372036854775808, 4294967295, 1.5, -0.5, 0.1, 1e100, "
      "'Jan 2 2024 23:59:59.998', '2024-01-02 10:30', '0001-01-01', '23:59:59.997', 'a b ', ' x', "
      "'\u00FC\u20AC', 0x00ff, 0x01, 'a\nb, \"c\"', 1)\n"
      "insert typed (id, v, flag) values (1, '', 0)\n"
      "insert words values ('b', 1) insert words values ('B', 2.5) insert words values ('a', "
      "null)\n"
      "insert bag values ('b', 1) insert bag values ('a', 2.5) insert bag values (null, 1) insert "
      "bag values ('b', 1)\ngo\n";
  embedded::EmbeddedCatalog catalog = tds::catalogOf(script);
  const tds::TdsServer server(catalog);
  const std::string scriptFile = file("rows.sql", script);
  const std::vector<std::string> live{"--source-server", address(server), "--source-user", "sa"};
  const auto run = [&](std::vector<std::string> words, const std::vector<std::string>& more) {
    words.insert(words.begin(), "data");
    words.insert(words.end(), more.begin(), more.end());
    Program program(words, with({{"KELVANE_PASSWORD", "x"}}));
    const int status = program.wait();
    EXPECT_EQ(status, kNoDifference) << program.output();
  };
  const auto contents = [](const std::filesystem::path& folder) {
    std::map<std::string, std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
      std::ostringstream content;
      content << std::ifstream(entry.path(), std::ios::binary).rdbuf();
      files[entry.path().filename().string()] = content.str();
    }
    return files;
  };
  for (const std::string format : {"csv", "jsonl"}) {
    const std::string ofScript = (folder_ / ("script-" + format)).string(),
                      ofServer = (folder_ / ("server-" + format)).string();
    run({scriptFile}, {"--format", format, "--export", ofScript});
    run(live, {"--format", format, "--export", ofServer});
    const auto first = contents(ofScript);
    EXPECT_EQ(first.size(), 4U);
    EXPECT_EQ(contents(ofServer), first);
    run(live, {"--format", format, "--export", ofServer});
    EXPECT_EQ(contents(ofServer), first);
    run({ofServer, scriptFile}, {});
    run(live, {ofScript});
  }
}

// Pieces of a definition that held 255 letters, not bytes, would lose their ends on the way.
TEST_F(Live, DefinitionsBeyondAsciiArriveWhole) {
  const auto procedure = [](const std::string& letter, const std::string& last) {
    std::string text = "create procedure p as select '";
    while (text.size() < 250) text += letter;
    return text + last + "'\ngo\n";
  };
  for (const std::string letter : {"\u00FC", "\u20AC", "\U0001F600"}) {
    for (const int blanks : {0, 1, 2, 3}) {
      const std::string before(static_cast<std::size_t>(blanks), ' ');
      const std::string source = procedure(letter, before + letter + "abcdef");
      const std::string target = procedure(letter, before + letter + "abcdeg");
      embedded::EmbeddedCatalog oldCatalog = tds::catalogOf(source),
                                newCatalog = tds::catalogOf(target);
      const tds::TdsServer oldServer(oldCatalog), newServer(newCatalog);
      const auto compare = [&](std::vector<std::string> sides) {
        sides.insert(sides.begin(), "compare");
        Program program(sides, with({{"KELVANE_PASSWORD", "x"}}));
        return program.wait();
      };
      const std::vector<std::string> live{"--source-server", address(oldServer), "--source-user",
                                          "sa"};
      const auto liveAgainst = [&](std::vector<std::string> target) {
        target.insert(target.begin(), live.begin(), live.end());
        return compare(target);
      };
      EXPECT_EQ(liveAgainst({"--target-server", address(newServer), "--target-user", "sa"}),
                kDifferences);
      EXPECT_EQ(liveAgainst({file("same.sql", source)}), kNoDifference);
    }
  }
}

TEST_F(Live, TheServerSendsWhatPatternsChoose) {
  auto catalog = tds::catalogOf(kScript);
  const tds::TdsServer server(catalog);
  const std::string trace = (folder_ / "trace").string();
  const std::string changed =
      file("changed.sql", "create table s (a int)\ncreate table x (a int)\n");
  const auto reported = [&](const std::vector<std::string>& target) {
    std::vector<std::string> words{"compare",   changed, "--include", "s",
                                   "--include", "x",     "--include", "u"};
    words.insert(words.end(), target.begin(), target.end());
    Program program(words, {{"KELVANE_PASSWORD", "x"}});
    EXPECT_EQ(program.wait(), kDifferences);
    return program.output();
  };
  for (const std::string& text :
       {reported({"--target-server", address(server), "--target-user", "sa", "--trace", trace}),
        reported({file("script.sql", kScript)})}) {
    EXPECT_THAT(text, HasSubstr("\ntable dbo.x: only in source\n\ntable dbo.u: only in target\n\n"
                                "2 differences in 2 objects: 2 tables."));
    EXPECT_THAT(text, HasSubstr("\nkelvane: Left out by patterns: 1 object of the source, "
                                "3 objects of the target\n"));
  }
  std::ostringstream sent;
  sent << std::ifstream(trace).rdbuf();
  EXPECT_THAT(sent.str(), HasSubstr("c.id in ("));
}

// Roles are of the server: which of them there are is no difference of two databases, what they may
// do is.
TEST_F(Live, RolesThatOneSideUsesAreNoDifference) {
  const std::string tables =
      "create table t (a int)\nexec sp_addlogin x, secret1\ngo\n"
      "exec sp_adduser x\ngo\ncreate role r1\ngo\ncreate role r2\ngo\n"
      "create role r3\ngo\ngrant role r1 to x\ngo\ngrant role r2 to r1\ngo\n";
  auto catalog = tds::catalogOf(tables + "grant select on t to r3\ngo\n");
  auto other = tds::catalogOf(tables + "grant role r3 to r2\ngo\n");
  const tds::TdsServer server(catalog), otherServer(other);
  const auto compared = [&](const std::vector<std::string>& sides) {
    std::vector<std::string> words{"compare"};
    words.insert(words.end(), sides.begin(), sides.end());
    Program program(words, {{"KELVANE_PASSWORD", "x"}});
    EXPECT_EQ(program.wait(), kDifferences);
    return program.output();
  };
  const std::vector<std::string> live{"--source-server", address(server), "--source-user", "sa"};
  std::vector<std::string> script = live, servers = live;
  script.push_back(file("script.sql", tables));
  servers.insert(servers.end(), {"--target-server", address(otherServer), "--target-user", "sa"});
  EXPECT_THAT(
      compared(script),
      HasSubstr("\ntable dbo.t\n    grant select to r3: only in source\n\n1 difference in 1 "
                "object: 1 table."));
  EXPECT_THAT(compared(servers), HasSubstr("\nrole r2\n    roles: (none) -> (r3)\n"));
}

// A line of cron mails what stands on standard error.
TEST_F(Live, QuietSaysNothingOfWhatEveryRunLeavesOut) {
  auto catalog = tds::catalogOf(kScript);
  const tds::TdsServer server(catalog);
  Program loud = withTarget("compare", server, {});
  EXPECT_EQ(loud.wait(), kNoDifference);
  EXPECT_THAT(loud.output(), HasSubstr("Not readable from servers"));
  Program quiet = withTarget("compare", server, {"--quiet"});
  EXPECT_EQ(quiet.wait(), kNoDifference);
  EXPECT_EQ(quiet.output(), "");
  Program weaker = withTarget("compare", server, {"--quiet", "--ignore", "lock"});
  EXPECT_EQ(weaker.wait(), kNoDifference);
  EXPECT_EQ(weaker.output(), "kelvane: Not compared: lock\n");
}

TEST_F(Live, APasswordComesFromItsSourcesInTheirOrder) {
  auto catalog = tds::catalogOf(kScript);
  const tds::TdsServer server(catalog, guarded());
  describe(server, "UID=b}\nPWD=plain\n");
  const std::string script = file("script.sql", kScript);
  const std::string good = file("good", kPassword + "\r\nmore\n");
  const std::string wrong = file("wrong", "nonsense\n"), open = file("open", kPassword, 0640);
  const std::string kNeedsMode = "others can read or write it; run chmod 600 on it";
  const struct {
    std::string side;
    std::vector<std::string> options;
    Program::Environment environment;
    std::string complaint;  // none: the login succeeds
  } cases[] = {
      {"plain;UID=sa", {}, {{"KELVANE_SOURCE_PASSWORD", kPassword}}, ""},
      {"plain;UID=sa", {}, {{"KELVANE_PASSWORD", kPassword}}, ""},
      {"plain;UID=sa",
       {},
       {{"KELVANE_TARGET_PASSWORD", kPassword}},
       "no password for sa (source, odbc:DSN=plain;UID=sa): put it into KELVANE_SOURCE_PASSWORD or "
       "a file for --source-password-file, or run kelvane on a terminal"},
      {"plain;UID=sa", {"--source-password-file", good}, {}, ""},
      {"plain;UID=sa", {"--source-password-file", good}, {{"KELVANE_SOURCE_PASSWORD", "x"}}, ""},
      {"plain;UID=sa", {}, {{"KELVANE_SOURCE_PASSWORD", kPassword}, {"KELVANE_PASSWORD", "x"}}, ""},
      {"plain;UID=sa", {"--source-password-file", wrong}, {}, "Login failed."},
      {"plain;UID=sa", {"--source-password-file", open}, {}, kNeedsMode},
      {"plain;UID=sa", {"--source-password-file", folder_.string()}, {}, "is not a regular file"},
      {"plain;UID=sa", {"--source-password-file", good + "x"}, {}, "No such file or directory"},
      {"plain;UID=sa", {"--source-password-file", file("empty", "\n")}, {}, "first line is empty"},
      {"plain;UID=sa",
       {"--source-password-file", file("marked", "\xEF\xBB\xBF" + kPassword)},
       {},
       ""},
      {"plain;UID=sa", {"--source-password-file", file("mark", "\xEF\xBB\xBF\n")}, {}, "is empty"},
      {"full", {}, {}, ""},
      {"full", {}, {{"KELVANE_PASSWORD", "x"}}, ""},
      {"full", {}, {{"KELVANE_SOURCE_PASSWORD", "x"}}, "Login failed."},
      {"full;UID=sa", {}, {{"KELVANE_PASSWORD", kPassword}}, ""},
      {"plain", {}, {}, "cannot connect without a user name"},
      {"plain;UID=sa", {}, {{"KELVANE_PASSWORD", "};"}}, "FreeTDS does not accept '};' in PWD"},
      {"plain;UID=sa", {}, {{"KELVANE_PASSWORD", "\xE9"}}, "the password is not UTF-8"},
      {"plain;UID=sa",
       {},
       {{"KELVANE_PASSWORD", kPassword + std::string(31 - kPassword.size(), 'x')}},
       "odbc:DSN=plain;UID=sa: the password is longer than 30 bytes in UTF-8, the maximum for a "
       "login"},
      {"plain;UID=sa", {}, {{"KELVANE_PASSWORD", std::string(30, 'x')}}, "Login failed."},
      {"plain;UID=sa",
       {"--source-password-file", file("zero", std::string("a\0b", 3))},
       {},
       "the password contains a zero byte, which a login cannot contain"},
      {"plain;UID=" + std::string(31, 'u'),
       {},
       {{"KELVANE_PASSWORD", "x"}},
       "the user name is longer than 30 bytes"},
  };
  for (const auto& [side, options, environment, complaint] : cases) {
    std::vector<std::string> words{"compare"};
    words.insert(words.end(), options.begin(), options.end());
    words.insert(words.end(), {"odbc:DSN=" + side, script});
    Program program(words, with(environment));
    SCOPED_TRACE(::testing::PrintToString(words) + complaint);
    EXPECT_EQ(program.wait(), complaint.empty() ? kNoDifference : kError);
    EXPECT_THAT(program.output(), HasSubstr(complaint.empty() ? "No differences." : complaint));
    EXPECT_THAT(program.output(), Not(HasSubstr(kPassword)));
  }
  Program ofOneSide({"show", "odbc:DSN=plain;UID=sa"}, with({}));
  EXPECT_EQ(ofOneSide.wait(), kError);
  EXPECT_THAT(ofOneSide.output(),
              HasSubstr("KELVANE_SIDE_PASSWORD or a file for --password-file,"));
}

TEST_F(Live, TheTerminalAsksWithoutShowing) {
  auto catalog = tds::catalogOf(kScript);
  const tds::TdsServer server(catalog, guarded());
  describe(server, "");
  const std::string side = "odbc:DSN=plain;UID=sa";
  const std::vector<std::string> words{"compare", side, side};
  const std::string question = "Password of sa (source, odbc:DSN=plain;UID=sa): ";
  Program answered(words, with(), Program::Terminal::own);
  for (const char* name : {"source", "target"}) {
    ASSERT_TRUE(answered.waitFor("Password of sa (" + std::string(name) + ", " + side + "): "));
    EXPECT_FALSE(answered.echoes());
    answered.type(kPassword + "\n");
  }
  EXPECT_EQ(answered.wait(), kNoDifference);
  EXPECT_TRUE(answered.echoes());
  EXPECT_THAT(answered.output(), HasSubstr("No differences."));
  EXPECT_THAT(answered.output(), Not(HasSubstr(kPassword)));

  for (const auto& [key, status] : {std::pair<const char*, int>("\x03", 128 + SIGINT),
                                    std::pair<const char*, int>("\x04", kError)}) {
    Program ended(words, with(), Program::Terminal::own);
    ASSERT_TRUE(ended.waitFor(question));
    ended.type(key);
    EXPECT_EQ(ended.wait(), status);
    EXPECT_TRUE(ended.echoes());
  }
}

TEST_F(Live, AnotherDatabaseThanTheOneAskedForIsAnError) {
  auto catalog = tds::catalogOf(kScript);
  const tds::TdsServer server(catalog);
  describe(server, "UID=sa\nPWD=x\nDatabase=nowhere\n");
  // FreeTDS does not know "DB", so that the server is never asked for it.
  for (const auto& [side, complaint] :
       {std::pair("odbc:DSN=full", "database 'nowhere'"),
        std::pair("odbc:DSN=plain;UID=sa;DB=no''where",
                  "odbc:DSN=plain;UID=sa;DB=no''where: the login ended in the database 'main', "
                  "not in 'no''where'")}) {
    Program program({"compare", side, file("script.sql", kScript)},
                    with({{"KELVANE_PASSWORD", "x"}}));
    EXPECT_EQ(program.wait(), kError);
    EXPECT_THAT(program.output(), HasSubstr(complaint));
  }
}

// Keeps the answer to the first batch with a text in it back, until it is told to go on.
class HeldAnswer {
 public:
  explicit HeldAnswer(std::string part) : part_(std::move(part)) {}

  tds::ServerOptions options() {
    return {.fault = [this](const std::string& batch, std::size_t) -> std::optional<tds::Fault> {
      if (batch.find(part_) == batch.npos || asked.try_wait()) return std::nullopt;
      asked.count_down();
      goesOn.wait();
      return std::nullopt;
    }};
  }
  std::latch asked{1}, goesOn{1};

 private:
  std::string part_;
};

TEST_F(Live, ASignalEndsTheReadingAndASecondTheProgram) {
  for (const bool twice : {false, true}) {
    auto catalog = tds::catalogOf(kScript);
    HeldAnswer keys("from sysprocedures");
    tds::ServerOptions options = keys.options();
    options.users = guarded().users;
    const tds::TdsServer server(catalog, options);
    Program program({"compare", "--source-server", address(server), "--source-user", "sa",
                     file("script.sql", kScript)},
                    {{"KELVANE_PASSWORD", kPassword}},
                    twice ? Program::Terminal::none : Program::Terminal::own);
    keys.asked.wait();
    std::ifstream words("/proc/" + std::to_string(program.id()) + "/cmdline");
    EXPECT_THAT(std::string(std::istreambuf_iterator<char>(words), {}), Not(HasSubstr(kPassword)));
    if (twice)
      kill(program.id(), SIGTERM);
    else
      program.type("\x03");
    EXPECT_TRUE(
        program.waitFor("kelvane: interrupted; press Ctrl-C again to end the program at once"));
    if (twice) {
      kill(program.id(), SIGINT);
      EXPECT_EQ(program.wait(), 128 + SIGINT);
    }
    keys.goesOn.count_down();
    if (twice) continue;
    EXPECT_EQ(program.wait(), kNotProven);
    EXPECT_THAT(program.output(), HasSubstr("% compiled objects"));
    EXPECT_THAT(program.output(), HasSubstr("kelvane: source: reading interrupted"));
    EXPECT_THAT(program.output(), HasSubstr("kelvane: nothing was compared: "));
  }
}

// What was compared before stands.
TEST_F(Live, ASignalEndsTheComparisonOfRows) {
  auto catalog = tds::catalogOf(kScript);
  HeldAnswer rows("select * from t");
  const tds::TdsServer server(catalog, rows.options());
  Program program = withTarget("data", server, {"--by-position"});
  rows.asked.wait();
  kill(program.id(), SIGINT);
  EXPECT_TRUE(
      program.waitFor("kelvane: interrupted; press Ctrl-C again to end the program at once\n"));
  rows.goesOn.count_down();
  EXPECT_EQ(program.wait(), kNotProven);
  EXPECT_THAT(program.output(),
              HasSubstr("\ns                  0                 0                 0  all rows\n"));
  EXPECT_THAT(
      program.output(),
      HasSubstr("\nu                  0                 0                 0  not compared\n"));
  EXPECT_THAT(program.output(), HasSubstr("kelvane: interrupted\n"));
}

TEST_F(Live, ASignalEndsTheWaitForASilentServer) {
  auto catalog = tds::catalogOf(kScript);
  std::latch asked(1);
  tds::ServerOptions options = tds::failing("from sysprocedures", {tds::Fault::Kind::silence});
  options.fault = [&, fault = options.fault](const std::string& batch, std::size_t number) {
    const auto silence = fault(batch, number);
    if (silence) asked.count_down();
    return silence;
  };
  const tds::TdsServer server(catalog, options);
  Program program =
      withTarget("compare", server, {"--target-database", "main", "--query-limit", "0"});
  asked.wait();
  kill(program.id(), SIGINT);
  EXPECT_EQ(program.wait(), kNotProven);
  EXPECT_THAT(program.output(), HasSubstr("kelvane: target: reading interrupted\n"));
}

TEST_F(Live, AServerThatRunsIntoTheLimitIsNotAskedAgain) {
  const struct {
    std::string verb, batch, said;
    std::vector<std::string> words = {"--query-limit", "1"};
  } cases[] = {
      {"compare", "select id, number, status from sysprocedures where sequence = 0",
       "kelvane: target: reading stopped: compiled objects: "},
      {"data", "select a, b from dbo.t order by a", "kelvane: target: "},
      {"data", "select * from t", "kelvane: target: ", {"--query-limit", "1", "--by-position"}},
  };
  for (const auto& [verb, asked, said, words] : cases) {
    auto catalog = tds::catalogOf(kScript);
    std::atomic<bool> silent = false, askedAgain = false;
    tds::ServerOptions options;
    options.fault = [&](const std::string& batch, std::size_t) -> std::optional<tds::Fault> {
      askedAgain = silent.load();
      if (batch.find(asked) == batch.npos) return std::nullopt;
      silent = true;
      return tds::Fault{tds::Fault::Kind::silence};
    };
    const tds::TdsServer server(catalog, options);
    Program program = withTarget(verb, server, words);
    EXPECT_EQ(program.wait(), kNotProven);
    EXPECT_THAT(program.output(), HasSubstr(said + "no answer to \"" + asked + "\": "));
    EXPECT_FALSE(askedAgain);
  }
}

// What one side may not read is no difference, and no equality either.
TEST_F(Live, WhatIsRefusedIsComparedOnNeitherSide) {
  const std::string script = kScript + "grant select on t to public\ngo\n";
  auto catalog = tds::catalogOf(script);
  const auto compared = [&](const std::string& refused) {
    const tds::TdsServer server(catalog, tds::failing(refused, {tds::Fault::Kind::error}));
    Program program({"compare", file("granting.sql", script), "--target-server", address(server),
                     "--target-user", "sa"},
                    {{"KELVANE_PASSWORD", "x"}});
    EXPECT_EQ(program.wait(), kNotProven);
    return program.output();
  };
  EXPECT_THAT(
      compared("from sysprotects"),
      HasSubstr(
          "\nNo differences in what could be read. Not compared, because it could not be read: "
          "permissions. Not readable from servers: compression, identity-burn, key-options, "
          "latches, logging, "
          "replication-modes.\n"));
  const std::string without = compared("select id, uid, type, name, crdate");
  EXPECT_THAT(without, HasSubstr("\nNothing was compared, because too little could be read."));
  EXPECT_THAT(without,
              HasSubstr("kelvane: nothing was compared: too much of a side could not be read\n"));
}

TEST_F(Live, GarbageThatTheDriverDoesNotSurviveIsAnErrorToo) {
  auto catalog = tds::catalogOf(kScript);
  for (const char filler : {'\x44', '\x6F'}) {
    const tds::TdsServer server(
        catalog, tds::failing("from sysprocedures", {tds::Fault::Kind::garbage, 20, filler}));
    Program program = withTarget("compare", server, {"--query-limit", "2"});
    const int status = program.wait();
    EXPECT_TRUE(status == kError || status == kNotProven) << status;
    EXPECT_THAT(program.output(), HasSubstr("kelvane: "));
  }
}

}  // namespace
}  // namespace kelvane::cli
