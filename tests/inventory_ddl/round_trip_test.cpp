// What is written as a script, loaded and read again is the same.
#include "tests/inventory_ddl/round_trip.h"

#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>

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

std::size_t expectFolder(const fs::path& folder) {
  std::size_t seen = 0;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    if (entry.path().extension() != ".sql") continue;
    for (const auto& release : kReleases) {
      embedded::CatalogOptions options;
      options.release = release;
      embedded::EmbeddedCatalog catalog(options);
      embedded::loadFile(catalog, entry.path(), {.stopAtFirstError = false});
      expectSameText(readAll(*catalog.connect()), release, entry.path().string());
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

TEST(GeneratedSchemas, ComeBack) {
  for (unsigned seed = 1; seed <= 25 && !::testing::Test::HasFailure(); ++seed) {
    const std::string script = cli::generatedSchema(seed).script;
    for (const auto& release : kReleases) {
      embedded::CatalogOptions options;
      options.release = release;
      embedded::EmbeddedCatalog catalog(options);
      embedded::loadScript(catalog, "seed", script, {.stopAtFirstError = false});
      expectSameText(readAll(*catalog.connect()), release, "seed " + std::to_string(seed));
    }
  }
}

}  // namespace
}  // namespace kelvane::inventory
