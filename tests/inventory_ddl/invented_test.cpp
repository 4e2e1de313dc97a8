// Small databases of what can be declared, each with much of one area, come back whole.
#include <gtest/gtest.h>

#include "tests/inventory_ddl/round_trip.h"
#include "tests/inventory_read/contract_pairs.h"

namespace kelvane::inventory {
namespace {

class EachInvented : public ::testing::TestWithParam<Pair> {};

TEST_P(EachInvented, ComesBack) {
  const Pair& one = GetParam();
  for (const Release release : {Release::ase125, Release::ase15, Release::ase16}) {
    if (release >= one.since) expectSameText(databaseOf(one.source, release), release, one.about);
  }
  if (one.since == Release::ase125)
    expectSameText(databaseOf(one.source, std::nullopt), std::nullopt, one.about);
}

INSTANTIATE_TEST_SUITE_P(All, EachInvented, ::testing::ValuesIn(pairsIn(KELVANE_INVENTED)));

}  // namespace
}  // namespace kelvane::inventory
