// Change scripts of generated databases with rows: everything is done or named, and rows that
// nothing concerns stay as they are.
#include <cstdlib>
#include <gtest/gtest.h>
#include <sstream>

#include "tests/change_script/pair_trial.h"
#include "tests/inventory_read/contract_pairs.h"

namespace kelvane::change_script {
namespace {

/// Of the environment variable, for those who want more.
unsigned numberOf(const char* variable, unsigned usual) {
  const char* const text = std::getenv(variable);
  return text == nullptr ? usual : static_cast<unsigned>(std::atoi(text));
}

/// Some of the classes.
std::string classesOf(unsigned seed) {
  std::string words;
  for (const DangerRow& row : kDangers) {
    if ((seed * 2654435761U >> (8U + static_cast<unsigned>(row.danger)) & 1U) != 0)
      words += (words.empty() ? "" : ",") + std::string(row.word);
  }
  return words;
}

class EachRelease : public ::testing::TestWithParam<Release> {};

TEST_P(EachRelease, EndsDifferencesOfGeneratedPairs) {
  const unsigned first = numberOf("KELVANE_FIRST_PAIR", 1), count = numberOf("KELVANE_PAIRS", 14);
  const unsigned most = numberOf("KELVANE_FAULTS", 3);
  unsigned faulty = 0;
  for (unsigned seed = first; seed < first + count && faulty < most; ++seed) {
    const MadePair pair = madePair(seed, GetParam());
    for (const std::string& allow : {std::string("all"), std::string(), classesOf(seed)}) {
      const PairTrial trial{GetParam(), allow, seed};
      if (faultsOf(pair, trial).empty()) continue;
      ++faulty;
      ADD_FAILURE() << "pair " << seed << ", " << shown(reduced(pair, trial), trial);
      break;
    }
  }
}

using inventory::Pair;

class EachPair : public ::testing::TestWithParam<Pair> {};

/// Each line as a batch.
std::vector<std::string> batchesIn(const std::string& text) {
  std::vector<std::string> batches;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) batches.push_back(line);
  return batches;
}

TEST_P(EachPair, EndsBothWays) {
  const Pair& one = GetParam();
  const MadePair pair{batchesIn(one.source), batchesIn(one.target)};
  inventory::onReleases(one.since, [&](Release release) {
    for (const MadePair& way : {pair, MadePair{pair.target, pair.source}}) {
      for (const char* const allow : {"all", ""}) {
        for (unsigned seed = 0; seed < 3; ++seed) {
          const PairTrial trial{release, allow, seed};
          ASSERT_EQ(faultsOf(way, trial), Lines()) << shown(way, trial);
        }
      }
    }
  });
}

INSTANTIATE_TEST_SUITE_P(All, EachPair,
                         ::testing::ValuesIn(inventory::pairsIn(KELVANE_CHANGE_SCRIPT_PAIRS)));
INSTANTIATE_TEST_SUITE_P(All, EachRelease,
                         ::testing::Values(Release::ase125, Release::ase15, Release::ase16));

}  // namespace
}  // namespace kelvane::change_script
