// For each thing that a database declares, two scripts that differ in it alone: the comparison says
// exactly that, in both directions.
#include <algorithm>
#include <gtest/gtest.h>
#include <tuple>

#include "tests/inventory/change_text.h"
#include "tests/inventory_read/contract_pairs.h"
#include "tests/inventory_read/support.h"

namespace kelvane::inventory {
namespace {

/// Path, label, value in the source, in the target; of what one side alone has where it is.
using Difference = std::tuple<std::string, std::string, std::string, std::string>;

void flatten(const std::vector<Change>& changes, const std::string& path, bool isSwapped,
             std::vector<Difference>& all) {
  const auto add = [&](std::string here, std::string label, std::string was, std::string is) {
    if (isSwapped) std::swap(was, is);
    all.emplace_back(std::move(here), std::move(label), std::move(was), std::move(is));
  };
  for (const Change& change : changes) {
    // A name that only one side declares is a difference of its own.
    const bool mayBeGenerated =
        change.kind == Kind::key || change.kind == Kind::foreignKey || change.kind == Kind::check;
    const std::string here = path + "/" + std::string(rowOf(change.kind).singular) + " " +
                             (mayBeGenerated ? "" : change.name);
    if (change.isOnlyInSource()) add(here, "", declarationOf(change.source), "-");
    if (change.isOnlyInTarget()) add(here, "", "-", declarationOf(change.target));
    for (const AttributeChange& one : change.attributes)
      add(here, std::string(one.label), one.was, one.is);
    flatten(change.parts, here, isSwapped, all);
  }
}

std::vector<Difference> flat(const std::vector<Change>& changes, bool isSwapped) {
  std::vector<Difference> all;
  flatten(changes, "", isSwapped, all);
  std::ranges::sort(all);
  return all;
}

class Contract : public ::testing::TestWithParam<Pair> {};

TEST_P(Contract, SaysExactlyWhatDiffers) {
  const Pair& pair = GetParam();
  onReleases(pair.since, [&](Release release) {
    const Database source = databaseOf(pair.source, release);
    const Database target = databaseOf(pair.target, release);
    const std::string where = pair.about + ", release " + std::to_string(static_cast<int>(release));
    const auto changes = compare(source, target);
    EXPECT_EQ(lines(changes), pair.expected) << where;
    EXPECT_EQ(flat(changes, false), flat(compare(target, source), true)) << where;
    EXPECT_EQ(lines(compare(source, source)), Lines()) << where;
    EXPECT_TRUE(target == databaseOf(pair.target, release)) << where;
  });
}

INSTANTIATE_TEST_SUITE_P(Database, Contract, ::testing::ValuesIn(pairsOf("database")));
INSTANTIATE_TEST_SUITE_P(Tables, Contract, ::testing::ValuesIn(pairsOf("tables")));
INSTANTIATE_TEST_SUITE_P(Columns, Contract, ::testing::ValuesIn(pairsOf("columns")));
INSTANTIATE_TEST_SUITE_P(Constraints, Contract, ::testing::ValuesIn(pairsOf("constraints")));
INSTANTIATE_TEST_SUITE_P(Indexes, Contract, ::testing::ValuesIn(pairsOf("indexes")));
INSTANTIATE_TEST_SUITE_P(Objects, Contract, ::testing::ValuesIn(pairsOf("objects")));
INSTANTIATE_TEST_SUITE_P(Principals, Contract, ::testing::ValuesIn(pairsOf("principals")));
INSTANTIATE_TEST_SUITE_P(Permissions, Contract, ::testing::ValuesIn(pairsOf("permissions")));

// The embedded catalog keeps some facts in bits of its own. Of a server they may mean anything.
TEST(StatusBits, OnlyThePublishedOnesAreReadOfAServer) {
  auto catalog = catalogOf(
      "create table t (a int null, b text not compressed null) with compression = page, "
      "dml_logging = minimal\ncreate index i on t (a) with index_compression = page\n",
      Release::ase16);
  const Database database = read(*catalog.connect());
  ASSERT_EQ(database.tables.size(), 1U);
  const Table& table = database.tables.front();
  EXPECT_EQ(table.compression + table.logging + table.indexes.front().compression, "");
  EXPECT_EQ(*table.columns.back().compression, "");
}

}  // namespace
}  // namespace kelvane::inventory
