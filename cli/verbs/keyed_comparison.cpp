#include "cli/verbs/keyed_comparison.h"

#include <algorithm>
#include <compare>
#include <map>
#include <set>
#include <string_view>
#include <utility>

#include "cli/verbs/data_progress.h"
#include "inventory/name_pattern.h"
#include "model/text.h"

namespace kelvane::cli {
namespace {

using inventory::Database;
using inventory::Table;

// What a table is called: that of dbo without its owner.
std::string shownName(const Table& table) {
  return table.name.owner == "dbo" ? table.name.name : table.name.owner + "." + table.name.name;
}

// Keeps the rows with the smallest keys, and tells how far the comparison is.
class Watch final : public rows::RowObserver {
 public:
  Watch(KeyedTable& table, const KeyedRequest& request, DataProgress& progress,
        std::stop_token stop)
      : table_(table), request_(request), progress_(progress), stop_(std::move(stop)) {}

  void rowsDiffer(const rows::DifferingRows& rows) override {
    for (RowSink* sink : request_.sinks) sink->rowsDiffer(table_, rows);
    keepSample(rows);
  }
  bool goesOn(const rows::RowCounts& counts) override {
    progress_.rowsPassed(std::max(counts.rows[0], counts.rows[1]) - passed_);
    passed_ = std::max(counts.rows[0], counts.rows[1]);
    return !stop_.stop_requested();
  }

 private:
  void keepSample(const rows::DifferingRows& rows) {
    const std::size_t most = request_.shown;
    if (most == 0) return;
    const std::string_view key =
        (rows.source.empty() ? rows.target : rows.source).substr(0, rows.keySize);
    std::vector<RowSample>& samples = table_.samples;
    const auto isBehind = [&](const RowSample& kept) {
      return std::is_lt(rows::orderOf(key, kept.key()));
    };
    if (samples.size() == most && !isBehind(samples.back())) return;
    samples.insert(std::ranges::find_if(samples, isBehind),
                   {{std::string(rows.source), std::string(rows.target)}, rows.keySize});
    if (samples.size() > most) samples.pop_back();
  }

  KeyedTable& table_;
  const KeyedRequest& request_;
  DataProgress& progress_;
  std::stop_token stop_;
  std::int64_t passed_ = 0;
};

class Comparison {
 public:
  Comparison(const KeyedRequest& request, std::array<RowSide*, 2> sides, std::stop_token stop)
      : request_(request),
        sides_(sides),
        databases_{&sides[0]->database(), &sides[1]->database()},
        stop_(std::move(stop)),
        mode_(databases_[0]->server.ignoresCase && databases_[1]->server.ignoresCase
                  ? CaseMode::ignore
                  : CaseMode::exact) {}

  std::vector<KeyedTable> run(StatusLine& line) {
    pairTables();
    std::vector<ExpectedTable> expected;
    expected.reserve(pairs_.size());
    for (const Pair& pair : pairs_)
      expected.push_back({toUtf16(pair.name), pair.tables[0]->rowCount});
    DataProgress progress(line, std::move(expected));
    results_.resize(pairs_.size());
    for (std::size_t at = 0; at < pairs_.size(); ++at) {
      results_[at].name = pairs_[at].name;
      if (isOver()) continue;
      progress.tableBegins(at);
      compare(pairs_[at], results_[at], progress);
    }
    addLonelyTables();
    return std::move(results_);
  }

 private:
  struct Pair {
    std::string name;
    std::array<const Table*, 2> tables;
  };
  using Key = std::pair<std::u16string, std::u16string>;

  bool isOver() const {
    return stop_.stop_requested() || sides_[0]->isOver() || sides_[1]->isOver();
  }

  Key keyOf(const Table& table) const {
    const auto comparable = [&](const std::string& name) {
      return mode_ == CaseMode::ignore ? foldCase(toUtf16(name)) : toUtf16(name);
    };
    return {comparable(table.name.owner), comparable(table.name.name)};
  }

  bool isWanted(const Table& table) {
    bool isWanted = request_.patterns.empty();
    for (std::size_t at = 0; at < request_.patterns.size(); ++at) {
      if (!inventory::matchesPattern(toUtf16(table.name.name), request_.patterns[at]) &&
          !inventory::matchesPattern(toUtf16(table.name.owner + "." + table.name.name),
                                     request_.patterns[at]))
        continue;
      isWanted = true;
      used_.insert(at);
    }
    return isWanted;
  }

  void pairTables() {
    std::map<Key, const Table*> targets;
    for (const Table& table : databases_[1]->tables) {
      if (isWanted(table)) targets.emplace(keyOf(table), &table);
    }
    for (const Table& table : databases_[0]->tables) {
      if (!isWanted(table)) continue;
      if (const auto found = targets.find(keyOf(table)); found != targets.end()) {
        pairs_.push_back({shownName(table), {&table, found->second}});
        targets.erase(found);
      } else {
        lonely_.push_back({.name = shownName(table), .ended = KeyedEnd::missingInTarget});
      }
    }
    for (const auto& [key, table] : targets)
      lonely_.push_back({.name = shownName(*table), .ended = KeyedEnd::missingInSource});
    requireUse();
    std::ranges::sort(pairs_, {}, &Pair::name);
  }

  // Of each pattern and each key.
  void requireUse() const {
    std::vector<std::string> unused;
    for (std::size_t at = 0; at < request_.patterns.size(); ++at) {
      if (!used_.contains(at))
        unused.push_back("no table matches '" + toUtf8(request_.patterns[at]) + "'");
    }
    for (const auto& [name, columns] : request_.keys) {
      if (std::ranges::none_of(
              pairs_, [&, wanted = &name](const Pair& pair) { return isNamed(pair, *wanted); }))
        unused.push_back("--key " + name + ": there is no such table on both sides");
    }
    if (!unused.empty()) throw CommandError(std::move(unused));
  }

  static bool isNamed(const Pair& pair, const std::string& name) {
    return pair.name == name ||
           pair.tables[0]->name.owner + "." + pair.tables[0]->name.name == name;
  }

  void addLonelyTables() {
    results_.insert(results_.end(), lonely_.begin(), lonely_.end());
    std::ranges::stable_sort(results_, {}, &KeyedTable::name);
  }

  void compare(const Pair& pair, KeyedTable& result, DataProgress& progress) {
    rows::PlanOptions options = request_.comparing;
    for (const auto& [name, columns] : request_.keys) {
      if (isNamed(pair, name)) options.key = columns;
    }
    try {
      result.plan =
          rows::planOf({*databases_[0], *pair.tables[0], sides_[0]->comesInOrder()},
                       {*databases_[1], *pair.tables[1], sides_[1]->comesInOrder()}, options);
    } catch (const rows::UnusableTable& error) {
      return fail(result, error.what());
    }
    for (RowSink* sink : request_.sinks) sink->tableBegins(result);
    compareRows(result, progress);
    for (RowSink* sink : request_.sinks) sink->tableEnds(result);
  }

  void compareRows(KeyedTable& result, DataProgress& progress) {
    const rows::TablePlan& plan = result.plan;
    try {
      for (const std::size_t side : {0U, 1U}) sides_[side]->prepare(plan.selects[side]);
      rows::RowStream source(sides_[0]->rowsOf(plan, 0), plan.layout());
      rows::RowStream target(sides_[1]->rowsOf(plan, 1), plan.layout());
      Watch watch(result, request_, progress, stop_);
      bool isWhole = false;
      result.counts = rows::compareRows(source, target, plan.pairing, watch, isWhole);
      result.ended = isWhole ? KeyedEnd::whole : KeyedEnd::notReached;
    } catch (const RuntimeError& error) {
      fail(result, toUtf8(error.Description()));
    } catch (const std::runtime_error& error) {
      fail(result, error.what());
    }
  }

  // Failures after a stop was requested are none of the server's.
  void fail(KeyedTable& result, std::string reason) const {
    if (stop_.stop_requested()) return;
    result.ended = KeyedEnd::error;
    result.error = std::move(reason);
  }

  const KeyedRequest& request_;
  std::array<RowSide*, 2> sides_;
  std::array<const Database*, 2> databases_;
  std::stop_token stop_;
  CaseMode mode_;
  std::set<std::size_t> used_;  // patterns
  std::vector<Pair> pairs_;
  std::vector<KeyedTable> lonely_, results_;
};

}  // namespace

std::vector<KeyedTable> compareTables(const KeyedRequest& request, std::array<RowSide*, 2> sides,
                                      StatusLine& line, const std::stop_token& stop) {
  return Comparison(request, sides, stop).run(line);
}

}  // namespace kelvane::cli
