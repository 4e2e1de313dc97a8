// Change scripts of whole databases: with rows and without, stopped half-way, run again.
#include <cstdlib>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <set>

#include "tests/change_script/trial.h"

namespace kelvane::change_script {
namespace {

namespace fs = std::filesystem;

constexpr std::optional<Release> kReleases[] = {std::nullopt, Release::ase125, Release::ase15,
                                                Release::ase16};

Database loaded(const fs::path& path, std::optional<Release> release) {
  embedded::CatalogOptions options;
  options.release = release;
  embedded::EmbeddedCatalog catalog(options);
  embedded::loadFile(catalog, path, {.stopAtFirstError = false});
  return inventory::readAll(*catalog.connect());
}

/// Everything allowed, each class alone, and all but each.
std::vector<std::string> choices() {
  std::vector<std::string> all{"all", ""};
  for (const DangerRow& row : kDangers) {
    all.emplace_back(row.word);
    std::string others;
    for (const DangerRow& other : kDangers) {
      if (other.danger != row.danger) others += "," + std::string(other.word);
    }
    all.push_back(others.substr(1));
  }
  return all;
}

/// What is left after it needs no second script.
void expectNoSecond(const Database& source, const Trial& first, std::optional<Release> release) {
  const ChangeScript second = plan(source, first.result, first.left, optionsFor(release, "all"));
  EXPECT_EQ(textOf({second.steps, {}}), textOf({})) << first.text;
}

void expectRuns(const Database& source, const Database& target, std::optional<Release> release,
                const std::vector<std::string>& choices) {
  for (const std::string& words : choices) {
    const Trial trial = tried(source, target, release, words);
    EXPECT_EQ(trial.errors, Lines()) << "--allow " << words;
    if (words != "all") continue;
    EXPECT_EQ(trial.notDone, Lines());
    EXPECT_EQ(trial.unexplained(), Lines());
    expectNoSecond(source, trial, release);
  }
}

/// Both ways.
void expectPair(const fs::path& one, const fs::path& other,
                const std::vector<std::string>& choices) {
  for (const auto& release : kReleases) {
    const Database a = loaded(one, release), b = loaded(other, release);
    for (const auto& [source, target] : {std::pair{&a, &b}, std::pair{&b, &a}}) {
      SCOPED_TRACE((source == &a ? one : other).string() + ", release " +
                   std::to_string(release ? static_cast<int>(*release) : -1));
      expectRuns(*source, *target, release, choices);
    }
  }
}

TEST(ChangeScript, GoesOnWhereItWasStopped) {
  const fs::path folder(KELVANE_EXAMPLES);
  const Database one = loaded(folder / "shop-1.sql", Release::ase16);
  const Database other = loaded(folder / "shop-2.sql", Release::ase16);
  expectGoesOn(one, other, Release::ase16);
  expectGoesOn(other, one, Release::ase16);
}

struct Rows {
  const char *before, *insert, *after;
  const char* stops;  ///< the reason; none: the script runs to its end
};

// Rows that do not fit stop the script before anything happens to them.
TEST(ChangeScript, StopsAtRowsThatDoNotFit) {
  const Rows all[] = {
      {"a int null", "null", "a int not null", "without a value"},
      {"a int null", "1", "a int not null", nullptr},
      {"a varchar(9) null", "'123456'", "a varchar(5) null", "do not fit"},
      {"a varchar(9) null", "'12345'", "a varchar(5) null", nullptr},
      {"a int null", "256", "a tinyint null", "do not fit"},
      {"a int null", "255", "a tinyint null", nullptr},
      {"a numeric(6,2) null", "1000.5", "a numeric(5,2) null", "do not fit"},
      {"a numeric(6,2) null", "1.25", "a numeric(6,1) null", "do not fit"},
      {"a numeric(6,2) null", "999.5", "a numeric(4,1) null", nullptr},
      {"a varbinary(9) null", "0x010203", "a varbinary(2) null", "do not fit"},
      {"a varbinary(9) null", "0x04", "a numeric(5,2) null", "do not fit"},
      {"a varbinary(9) null", "null", "a numeric(5,2) null", nullptr},
      {"a varbinary(9) null", "0xffffffffffffffff", "a real null", "do not fit"},
      {"a smallint null", "-32768", "a numeric(5,2) null", "do not fit"},
      {"a smallint null", "-999", "a numeric(5,2) null", nullptr},
      {"a varchar(20) null", "'99999999999999999999'", "a money null", "do not fit"},
      {"a varchar(20) null", "'-922337203685477'", "a money null", nullptr},
      {"a varchar(20) null", "'99999999999999999999'", "a bigint null", "do not fit"},
      {"a float null", "1.2) insert t values (2, 1.4", "a int null unique", "the same a"},
      {"a float null", "1.2) insert t values (2, 2.4", "a int null unique", nullptr},
  };
  for (const Rows& rows : all) {
    SCOPED_TRACE(std::string(rows.before) + ", " + rows.insert + ", " + rows.after);
    const auto table = [](std::string_view column) {
      return "create table t (k int not null, " + std::string(column) + ")\n";
    };
    const Database source = inventory::databaseOf(table(rows.after), Release::ase15);
    const Database target = inventory::databaseOf(table(rows.before), Release::ase15);
    const Trial trial = tried(source, target, Release::ase15, "narrow,convert,null-to-not-null");
    embedded::EmbeddedCatalog catalog = copyOf(target, Release::ase15);
    ASSERT_EQ(load(catalog, "insert t values (1, " + std::string(rows.insert) + ")\ngo\n"),
              Lines());
    const Lines errors = load(catalog, trial.text);
    const Database result = inventory::readAll(*catalog.connect());
    const bool isLeft = !inventory::compare(source, result, everything()).empty();
    EXPECT_EQ(isLeft, rows.stops != nullptr) << trial.text;
    ASSERT_EQ(errors.empty(), rows.stops == nullptr) << trial.text;
    if (rows.stops == nullptr) continue;
    EXPECT_THAT(errors[0], ::testing::HasSubstr(rows.stops));
  }
}

// A database that does not allow copies is left as it is.
TEST(ChangeScript, AsksForTheOptionThatCopiesNeed) {
  const Database source =
      inventory::databaseOf("create table t (a bigint null, k int null)", Release::ase15);
  const Database target =
      inventory::databaseOf("create table t (a int null, k int null)", Release::ase15);
  const ChangeScript script =
      plan(source, target, inventory::compare(source, target), optionsFor(Release::ase15, ""));
  std::ostringstream text;
  write(script, {.lines = {}, .checksOptions = true}, text);
  // As on a server.
  std::string asked = text.str();
  const std::size_t name = asked.find("EMBEDDED");
  ASSERT_NE(name, asked.npos);
  asked.replace(name, 8, "another");
  for (const bool allows : {false, true}) {
    embedded::EmbeddedCatalog catalog = copyOf(target, Release::ase15);
    if (allows) load(catalog, "exec sp_dboption main, 'select into/bulkcopy/pllsort', true\ngo\n");
    EXPECT_EQ(load(catalog, asked).empty(), allows);
    const Database result = inventory::readAll(*catalog.connect());
    EXPECT_EQ(result.tables.at(0).columns.at(0).type.type.name, allows ? "bigint" : "int");
  }
}

/// Folders of the versions of something, in the order of their names.
std::vector<std::vector<fs::path>> versionsIn(const fs::path& folder) {
  std::vector<std::vector<fs::path>> all;
  for (const auto& product : fs::directory_iterator(folder)) {
    if (!product.is_directory()) continue;
    std::set<fs::path> versions;
    for (const auto& version : fs::directory_iterator(product)) {
      const std::string name = version.path().filename().string();
      const bool isUpgrade = name.starts_with("upgrade") || name.ends_with("migrations");
      if (version.is_directory() && !isUpgrade) versions.insert(version.path());
    }
    if (versions.size() > 1) all.emplace_back(versions.begin(), versions.end());
  }
  return all;
}

// Real scripts, where the environment variable KELVANE_DEVELOPMENT_SET names a folder of them: each
// version and the next one, with every choice of what is allowed, and all other pairs of versions,
// with all of it and nothing.
TEST(ChangeScript, OfTheDevelopmentSetRuns) {
  const char* const folder = std::getenv("KELVANE_DEVELOPMENT_SET");
  if (folder == nullptr) GTEST_SKIP() << "KELVANE_DEVELOPMENT_SET names no folder of scripts";
  int pairs = 0;
  for (const std::vector<fs::path>& versions : versionsIn(folder)) {
    for (auto one = versions.begin(); one != versions.end(); ++one) {
      for (auto other = std::next(one); other != versions.end(); ++other, ++pairs)
        expectPair(*one, *other,
                   other == std::next(one) ? choices() : std::vector<std::string>{"all", ""});
    }
  }
  EXPECT_GT(pairs, 0);
  RecordProperty("pairs", pairs);
}

TEST(ChangeScript, ConsistsOfWhatStandsForItsSteps) {
  const fs::path folder(KELVANE_EXAMPLES);
  const Database one = loaded(folder / "shop-1.sql", std::nullopt);
  const Database other = loaded(folder / "shop-2.sql", std::nullopt);
  for (const char* words : {"all", ""}) {
    const ChangeScript script =
        plan(one, other, compare(one, other, everything()), optionsFor(std::nullopt, words));
    std::string whole = textOf(script);
    std::set<std::string> headings;
    for (const Step& step : script.steps)
      headings.insert("-- ---- " + std::string(headingOf(step.stage)) + "\n\n");
    for (const std::string& heading : headings) {
      const std::size_t at = whole.find(heading);
      ASSERT_NE(at, whole.npos) << heading;
      whole.erase(at, heading.size());
    }
    std::string together = "\n";
    const std::vector<std::string> pieces = writtenSteps(script);
    ASSERT_EQ(pieces.size(), script.steps.size());
    for (std::size_t at = 0; at < pieces.size(); ++at) {
      EXPECT_NE(pieces[at].find(script.steps[at].difference.substr(0, 20)), std::string::npos);
      together += "\n" + pieces[at];
    }
    EXPECT_EQ(together, whole);
  }
}

TEST(ChangeScript, OfTheExampleRuns) {
  const fs::path folder(KELVANE_EXAMPLES);
  expectPair(folder / "shop-1.sql", folder / "shop-2.sql", choices());
}

}  // namespace
}  // namespace kelvane::change_script
