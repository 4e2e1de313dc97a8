// What is written as a script, loaded and read again is the same.
#include "tests/inventory_ddl/round_trip.h"

#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <random>

#include "tests/cases/generated_schema.h"
#include "tests/inventory_read/contract_pairs.h"

namespace kelvane::inventory {
namespace {

namespace fs = std::filesystem;

constexpr std::optional<Release> kReleases[] = {std::nullopt, Release::ase125, Release::ase15,
                                                Release::ase16};

class EachContract : public ::testing::TestWithParam<Pair> {};

TEST_P(EachContract, ComesBack) {
  const Pair& pair = GetParam();
  onReleases(pair.since, [&](Release release) {
    for (const std::string& script : {pair.source, pair.target}) {
      const Database database = databaseOf(script, release);
      // Passwords are not known.
      if (script.find("passwd") != std::string::npos) {
        EXPECT_FALSE(scriptOf(database, targetOf(release)).omissions.empty());
        continue;
      }
      expectSameText(database, release, pair.about);
    }
  });
}

std::vector<Pair> allPairs() {
  std::vector<Pair> all;
  for (const char* const name : {"columns", "constraints", "indexes", "objects", "permissions",
                                 "principals", "tables", "database"}) {
    for (Pair& pair : pairsOf(name)) all.push_back(std::move(pair));
  }
  return all;
}

INSTANTIATE_TEST_SUITE_P(All, EachContract, ::testing::ValuesIn(allPairs()));

/// Hides some of the texts, as sp_hidetext does, and gives some names and keys what cannot be
/// written.
void hideSome(Database& database, std::mt19937& random) {
  const auto hide = [&](Definition& definition) {
    if (random() % 5 == 0) definition.state = Definition::State::hidden;
  };
  const auto hideAll = [&](auto& records) {
    for (auto& one : records) hide(one.definition);
  };
  hideAll(database.views);
  hideAll(database.procedures);
  hideAll(database.functions);
  hideAll(database.rules);
  hideAll(database.defaults);
  for (Table& table : database.tables) {
    hideAll(table.triggers);
    for (Check& check : table.checks) hide(check.condition);
    if (random() % 10 == 0) table.columns.clear();
  }
  for (EncryptionKey& key : database.encryptionKeys) key.hasPassword = random() % 2 == 0;
}

void expectRuns(Database database, std::optional<Release> release, unsigned seed,
                const std::string& what) {
  std::mt19937 random(seed);
  hideSome(database, random);
  for (const Written written : {Written::asScript, Written::asFiles}) {
    const RoundTrip trip = roundTrip(database, release, written);
    EXPECT_EQ(trip.errors, Lines()) << what << '\n' << trip.text.substr(0, 6000);
  }
}

std::size_t expectFolder(const fs::path& folder) {
  std::size_t seen = 0;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    if (entry.path().extension() != ".sql") continue;
    for (const auto& release : kReleases) {
      embedded::CatalogOptions options;
      options.release = release;
      embedded::EmbeddedCatalog catalog(options);
      embedded::loadFile(catalog, entry.path(), {.stopAtFirstError = false});
      const Database database = readAll(*catalog.connect());
      expectSameText(database, release, entry.path().string());
      expectRuns(database, release, static_cast<unsigned>(seen), entry.path().string());
      ++seen;
    }
  }
  return seen;
}

TEST(Scripts, OfTheExamplesComeBack) { EXPECT_GT(expectFolder(KELVANE_EXAMPLES), 0U); }

// Real scripts, where the environment variable KELVANE_DEVELOPMENT_SET names a folder of them.
TEST(Scripts, OfTheDevelopmentSetComeBack) {
  const char* const folder = std::getenv("KELVANE_DEVELOPMENT_SET");
  if (folder == nullptr) GTEST_SKIP() << "KELVANE_DEVELOPMENT_SET names no folder of scripts";
  const std::size_t seen = expectFolder(folder);
  EXPECT_GT(seen, 0U);
  RecordProperty("scripts", static_cast<int>(seen));
}

Database generated(unsigned seed, std::optional<Release> release) {
  embedded::CatalogOptions options;
  options.release = release;
  embedded::EmbeddedCatalog catalog(options);
  embedded::loadScript(catalog, "seed", cli::generatedSchema(seed).script,
                       {.stopAtFirstError = false});
  return readAll(*catalog.connect());
}

TEST(GeneratedSchemas, ComeBack) {
  for (unsigned seed = 1; seed <= 25 && !::testing::Test::HasFailure(); ++seed) {
    for (const auto& release : kReleases)
      expectSameText(generated(seed, release), release, "seed " + std::to_string(seed));
  }
}

// Whatever is left out, what is written runs: for the same release, and for earlier ones.
TEST(Omissions, LeaveScriptsThatRun) {
  for (unsigned seed = 1; seed <= 25 && !::testing::Test::HasFailure(); ++seed) {
    const Database database = generated(seed, Release::ase16);
    for (const auto& release : kReleases)
      expectRuns(database, release, seed, "seed " + std::to_string(seed));
  }
}

}  // namespace
}  // namespace kelvane::inventory
