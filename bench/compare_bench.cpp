// How much the schema comparison costs, beside a join over the same fields as one would write it by
// hand for tables alone.
#include <benchmark/benchmark.h>
#include <bit>
#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "bench/in_turn.h"
#include "bench/inventory_bench.h"
#include "bench/live_bytes.h"
#include "bench/sample_schema.h"
#include "compare/compare_schema.h"

namespace kelvane::bench {
namespace {

struct Sides {
  Schema source;
  Schema target;
};

Sides sampleSides(std::int32_t tables) {
  return {sampleSchema(tables, false), sampleSchema(tables, true)};
}

const std::shared_ptr<cComparisonOptions>& options() {
  static const auto all = [] {
    auto made = std::make_shared<cComparisonOptions>();
    for (const Switch& one : kSwitches) (*made).*one.value = True;
    return made;
  }();
  return all;
}

diffSchema compare(const Sides& sides, Boolean isCaseSensitive = True) {
  static const AppPreferences preferences;
  cCompareSchema engine;
  engine.CompareOptions = options();
  engine.AppPreferences = &preferences;
  engine.IsSchemaCaseSensitive(isCaseSensitive);
  engine.Compare(sides.source, sides.target);
  return engine.Results();
}

// The join written by hand. What differs is noted as the records and the member that differ.
class HandJoin {
 public:
  struct Difference {
    const Table* table;
    const void* entity;
    int member;
  };

  std::vector<Difference> run(const Sides& sides) {
    slots_.assign(std::bit_ceil(static_cast<std::size_t>(sides.target.Tables.count()) * 2), {});
    for (const Table& table : sides.target.Tables) *find(table) = {hash(table), &table};
    std::size_t found = 0;
    for (const Table& table : sides.source.Tables) {
      if (const Table* other = find(table)->table) {
        ++found;
        join(table, *other);
      } else {
        differences_.push_back({&table, nullptr, 0});
      }
    }
    if (found < static_cast<std::size_t>(sides.target.Tables.count())) noteMissing(sides);
    return std::move(differences_);
  }

 private:
  struct Slot {
    std::size_t hash;
    const Table* table;
  };

  static bool same(const std::u16string& a, const std::u16string& b) {
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * 2) == 0;
  }
  static std::size_t hash(const Table& table) {
    const std::hash<std::u16string_view> hash;
    return hash(table.Name) * 31 + hash(table.Owner);
  }
  Slot* find(const Table& table) {
    const std::size_t wanted = hash(table);
    for (std::size_t at = wanted;; ++at) {
      Slot& slot = slots_[at & (slots_.size() - 1)];
      if (!slot.table || (slot.hash == wanted && same(slot.table->Name, table.Name) &&
                          same(slot.table->Owner, table.Owner)))
        return &slot;
    }
  }
  void noteMissing(const Sides& sides) {
    std::unordered_map<std::u16string_view, const Table*> names;
    for (const Table& table : sides.source.Tables) names.emplace(table.FullName, &table);
    for (const Table& table : sides.target.Tables)
      if (!names.contains(table.FullName)) differences_.push_back({&table, nullptr, 1});
  }

  template <class Record, class SameDetails>
  void joinList(const Table& table, const Array<Record>& a, const Array<Record>& b,
                std::u16string Record::*name, SameDetails&& compareDetails) {
    bool aligned = a.count() == b.count();
    for (std::int32_t i = 1; aligned && i <= a.count(); ++i) {
      aligned = same(a[i].*name, b[i].*name);
      if (aligned) compareDetails(a[i], b[i]);
    }
    if (aligned) return;
    std::unordered_map<std::u16string_view, const Record*> names;
    for (const Record& one : b) names.emplace(one.*name, &one);
    for (const Record& one : a) {
      const auto other = names.find(one.*name);
      if (other == names.end()) {
        differences_.push_back({&table, &one, 0});
      } else {
        compareDetails(one, *other->second);
        names.erase(other);
      }
    }
    for (const auto& [name_, one] : names) differences_.push_back({&table, one, 1});
  }

  void join(const Table& a, const Table& b) {
    const auto note = [&](const void* entity, int member) {
      differences_.push_back({&a, entity, member});
    };
    if (a.Miscallaneous.RowCount != b.Miscallaneous.RowCount) note(nullptr, 2);
    if (a.Miscallaneous.MaxWidth != b.Miscallaneous.MaxWidth) note(nullptr, 3);
    joinList(a, a.Columns, b.Columns, &Column::Name, [&](const Column& x, const Column& y) {
      if (!same(x.DataType, y.DataType)) note(&x, 2);
      if (!same(x.Default, y.Default)) note(&x, 3);
      if (x.iScale != y.iScale) note(&x, 4);
      if (x.Length != y.Length) note(&x, 5);
      if (x.Nullable != y.Nullable) note(&x, 6);
      if (x.OrdinalPosition != y.OrdinalPosition) note(&x, 7);
      if (x.Precision != y.Precision) note(&x, 8);
    });
    joinList(a, a.Indexes, b.Indexes, &index::IndexKeys, [&](const index& x, const index& y) {
      if (!same(x.IndexDescription, y.IndexDescription)) note(&x, 2);
      if (!same(x.Name, y.Name)) note(&x, 3);
    });
    joinList(a, a.PrimaryKey, b.PrimaryKey, &PrimaryKey::Columns,
             [&](const PrimaryKey& x, const PrimaryKey& y) {
               if (!same(x.Name, y.Name)) note(&x, 2);
               if (!same(x.Attributes, y.Attributes)) note(&x, 3);
             });
  }

  std::vector<Slot> slots_;
  std::vector<Difference> differences_;
};

void BM_Compare(benchmark::State& state) {
  const std::size_t before = liveBytes();
  const Sides sides = sampleSides(static_cast<std::int32_t>(state.range(0)));
  diffSchema result;
  for (auto _ : state) result = compare(sides);
  state.counters["differing"] = result.TableCount;
  state.counters["MiB_held"] = static_cast<double>(liveBytes() - before) / (1 << 20);
}
BENCHMARK(BM_Compare)->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMillisecond);

void BM_CompareIgnoringCase(benchmark::State& state) {
  const Sides sides = sampleSides(static_cast<std::int32_t>(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(compare(sides, False));
}
BENCHMARK(BM_CompareIgnoringCase)->Arg(10'000)->Unit(benchmark::kMillisecond);

void BM_HandJoin(benchmark::State& state) {
  const Sides sides = sampleSides(static_cast<std::int32_t>(state.range(0)));
  std::size_t found = 0;
  for (auto _ : state) found = HandJoin().run(sides).size();
  state.counters["differing"] = static_cast<double>(found);
}
BENCHMARK(BM_HandJoin)->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMillisecond);

// Copies of arrays that somebody may still write to: nothing can be shared.
void BM_CopyDeeply(benchmark::State& state) {
  Sides sides = sampleSides(static_cast<std::int32_t>(state.range(0)));
  for (Schema* schema : {&sides.source, &sides.target})
    for (Table& table : schema->Tables)
      for (const void* first : {static_cast<const void*>(table.Columns.begin()),
                                static_cast<const void*>(table.Indexes.begin()),
                                static_cast<const void*>(table.PrimaryKey.begin())})
        benchmark::DoNotOptimize(first);
  for (auto _ : state) {
    Sides copy = sides;
    benchmark::DoNotOptimize(copy);
  }
}
BENCHMARK(BM_CopyDeeply)->Arg(10'000)->Unit(benchmark::kMillisecond);

// One difference at each of the places that `path` names.
template <class PathOf>
void collect(benchmark::State& state, const char16_t* treeType, PathOf&& pathOf) {
  std::vector<std::u16string> paths;
  for (std::int64_t number = 1; number <= state.range(0); ++number)
    paths.push_back(pathOf(decimalText(number)));
  for (auto _ : state) {
    cCompareDiff collector;
    collector.Owner(u"dbo");
    for (const std::u16string& path : paths)
      collector.Add(u"", u"Length", treeType, path, location_Source, diff_Different, 1, 2);
    benchmark::DoNotOptimize(collector.GetDifferences());
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

void BM_CollectOnOneTable(benchmark::State& state) {
  collect(state, u"Table\\Column",
          [](const std::u16string& number) { return u"customer_history\\column_" + number; });
}
BENCHMARK(BM_CollectOnOneTable)->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMillisecond);

void BM_CollectOnManyTables(benchmark::State& state) {
  collect(state, u"Table",
          [](const std::u16string& number) { return u"customer_history_" + number; });
}
BENCHMARK(BM_CollectOnManyTables)->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMillisecond);

double ratioToHandJoin(std::int32_t tables, std::size_t rounds) {
  const Sides sides = sampleSides(tables);
  return ratioOfMedians(
      rounds, [&] { return compare(sides); }, [&] { return HandJoin().run(sides); });
}

}  // namespace
}  // namespace kelvane::bench

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  // Some were asked for by name.
  if (const std::string& chosen = benchmark::GetBenchmarkFilter(); !chosen.empty() && chosen != ".")
    return 0;
  using namespace kelvane::bench;
  const auto print = [](const char* what, double at10k, double at100k) {
    std::printf("%s against the join by hand: %.2f at 10,000 tables, %.2f at 100,000\n", what,
                at10k, at100k);
  };
  print("Compare", ratioToHandJoin(10'000, 41), ratioToHandJoin(100'000, 15));
  print("Compare inventories", inventoryRatioToHandJoin(10'000, 41),
        inventoryRatioToHandJoin(100'000, 15));
}
