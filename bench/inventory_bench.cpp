// How much the comparison of two inventories costs, beside a join over the same fields as one would
// write it by hand for tables alone.
#include "bench/inventory_bench.h"

#include <benchmark/benchmark.h>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "bench/in_turn.h"
#include "bench/live_bytes.h"
#include "bench/sample_inventory.h"
#include "inventory/compare/compare.h"

namespace kelvane::bench {
namespace {

using namespace inventory;

struct Sides {
  Database source, target;
};

Sides sampleSides(int tables) {
  return {sampleInventory(tables, false), sampleInventory(tables, true)};
}

// The join written by hand. What differs is noted as the records and the member that differ.
class HandJoin {
 public:
  struct Difference {
    const Table* table;
    const void* part;
    int member;
  };

  std::vector<Difference> run(const Sides& sides) {
    std::unordered_map<std::string_view, const Table*> names;
    names.reserve(sides.target.tables.size());
    for (const Table& table : sides.target.tables) names.emplace(table.name.name, &table);
    for (const Table& table : sides.source.tables) {
      const auto other = names.find(table.name.name);
      if (other == names.end() || other->second->name.owner != table.name.owner) {
        differences_.push_back({&table, nullptr, 0});
        continue;
      }
      table_ = &table;
      joinTable(table, *other->second);
      names.erase(other);
    }
    for (const Table& table : sides.target.tables) {
      if (names.contains(table.name.name)) differences_.push_back({&table, nullptr, 1});
    }
    return std::move(differences_);
  }

 private:
  template <class Record, class... Members>
  void joinMembers(const Record& a, const Record& b, Members... members) {
    int number = 2;
    ((a.*members == b.*members ? void() : differences_.push_back({table_, &a, number}), ++number),
     ...);
  }

  template <class Record, class NameOf, class JoinDetails>
  void joinList(const std::vector<Record>& a, const std::vector<Record>& b, NameOf nameOf,
                JoinDetails joinDetails) {
    bool isAligned = a.size() == b.size();
    for (std::size_t at = 0; isAligned && at < a.size(); ++at) {
      isAligned = nameOf(a[at]) == nameOf(b[at]);
      if (isAligned) joinDetails(a[at], b[at]);
    }
    if (isAligned) return;
    std::unordered_map<std::string_view, const Record*> names;
    for (const Record& one : b) names.emplace(nameOf(one), &one);
    for (const Record& one : a) {
      const auto other = names.find(nameOf(one));
      if (other == names.end()) {
        differences_.push_back({table_, &one, 0});
        continue;
      }
      joinDetails(one, *other->second);
      names.erase(other);
    }
    for (const auto& [name, one] : names) differences_.push_back({table_, one, 1});
  }

  void joinStorage(const IndexStorage& a, const IndexStorage& b) {
    using Storage = IndexStorage;
    joinMembers(a, b, &Storage::clustered, &Storage::columns, &Storage::fillFactor,
                &Storage::maxRowsPerPage, &Storage::reservePageGap, &Storage::segment,
                &Storage::compression, &Storage::latchFree, &Storage::local, &Storage::partitions,
                &Storage::cache, &Storage::cacheStrategy);
  }

  void joinTable(const Table& a, const Table& b) {
    joinMembers(a, b, &Table::lock, &Table::segment, &Table::identityGap, &Table::maxRowsPerPage,
                &Table::expectedRowSize, &Table::reservePageGap, &Table::fillFactor,
                &Table::concurrencyThreshold, &Table::identityBurnMax, &Table::compression,
                &Table::indexCompression, &Table::lobCompression, &Table::logging, &Table::transfer,
                &Table::erasure, &Table::latchFree, &Table::deallocatesFirstTextPage,
                &Table::optimisticIndexLock, &Table::cache, &Table::cacheStrategy,
                &Table::pageLockPromotion, &Table::rowLockPromotion, &Table::replicated,
                &Table::proxyKind, &Table::proxyPlace, &Table::partitionKind,
                &Table::partitionColumns, &Table::partitions);
    joinList(
        a.columns, b.columns, [](const Column& one) -> std::string_view { return one.name; },
        [&](const Column& x, const Column& y) {
          joinMembers(x, y, &Column::type, &Column::defaultValue, &Column::rule,
                      &Column::accessRule, &Column::computed, &Column::encryptionKey,
                      &Column::decryptDefault, &Column::compression, &Column::replication,
                      &Column::inRowLength, &Column::materialized, &Column::encrypted,
                      &Column::offRow);
        });
    joinList(
        a.keys, b.keys, [](const KeyConstraint& one) -> std::string_view { return one.name.name; },
        [&](const KeyConstraint& x, const KeyConstraint& y) {
          joinMembers(x, y, &KeyConstraint::primary, &KeyConstraint::message);
          joinStorage(x, y);
        });
    joinList(
        a.indexes, b.indexes, [](const Index& one) -> std::string_view { return one.name; },
        [&](const Index& x, const Index& y) {
          joinMembers(x, y, &Index::unique, &Index::ignoreDuplicateKey, &Index::ignoreDuplicateRow,
                      &Index::allowDuplicateRow);
          joinStorage(x, y);
        });
    joinMembers(a, b, &Table::foreignKeys, &Table::checks, &Table::triggers, &Table::logicalKeys,
                &Table::permissions);
  }

  const Table* table_ = nullptr;
  std::vector<Difference> differences_;
};

void BM_CompareInventories(benchmark::State& state) {
  const std::size_t before = liveBytes();
  const Sides sides = sampleSides(static_cast<int>(state.range(0)));
  std::vector<Change> changes;
  for (auto _ : state) changes = compare(sides.source, sides.target);
  state.counters["differing"] = static_cast<double>(changes.size());
  state.counters["MiB_held"] = static_cast<double>(liveBytes() - before) / (1 << 20);
}
BENCHMARK(BM_CompareInventories)->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMillisecond);

void BM_HandJoinInventories(benchmark::State& state) {
  const Sides sides = sampleSides(static_cast<int>(state.range(0)));
  std::size_t found = 0;
  for (auto _ : state) found = HandJoin().run(sides).size();
  state.counters["differing"] = static_cast<double>(found);
}
BENCHMARK(BM_HandJoinInventories)->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMillisecond);

}  // namespace

double inventoryRatioToHandJoin(int tables, std::size_t rounds) {
  const Sides sides = sampleSides(tables);
  return ratioOfMedians(
      rounds, [&] { return compare(sides.source, sides.target); },
      [&] { return HandJoin().run(sides); });
}

}  // namespace kelvane::bench
