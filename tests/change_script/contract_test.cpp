// Every single difference that two scripts of the contract of the reader have: what its script
// leaves.
#include <gtest/gtest.h>

#include "tests/change_script/trial.h"
#include "tests/inventory_read/contract_pairs.h"

namespace kelvane::change_script {
namespace {

using inventory::Pair;

std::vector<Pair> allPairs() {
  std::vector<Pair> all;
  for (const char* const name : {"columns", "constraints", "indexes", "objects", "permissions",
                                 "principals", "tables", "database"}) {
    for (Pair& pair : inventory::pairsOf(name)) {
      // Passwords are not known, so that no copy of the target can be made.
      if ((pair.source + pair.target).find("passwd") == std::string::npos)
        all.push_back(std::move(pair));
    }
  }
  return all;
}

class EachDifference : public ::testing::TestWithParam<Pair> {};

TEST_P(EachDifference, EndsWithItsScript) {
  const Pair& pair = GetParam();
  inventory::onReleases(pair.since, [&](Release release) {
    const Database one = inventory::databaseOf(pair.source, release);
    const Database other = inventory::databaseOf(pair.target, release);
    for (const auto& [source, target] : {std::pair{&one, &other}, std::pair{&other, &one}}) {
      SCOPED_TRACE((source == &one ? "to the source" : "to the target") +
                   std::string(", release ") + std::to_string(static_cast<int>(release)));
      const Trial all = tried(*source, *target, release, "all");
      EXPECT_EQ(all.errors, Lines()) << all.text;
      EXPECT_EQ(all.unexplained(), Lines()) << all.text;
      const Trial none = tried(*source, *target, release, "");
      EXPECT_EQ(none.errors, Lines()) << none.text;
      if (!none.notDone.empty()) continue;
      EXPECT_EQ(none.unexplained(), Lines()) << none.text;
    }
  });
}

// Stopped behind each batch in turn, and started again.
TEST_P(EachDifference, EndsWhereItsScriptWasStopped) {
  const Pair& pair = GetParam();
  const Database one = inventory::databaseOf(pair.source, Release::ase16);
  const Database other = inventory::databaseOf(pair.target, Release::ase16);
  expectGoesOn(one, other, Release::ase16);
  expectGoesOn(other, one, Release::ase16);
}

INSTANTIATE_TEST_SUITE_P(All, EachDifference, ::testing::ValuesIn(allPairs()));

}  // namespace
}  // namespace kelvane::change_script
