#include "cli/verbs/keyed_comparison.h"

#include <algorithm>
#include <chrono>
#include <deque>
#include <memory>
#include <string_view>
#include <thread>
#include <utility>

#include "cli/verbs/data_progress.h"
#include "cli/verbs/paired_tables.h"
#include "cli/verbs/resume_file.h"
#include "cli/verbs/row_lanes.h"
#include "cli/verbs/second_look.h"
#include "cli/verbs/table_task.h"
#include "model/text.h"

namespace kelvane::cli {
namespace {

using Clock = std::chrono::steady_clock;

// Tells of rows that differ, and how far the comparison is.
class Watch final : public PieceWatch {
 public:
  Watch(TableTask& task, RowPiece& piece, DataProgress& progress, std::stop_token stop)
      : PieceWatch(
            piece, [&](std::int64_t rows) { progress.rowsPassed(task.number, rows); },
            std::move(stop)),
        task_(task) {}

  void rowsDiffer(const rows::DifferingRows& rows) override { task_.take(rows); }
  bool wantsPlace() override {
    constexpr std::chrono::milliseconds kBetween(500);
    return task_.resume != nullptr && Clock::now() - kept_ > kBetween;
  }
  void isAt(std::string_view firstCell, const rows::RowCounts& counts) override {
    std::string_view rest = firstCell;
    if (rows::takeCell(rest).kind == rows::CellKind::null) return;
    task_.keepPlace(firstCell, counts);
    kept_ = Clock::now();
  }

 private:
  TableTask& task_;
  Clock::time_point kept_ = Clock::now();
};

// Tells of rows that still differ.
class SecondWatch final : public rows::RowObserver {
 public:
  SecondWatch(TableTask& task, const std::stop_token& stop) : task_(task), stop_(stop) {}
  void rowsDiffer(const rows::DifferingRows& rows) override { task_.tell(rows); }
  bool goesOn(const rows::RowCounts&) override { return !stop_.stop_requested(); }

 private:
  TableTask& task_;
  const std::stop_token& stop_;
};

// What the rows of a table are compared by, for one who knows a part of the result.
std::string described(const rows::TablePlan& plan) {
  std::string text = plan.key + (plan.pairing.isUnique ? "\nunique" : "");
  for (const rows::Select& select : plan.selects) text += "\n" + toUtf8(select.text());
  for (const rows::ComparedColumn& column : plan.columns)
    text += "\n" + column.types[0] + " " + column.types[1] +
            (column.form == rows::Form::large ? " by digests" : "");
  return text;
}

// The value of a packed cell as each side writes it, in a condition of its cut; none where one of
// them cannot.
std::optional<std::array<std::string, 2>> boundOf(const rows::TablePlan& plan,
                                                  std::string_view cell) {
  std::u16string storage;
  const ado::Value value = rows::valueOf(rows::takeCell(cell), storage);
  std::array<std::string, 2> bound;
  for (const std::size_t side : {0U, 1U}) {
    if (!plan.selects[side].cut) return std::nullopt;
    rows::Literal literal = rows::literalOf(value, plan.selects[side].cut->literal);
    if (!literal.isWritten()) return std::nullopt;
    bound[side] = std::move(literal.text);
  }
  return bound;
}

class Comparison {
 public:
  Comparison(const KeyedRequest& request, std::vector<RowLane> lanes, std::stop_token stop)
      : request_(request),
        lanes_(std::move(lanes)),
        sides_(lanes_.front()),
        databases_{&sides_[0]->database(), &sides_[1]->database()},
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
      plan(at);
    }
    if (lanes_.size() == 1)
      compareInTurn(progress);
    else
      compareAtOnce(progress);
    if (second_) lookAgain(line);
    if (resume_ && std::ranges::all_of(results_, &KeyedTable::isCompared)) resume_->remove();
    addLonelyTables();
    for (RowSink* sink : request_.sinks) sink->comparisonEnds(results_);
    return std::move(results_);
  }

 private:
  bool isOver() const { return isOver(sides_); }
  bool isOver(const RowLane& lane) const {
    return stop_.stop_requested() || lane[0]->isOver() || lane[1]->isOver();
  }

  void addLonelyTables() {
    results_.insert(results_.end(), tables_.lonely().begin(), tables_.lonely().end());
    std::ranges::stable_sort(results_, {}, &KeyedTable::name);
  }

  void plan(std::size_t at) {
    const TablePair& pair = tables_.pairs()[at];
    KeyedTable& result = results_[at];
    for (const std::size_t side : {0U, 1U}) {
      const std::string fault = sides_[side]->faultOf(*pair.tables[side]);
      if (!fault.empty()) return failWith(result, fault, stop_);
    }
    try {
      result.plan =
          rows::planOf({*databases_[0], *pair.tables[0], sides_[0]->comesInOrder()},
                       {*databases_[1], *pair.tables[1], sides_[1]->comesInOrder()}, pair.options);
    } catch (const rows::UnusableTable& error) {
      return failWith(result, error.what(), stop_);
    }
    TableTask& task = tasks_.emplace_back(
        TableTask{at, result, request_.sinks, request_.shown, pair.tables[0]->rowCount});
    task.state.plan = described(result.plan);
    if (second_) task.later = &*second_;
    if (!resume_) return;
    if (const TableState* known = resume_->find(result.name, task.state.plan)) task.state = *known;
    const bool hasPlaces =
        result.plan.pairing.isOrdered && result.plan.selects[0].cut && result.plan.selects[1].cut;
    if (hasPlaces) task.resume = &*resume_;
  }

  // All that is not known of a table yet.
  RowPiece restOf(TableTask& task) const {
    RowPiece piece{.table = &task.table,
                   .expected = task.expected,
                   .wishes = {wish_, wish_},
                   .checksums = request_.checksums,
                   .isKnown = task.state.isWhole};
    if (piece.isKnown) {
      piece.ended = KeyedEnd::whole;
    } else if (!task.state.begin.empty()) {
      if (const auto bound = boundOf(task.table.plan, task.state.begin)) {
        for (const std::size_t side : {0U, 1U}) piece.wishes[side].bounds.begin = (*bound)[side];
      } else {
        task.state = {.plan = task.state.plan};
      }
    }
    return piece;
  }

  void begin(TableTask& task) const {
    KeyedTable& result = task.table;
    for (const std::size_t side : {0U, 1U}) {
      if (request_.ranges && !result.plan.selects[side].cut)
        result.remarks.push_back("read with one statement in the " +
                                 std::string(side == 0 ? "source" : "target") +
                                 ": no index begins with the first column of an exact key");
    }
    result.samples = task.state.samples;
    if (task.later == nullptr) task.begin();
  }

  // What came of a piece, in the order of the pieces.
  static void add(TableTask& task, RowPiece& piece) {
    KeyedTable& result = task.table;
    result.counts.add(piece.counts);
    if (piece.number > 0 && result.ended != KeyedEnd::whole) return;
    result.ended = piece.ended;
    result.error = std::move(piece.error);
  }

  void end(TableTask& task) {
    KeyedTable& result = task.table;
    result.counts.add(task.state.counts);
    if (resume_ && result.ended == KeyedEnd::whole)
      resume_->keep(result.name, {task.state.plan, true, {}, result.counts, result.samples});
    if (task.later == nullptr) task.end();
  }

  void compareInTurn(DataProgress& progress) {
    for (TableTask& task : tasks_) {
      if (isOver()) return;
      progress.tableBegins(task.number);
      RowPiece piece = restOf(task);
      begin(task);
      if (!piece.isKnown) {
        Watch watch(task, piece, progress, stop_);
        comparePiece(piece, sides_, watch);
      }
      add(task, piece);
      end(task);
      progress.tableEnds(task.number);
    }
  }

  void compareAtOnce(DataProgress& progress) {
    PieceCutter cutter{*this, progress};
    RowLanes lanes(
        lanes_, [&](const RowLane& lane) { return isOver(lane) ? nullptr : cutter.next(lane); },
        [&](std::size_t task, std::int64_t rows) {
          progress.rowsPassed(tasks_[task].number, rows);
        },
        stop_);
    TableTask* open = nullptr;
    while (const auto taken = lanes.take()) {
      TableTask& task = tasks_[taken->task];
      if (std::exchange(open, &task) != &task) begin(task);
      taken->differing.forEach([&](const rows::DifferingRows& rows) { task.take(rows); });
      add(task, taken->piece);
      if (taken->piece.end.empty()) {
        end(*std::exchange(open, nullptr));
        progress.tableEnds(task.number);
      } else if (task.resume != nullptr && task.table.ended == KeyedEnd::whole) {
        task.keepPlace(taken->piece.end, task.table.counts);
      }
    }
    if (open == nullptr) return;
    // Nobody was left to compare the rest.
    if (open->table.ended == KeyedEnd::whole) open->table.ended = KeyedEnd::notReached;
    end(*open);
  }

  // Cuts tables, one after the other, into pieces.
  struct PieceCutter {
    Comparison& comparison;
    DataProgress& progress;
    std::size_t task = 0;
    RowPiece rest = {};  // of that one, behind the pieces before

    std::unique_ptr<LanePiece> next(const RowLane& lane) {
      if (task == comparison.tasks_.size()) return nullptr;
      if (rest.table == nullptr) {
        rest = comparison.restOf(comparison.tasks_[task]);
        progress.tableBegins(comparison.tasks_[task].number);
      }
      auto piece = std::make_unique<LanePiece>(LanePiece{rest, task});
      if (mayCut() && cut(piece->piece, lane)) {
        ++rest.number;
      } else if (comparison.isOver(lane)) {
        return nullptr;
      } else {
        rest = {};
        ++task;
      }
      return piece;
    }

    // A table without many rows, or one that nobody counted, is not cut for nothing.
    bool mayCut() const {
      return !rest.isKnown && rest.table->plan.pairing.isOrdered &&
             rest.checksums == ChecksumUse::never &&
             rest.expected.value_or(0) >= 2 * comparison.request_.rowsOfPiece;
    }

    // False where it has all that is left.
    bool cut(RowPiece& piece, const RowLane& lane) {
      const rows::TablePlan& plan = rest.table->plan;
      if (!plan.selects[0].cut || !plan.selects[1].cut) return false;
      const std::string cell = endOf(plan, lane);
      if (cell.empty()) return false;
      const auto bound = boundOf(plan, cell);
      if (!bound) return false;
      for (const std::size_t side : {0U, 1U})
        piece.wishes[side].bounds.end = rest.wishes[side].bounds.begin = (*bound)[side];
      piece.end = cell;
      return true;
    }

    // Packed; empty: none.
    std::string endOf(const rows::TablePlan& plan, const RowLane& lane) const {
      std::string cell;
      try {
        lane[0]->prepare(plan.selects[0]);
        const auto end = lane[0]->endOfRange(plan.selects[0], rest.wishes[0].bounds.begin,
                                             comparison.request_.rowsOfPiece);
        if (end) rows::pack(end->view(), plan.layout().cells.front().form, cell);
      } catch (const RuntimeError&) {
        // What can still be read is read in one piece, which tells what is wrong.
        return {};
      }
      // Servers may order bytes of different lengths in their own ways.
      std::string_view cells = cell;
      return !cell.empty() && rows::takeCell(cells).kind == rows::CellKind::bytes ? std::string()
                                                                                  : cell;
    }
  };

  // Once for all tables: what was written at the time of the first has come by then.
  void lookAgain(StatusLine& line) {
    constexpr std::chrono::milliseconds kStep(50);
    const auto until = Clock::now() + *request_.secondLook;
    const bool isNeeded = std::ranges::any_of(
        tasks_, [](const TableTask& task) { return task.table.counts.differ(); });
    if (isNeeded) line.show("data", u"waiting before rows that differ are read again");
    while (isNeeded && Clock::now() < until && !stop_.stop_requested())
      std::this_thread::sleep_for(kStep);
    line.show("data", {});
    for (TableTask& task : tasks_) {
      task.begin();
      if (task.table.counts.differ() && !SecondLook::mayLook(task.table.plan))
        task.table.remarks.emplace_back("not read again: it has no unique key of exact values");
      const bool wasWhole = task.table.ended == KeyedEnd::whole;
      if (isOver()) {
        if (wasWhole) task.table.ended = KeyedEnd::notReached;
        second_->forEach(task.kept, [&](const rows::DifferingRows& rows) { task.tell(rows); });
      } else {
        tryOn(task.table, stop_, [&] {
          SecondWatch watch(task, stop_);
          second_->look(task.table, task.kept, watch);
        });
      }
      task.end();
    }
  }

  const KeyedRequest& request_;
  std::vector<RowLane> lanes_;
  RowLane sides_;  // of the first one
  std::array<const inventory::Database*, 2> databases_;
  std::stop_token stop_;
  RowWish wish_;
  PairedTables tables_;
  std::optional<ResumeFile> resume_;
  std::optional<SecondLook> second_;
  std::deque<TableTask> tasks_;
  std::vector<KeyedTable> results_;
};

}  // namespace

std::vector<KeyedTable> compareTables(const KeyedRequest& request, std::vector<RowLane> lanes,
                                      StatusLine& line, const std::stop_token& stop) {
  return Comparison(request, std::move(lanes), stop).run(line);
}

}  // namespace kelvane::cli
