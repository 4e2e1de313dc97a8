#include "cli/verbs/keyed_comparison.h"

#include <algorithm>
#include <chrono>
#include <compare>
#include <map>
#include <set>
#include <string_view>
#include <utility>

#include "cli/verbs/data_progress.h"
#include "cli/verbs/resume_file.h"
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

// A table whose rows are being compared.
struct Task {
  KeyedTable& table;
  const KeyedRequest& request;
  DataProgress& progress;
  std::stop_token stop;
  ResumeFile* resume;  // null: nobody wants to know how far it came
  TableState state;    // what was known before
};

void add(const rows::RowCounts& more, rows::RowCounts& counts) {
  for (const std::size_t side : {0U, 1U}) {
    counts.rows[side] += more.rows[side];
    counts.alone[side] += more.alone[side];
  }
  counts.equal += more.equal;
  counts.changed += more.changed;
  counts.changedValues.resize(std::max(counts.changedValues.size(), more.changedValues.size()));
  for (std::size_t at = 0; at < more.changedValues.size(); ++at)
    counts.changedValues[at] += more.changedValues[at];
}

// Keeps the rows with the smallest keys, and tells how far the comparison is.
class Watch final : public rows::RowObserver {
 public:
  explicit Watch(Task& task) : task_(task) {}

  void rowsDiffer(const rows::DifferingRows& rows) override {
    for (RowSink* sink : task_.request.sinks) sink->rowsDiffer(task_.table, rows);
    keepSample(rows);
  }
  bool goesOn(const rows::RowCounts& counts) override {
    const std::int64_t passed = std::max(counts.rows[0], counts.rows[1]);
    task_.progress.rowsPassed(passed - passed_);
    passed_ = passed;
    return !task_.stop.stop_requested();
  }
  bool wantsPlace() override {
    constexpr std::chrono::milliseconds kBetween(500);
    return task_.resume != nullptr && Clock::now() - kept_ > kBetween;
  }
  void isAt(std::string_view firstCell, const rows::RowCounts& counts) override {
    std::string_view rest = firstCell;
    if (rows::takeCell(rest).kind != rows::CellKind::null) keep(firstCell, counts);
  }

 private:
  using Clock = std::chrono::steady_clock;

  void keep(std::string_view begin, const rows::RowCounts& counts) {
    TableState state{task_.state.plan, false, std::string(begin), task_.state.counts,
                     task_.table.samples};
    add(counts, state.counts);
    task_.resume->keep(task_.table.name, std::move(state));
    kept_ = Clock::now();
  }

  void keepSample(const rows::DifferingRows& rows) {
    const std::size_t most = task_.request.shown;
    if (most == 0) return;
    const std::string_view key =
        (rows.source.empty() ? rows.target : rows.source).substr(0, rows.keySize);
    std::vector<RowSample>& samples = task_.table.samples;
    const auto isBehind = [&](const RowSample& kept) {
      return std::is_lt(rows::orderOf(key, kept.key()));
    };
    if (samples.size() == most && !isBehind(samples.back())) return;
    samples.insert(std::ranges::find_if(samples, isBehind),
                   {{std::string(rows.source), std::string(rows.target)}, rows.keySize});
    if (samples.size() > most) samples.pop_back();
  }

  Task& task_;
  std::int64_t passed_ = 0;
  Clock::time_point kept_ = Clock::now();
};

// What the rows of a table are compared by, for one who knows a part of the result.
std::string described(const rows::TablePlan& plan) {
  std::string text = plan.key + (plan.pairing.isUnique ? "\nunique" : "");
  for (const rows::Select& select : plan.selects) text += "\n" + toUtf8(select.text());
  for (const rows::ComparedColumn& column : plan.columns)
    text += "\n" + column.types[0] + " " + column.types[1];
  return text;
}

class Comparison {
 public:
  Comparison(const KeyedRequest& request, std::array<RowSide*, 2> sides, std::stop_token stop)
      : request_(request),
        sides_(sides),
        databases_{&sides[0]->database(), &sides[1]->database()},
        stop_(std::move(stop)),
        mode_(databases_[0]->server.ignoresCase && databases_[1]->server.ignoresCase
                  ? CaseMode::ignore
                  : CaseMode::exact),
        wish_{request.ranges} {
    if (wish_.ranges) wish_.ranges->stop = stop_;
    if (request_.resume) resume_.emplace(*request_.resume, request_.comparison);
  }

  std::vector<KeyedTable> run(StatusLine& line) {
    pairTables();
    std::vector<ExpectedTable> expected;
    expected.reserve(pairs_.size());
    for (const Pair& pair : pairs_)
      expected.push_back({toUtf16(pair.name), pair.tables[0]->rowCount});
    DataProgress progress(line, std::move(expected));
    for (RowSink* sink : request_.sinks) sink->comparisonBegins(sides_);
    results_.resize(pairs_.size());
    for (std::size_t at = 0; at < pairs_.size(); ++at) {
      results_[at].name = pairs_[at].name;
      if (isOver()) continue;
      progress.tableBegins(at);
      compare(pairs_[at], results_[at], progress);
    }
    if (resume_ && std::ranges::all_of(results_, &KeyedTable::isCompared)) resume_->remove();
    addLonelyTables();
    for (RowSink* sink : request_.sinks) sink->comparisonEnds(results_);
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
      if (!matches(table, request_.patterns[at])) continue;
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
    for (const auto& [name, columns] : request_.rows.keys) {
      if (std::ranges::none_of(
              pairs_, [&, wanted = &name](const Pair& pair) { return isNamed(pair, *wanted); }))
        unused.push_back("--key " + name + ": there is no such table on both sides");
    }
    for (const auto& [tables, text] : request_.rows.conditions) {
      if (std::ranges::none_of(pairs_, [&, wanted = &tables](const Pair& pair) {
            return matches(*pair.tables[0], toUtf16(*wanted));
          }))
        unused.push_back("--where " + tables + ": no table on both sides matches");
    }
    for (const std::string& column : namedColumns()) {
      if (!isSomeColumn(column)) unused.push_back("no column matches '" + column + "'");
    }
    if (!unused.empty()) throw CommandError(std::move(unused));
  }

  // As patterns.
  std::vector<std::string> namedColumns() const {
    const rows::PlanOptions& comparing = request_.rows.comparing;
    std::vector<std::string> patterns = comparing.columns;
    patterns.insert(patterns.end(), comparing.ignoredColumns.begin(),
                    comparing.ignoredColumns.end());
    for (const rows::Tolerance& tolerance : comparing.tolerances) {
      if (!rows::isTypeName(tolerance.columns)) patterns.push_back(tolerance.columns);
    }
    return patterns;
  }

  bool isSomeColumn(const std::string& pattern) const {
    return std::ranges::any_of(pairs_, [&](const Pair& pair) {
      return std::ranges::any_of(pair.tables, [&](const Table* table) {
        return std::ranges::any_of(table->columns, [&](const inventory::Column& column) {
          return rows::matchesColumn(table->name, column.name, pattern);
        });
      });
    });
  }

  static bool matches(const Table& table, std::u16string_view pattern) {
    return pattern.empty() || inventory::matchesPattern(toUtf16(table.name.name), pattern) ||
           inventory::matchesPattern(toUtf16(table.name.owner + "." + table.name.name), pattern);
  }

  rows::PlanOptions optionsFor(const Pair& pair) const {
    rows::PlanOptions options = request_.rows.comparing;
    for (const auto& [name, columns] : request_.rows.keys) {
      if (isNamed(pair, name)) options.key = columns;
    }
    for (const auto& [tables, text] : request_.rows.conditions) {
      if (!matches(*pair.tables[0], toUtf16(tables))) continue;
      if (!options.condition.empty()) options.condition += "\n) and (";
      options.condition += text;
    }
    return options;
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
    try {
      result.plan = rows::planOf({*databases_[0], *pair.tables[0]},
                                 {*databases_[1], *pair.tables[1]}, optionsFor(pair));
    } catch (const rows::UnusableTable& error) {
      return fail(result, error.what());
    }
    for (RowSink* sink : request_.sinks) sink->tableBegins(result);
    compareRows(result, progress);
    for (RowSink* sink : request_.sinks) sink->tableEnds(result);
  }

  // What is known of the table is not compared again.
  void compareRows(KeyedTable& result, DataProgress& progress) {
    const rows::TablePlan& plan = result.plan;
    Task task{result, request_, progress, stop_, nullptr, {.plan = described(plan)}};
    if (resume_) {
      if (const TableState* known = resume_->find(result.name, task.state.plan))
        task.state = *known;
      const bool hasPlaces = plan.pairing.isOrdered && plan.selects[0].cut && plan.selects[1].cut;
      if (hasPlaces) task.resume = &*resume_;
    }
    result.samples = task.state.samples;
    if (task.state.isWhole)
      result.ended = KeyedEnd::whole;
    else
      compareRest(task);
    add(task.state.counts, result.counts);
    if (!resume_ || result.ended != KeyedEnd::whole) return;
    resume_->keep(result.name, {task.state.plan, true, {}, result.counts, result.samples});
  }

  void compareRest(Task& task) {
    KeyedTable& result = task.table;
    const rows::TablePlan& plan = result.plan;
    try {
      std::array<RowWish, 2> wishes{wish_, wish_};
      if (!task.state.begin.empty() && !setBegin(plan, task.state.begin, wishes)) {
        task.state = {.plan = task.state.plan};
        result.samples.clear();
      }
      for (const std::size_t side : {0U, 1U}) sides_[side]->prepare(plan.selects[side]);
      rows::RowStream source(sides_[0]->rowsOf(plan, 0, wishes[0]), plan.layout(),
                             [this] { sides_[0]->cancel(); });
      rows::RowStream target(sides_[1]->rowsOf(plan, 1, wishes[1]), plan.layout(),
                             [this] { sides_[1]->cancel(); });
      Watch watch(task);
      bool isWhole = false;
      result.counts = rows::compareRows(source, target, plan.pairing, watch, isWhole);
      result.ended = isWhole ? KeyedEnd::whole : KeyedEnd::notReached;
    } catch (const RuntimeError& error) {
      fail(result, toUtf8(error.Description()));
    } catch (const std::runtime_error& error) {
      fail(result, error.what());
    }
  }

  // False where a side cannot begin there.
  static bool setBegin(const rows::TablePlan& plan, std::string_view cell,
                       std::array<RowWish, 2>& wishes) {
    std::u16string storage;
    const ado::Value value = rows::valueOf(rows::takeCell(cell), storage);
    for (const std::size_t side : {0U, 1U}) {
      if (!plan.selects[side].cut) return false;
      const rows::Literal literal = rows::literalOf(value, plan.selects[side].cut->literal);
      if (!literal.isWritten()) return false;
      wishes[side].begin = literal.text;
    }
    return true;
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
  RowWish wish_;
  std::optional<ResumeFile> resume_;
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
