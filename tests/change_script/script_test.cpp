// Change scripts of whole databases: with rows and without, stopped half-way, run again.
#include <cstdlib>
#include <filesystem>
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

void expectRuns(const Database& source, const Database& target, std::optional<Release> release) {
  for (const std::string& words : choices()) {
    const Trial trial = tried(source, target, release, words);
    EXPECT_EQ(trial.errors, Lines()) << "--allow " << words;
    if (words != "all") continue;
    EXPECT_EQ(trial.notDone, Lines());
    EXPECT_EQ(trial.unexplained(), Lines());
    expectNoSecond(source, trial, release);
  }
}

/// Both ways.
void expectPair(const fs::path& one, const fs::path& other) {
  for (const auto& release : kReleases) {
    const Database a = loaded(one, release), b = loaded(other, release);
    for (const auto& [source, target] : {std::pair{&a, &b}, std::pair{&b, &a}}) {
      SCOPED_TRACE((source == &a ? one : other).string() + ", release " +
                   std::to_string(release ? static_cast<int>(*release) : -1));
      expectRuns(*source, *target, release);
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

/// Folders of the versions of something.
std::vector<std::pair<fs::path, fs::path>> versionsIn(const fs::path& folder) {
  std::vector<std::pair<fs::path, fs::path>> pairs;
  for (const auto& product : fs::directory_iterator(folder)) {
    if (!product.is_directory()) continue;
    std::set<fs::path> versions;
    for (const auto& version : fs::directory_iterator(product)) {
      const std::string name = version.path().filename().string();
      const bool isUpgrade = name.starts_with("upgrade") || name.ends_with("migrations");
      if (version.is_directory() && !isUpgrade) versions.insert(version.path());
    }
    for (auto at = versions.begin(); at != versions.end(); ++at) {
      if (const auto next = std::next(at); next != versions.end()) pairs.emplace_back(*at, *next);
    }
  }
  return pairs;
}

// Real scripts, where the environment variable KELVANE_DEVELOPMENT_SET names a folder of them.
TEST(ChangeScript, OfTheDevelopmentSetRuns) {
  const char* const folder = std::getenv("KELVANE_DEVELOPMENT_SET");
  if (folder == nullptr) GTEST_SKIP() << "KELVANE_DEVELOPMENT_SET names no folder of scripts";
  const auto pairs = versionsIn(folder);
  EXPECT_FALSE(pairs.empty());
  for (const auto& [one, other] : pairs) expectPair(one, other);
  RecordProperty("pairs", static_cast<int>(pairs.size()));
}

TEST(ChangeScript, OfTheExampleRuns) {
  const fs::path folder(KELVANE_EXAMPLES);
  expectPair(folder / "shop-1.sql", folder / "shop-2.sql");
}

}  // namespace
}  // namespace kelvane::change_script
