#include "cli/verbs/keyed_comparison.h"

#include <algorithm>
#include <chrono>
#include <compare>
#include <deque>
#include <string_view>
#include <thread>
#include <utility>

#include "cli/verbs/data_progress.h"
#include "cli/verbs/paired_tables.h"
#include "cli/verbs/resume_file.h"
#include "cli/verbs/second_look.h"
#include "model/text.h"

namespace kelvane::cli {
namespace {

using Clock = std::chrono::steady_clock;

// A table whose rows are being compared.
struct Task {
  KeyedTable& table;
  const KeyedRequest& request;
  std::optional<std::int64_t> expected = {};  // rows, about
  ResumeFile* resume = nullptr;               // null: nobody wants to know how far it came
  TableState state = {};                      // what was known before
  SecondLook* later = nullptr;                // null: what differs is told at once
  SecondLook::Rows kept = {};

  void begin() const {
    for (RowSink* sink : request.sinks) sink->tableBegins(table);
  }
  void end() const {
    for (RowSink* sink : request.sinks) sink->tableEnds(table);
  }
  void tell(const rows::DifferingRows& rows) {
    for (RowSink* sink : request.sinks) sink->rowsDiffer(table, rows);
    keepSample(rows);
  }

 private:
  // The rows with the smallest keys.
  void keepSample(const rows::DifferingRows& rows) {
    const std::size_t most = request.shown;
    if (most == 0) return;
    const std::string_view key =
        (rows.source.empty() ? rows.target : rows.source).substr(0, rows.keySize);
    std::vector<RowSample>& samples = table.samples;
    const auto isBehind = [&](const RowSample& kept) {
      return std::is_lt(rows::orderOf(key, kept.key()));
    };
    if (samples.size() == most && !isBehind(samples.back())) return;
    samples.insert(std::ranges::find_if(samples, isBehind),
                   {{std::string(rows.source), std::string(rows.target)}, rows.keySize});
    if (samples.size() > most) samples.pop_back();
  }
};

// Tells of rows that differ, and how far the comparison is.
class Watch final : public rows::RowObserver {
 public:
  Watch(Task& task, DataProgress& progress, const std::stop_token& stop)
      : task_(task), progress_(progress), stop_(stop) {}

  void rowsDiffer(const rows::DifferingRows& rows) override {
    if (task_.later != nullptr)
      task_.later->keep(task_.kept, rows);
    else
      task_.tell(rows);
  }
  bool goesOn(const rows::RowCounts& counts) override {
    const std::int64_t passed = std::max(counts.rows[0], counts.rows[1]);
    progress_.rowsPassed(passed - passed_);
    passed_ = passed;
    // What stays where the comparison breaks off.
    task_.table.counts = counts;
    return !stop_.stop_requested();
  }
  bool wantsPlace() override {
    constexpr std::chrono::milliseconds kBetween(500);
    return task_.resume != nullptr && Clock::now() - kept_ > kBetween;
  }
  void isAt(std::string_view firstCell, const rows::RowCounts& counts) override {
    std::string_view rest = firstCell;
    if (rows::takeCell(rest).kind == rows::CellKind::null) return;
    TableState state{task_.state.plan, false, std::string(firstCell), task_.state.counts,
                     task_.table.samples};
    state.counts.add(counts);
    task_.resume->keep(task_.table.name, std::move(state));
    kept_ = Clock::now();
  }

 private:
  Task& task_;
  DataProgress& progress_;
  const std::stop_token& stop_;
  std::int64_t passed_ = 0;
  Clock::time_point kept_ = Clock::now();
};

// Tells of rows that still differ.
class SecondWatch final : public rows::RowObserver {
 public:
  SecondWatch(Task& task, const std::stop_token& stop) : task_(task), stop_(stop) {}
  void rowsDiffer(const rows::DifferingRows& rows) override { task_.tell(rows); }
  bool goesOn(const rows::RowCounts&) override { return !stop_.stop_requested(); }

 private:
  Task& task_;
  const std::stop_token& stop_;
};

// What the rows of a table are compared by, for one who knows a part of the result.
std::string described(const rows::TablePlan& plan) {
  std::string text = plan.key + (plan.pairing.isUnique ? "\nunique" : "");
  for (const rows::Select& select : plan.selects) text += "\n" + toUtf8(select.text());
  for (const rows::ComparedColumn& column : plan.columns)
    text += "\n" + column.types[0] + " " + column.types[1];
  return text;
}

// False where a side cannot begin there.
bool setBegin(const rows::TablePlan& plan, std::string_view cell, std::array<RowWish, 2>& wishes) {
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

class Comparison {
 public:
  Comparison(const KeyedRequest& request, std::array<RowSide*, 2> sides, std::stop_token stop)
      : request_(request),
        sides_(sides),
        databases_{&sides[0]->database(), &sides[1]->database()},
        stop_(std::move(stop)),
        wish_{request.ranges},
        tables_(databases_, request.patterns, request.rows) {
    if (wish_.ranges) wish_.ranges->stop = stop_;
    if (request_.resume) resume_.emplace(*request_.resume, request_.comparison);
    if (request_.secondLook) second_.emplace(sides_);
  }

  std::vector<KeyedTable> run(StatusLine& line) {
    const std::vector<TablePair>& pairs = tables_.pairs();
    std::vector<ExpectedTable> expected;
    expected.reserve(pairs.size());
    for (const TablePair& pair : pairs)
      expected.push_back({toUtf16(pair.name), pair.tables[0]->rowCount});
    DataProgress progress(line, std::move(expected));
    for (RowSink* sink : request_.sinks) sink->comparisonBegins(sides_);
    results_.resize(pairs.size());
    for (std::size_t at = 0; at < pairs.size(); ++at) {
      results_[at].name = pairs[at].name;
      if (isOver()) continue;
      progress.tableBegins(at);
      compare(pairs[at], results_[at], progress);
    }
    if (second_) lookAgain(line);
    if (resume_ && std::ranges::all_of(results_, &KeyedTable::isCompared)) resume_->remove();
    addLonelyTables();
    for (RowSink* sink : request_.sinks) sink->comparisonEnds(results_);
    return std::move(results_);
  }

 private:
  bool isOver() const {
    return stop_.stop_requested() || sides_[0]->isOver() || sides_[1]->isOver();
  }

  void addLonelyTables() {
    results_.insert(results_.end(), tables_.lonely().begin(), tables_.lonely().end());
    std::ranges::stable_sort(results_, {}, &KeyedTable::name);
  }

  void compare(const TablePair& pair, KeyedTable& result, DataProgress& progress) {
    try {
      result.plan =
          rows::planOf({*databases_[0], *pair.tables[0], sides_[0]->comesInOrder()},
                       {*databases_[1], *pair.tables[1], sides_[1]->comesInOrder()}, pair.options);
    } catch (const rows::UnusableTable& error) {
      return fail(result, error.what());
    }
    for (const std::size_t side : {0U, 1U}) {
      if (request_.ranges && !result.plan.selects[side].cut)
        result.remarks.push_back("read with one statement in the " +
                                 std::string(side == 0 ? "source" : "target") +
                                 ": no index begins with the first column of an exact key");
    }
    Task& task = tasks_.emplace_back(Task{result, request_, pair.tables[0]->rowCount});
    task.state.plan = described(result.plan);
    if (second_) {
      task.later = &*second_;
      compareRows(task, progress);
      return;
    }
    task.begin();
    compareRows(task, progress);
    task.end();
    tasks_.pop_back();
  }

  // What is known of the table is not compared again.
  void compareRows(Task& task, DataProgress& progress) {
    KeyedTable& result = task.table;
    if (resume_) {
      if (const TableState* known = resume_->find(result.name, task.state.plan))
        task.state = *known;
      const rows::TablePlan& plan = result.plan;
      const bool hasPlaces = plan.pairing.isOrdered && plan.selects[0].cut && plan.selects[1].cut;
      if (hasPlaces) task.resume = &*resume_;
    }
    result.samples = task.state.samples;
    if (task.state.isWhole)
      result.ended = KeyedEnd::whole;
    else
      compareRest(task, progress);
    result.counts.add(task.state.counts);
    if (!resume_ || result.ended != KeyedEnd::whole) return;
    resume_->keep(result.name, {task.state.plan, true, {}, result.counts, result.samples});
  }

  void compareRest(Task& task, DataProgress& progress) {
    KeyedTable& result = task.table;
    const rows::TablePlan& plan = result.plan;
    std::array<RowWish, 2> wishes{wish_, wish_};
    if (!task.state.begin.empty() && !setBegin(plan, task.state.begin, wishes)) {
      task.state = {.plan = task.state.plan};
      result.samples.clear();
    }
    tryOn(result, [&] {
      for (const std::size_t side : {0U, 1U}) sides_[side]->prepare(plan.selects[side]);
      if (!sum(task, wishes, progress)) return;
      rows::RowStream source(sides_[0]->rowsOf(plan, 0, wishes[0]), plan.layout(),
                             [this] { sides_[0]->cancel(); });
      rows::RowStream target(sides_[1]->rowsOf(plan, 1, wishes[1]), plan.layout(),
                             [this] { sides_[1]->cancel(); });
      Watch watch(task, progress, stop_);
      bool isWhole = false;
      result.counts = rows::compareRows(source, target, plan.pairing, watch, isWhole);
      result.ended = isWhole ? KeyedEnd::whole : KeyedEnd::notReached;
    });
  }

  // What servers have summed need not be read. False where nothing is left.
  bool sum(Task& task, std::array<RowWish, 2>& wishes, DataProgress& progress) {
    KeyedTable& result = task.table;
    RowSums sums(request_.checksums, sides_, stop_);
    const auto summed =
        sums.sum(result, task.expected, [&](std::int64_t rows) { progress.rowsPassed(rows); });
    if (!summed) return true;
    result.checksums = summed->checksums;
    rows::RowCounts& counts = task.state.counts;
    counts.rows = {summed->equalRows, summed->equalRows};
    counts.equal = summed->equalRows;
    counts.changedValues.resize(result.plan.columns.size());
    for (const std::size_t side : {0U, 1U}) wishes[side].conditions = summed->conditions[side];
    if (!wishes[0].conditions.empty()) return true;
    result.ended = stop_.stop_requested() ? KeyedEnd::notReached : KeyedEnd::whole;
    return false;
  }

  // Once for all tables: what was written at the time of the first has come by then.
  void lookAgain(StatusLine& line) {
    constexpr std::chrono::milliseconds kStep(50);
    const auto until = Clock::now() + *request_.secondLook;
    const bool isNeeded =
        std::ranges::any_of(tasks_, [](const Task& task) { return task.table.counts.differ(); });
    if (isNeeded) line.show("data", u"waiting before rows that differ are read again");
    while (isNeeded && Clock::now() < until && !stop_.stop_requested())
      std::this_thread::sleep_for(kStep);
    line.show("data", {});
    for (Task& task : tasks_) {
      task.begin();
      if (task.table.counts.differ() && !SecondLook::mayLook(task.table.plan))
        task.table.remarks.emplace_back("not read again: it has no unique key of exact values");
      const bool wasWhole = task.table.ended == KeyedEnd::whole;
      if (isOver()) {
        if (wasWhole) task.table.ended = KeyedEnd::notReached;
      } else {
        tryOn(task.table, [&] {
          SecondWatch watch(task, stop_);
          second_->look(task.table, task.kept, watch);
        });
      }
      task.end();
    }
  }

  template <class Work>
  void tryOn(KeyedTable& table, Work work) const {
    try {
      work();
    } catch (const RuntimeError& error) {
      fail(table, toUtf8(error.Description()));
    } catch (const std::runtime_error& error) {
      fail(table, error.what());
    }
  }

  // Failures after a stop was requested are none of the server's.
  void fail(KeyedTable& result, std::string reason) const {
    result.ended = stop_.stop_requested() ? KeyedEnd::notReached : KeyedEnd::error;
    if (result.ended == KeyedEnd::error) result.error = std::move(reason);
  }

  const KeyedRequest& request_;
  std::array<RowSide*, 2> sides_;
  std::array<const inventory::Database*, 2> databases_;
  std::stop_token stop_;
  RowWish wish_;
  PairedTables tables_;
  std::optional<ResumeFile> resume_;
  std::optional<SecondLook> second_;
  std::deque<Task> tasks_;  // that are not told of yet
  std::vector<KeyedTable> results_;
};

}  // namespace

std::vector<KeyedTable> compareTables(const KeyedRequest& request, std::array<RowSide*, 2> sides,
                                      StatusLine& line, const std::stop_token& stop) {
  return Comparison(request, sides, stop).run(line);
}

}  // namespace kelvane::cli
