#include "rows/ranged_rows.h"

#include <algorithm>
#include <cstdint>
#include <thread>
#include <utility>

#include "model/text.h"

namespace kelvane::rows {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::int64_t kMostRows = 100'000'000;

std::string both(const std::string& one, const std::string& other) {
  return one.empty() || other.empty() ? one + other : one + " and " + other;
}

/// The only value of what a batch returns.
ado::StoredValue answerOf(ado::Connection& connection, const std::string& batch) {
  const auto answer = connection.Open(toUtf16(batch), ado::kClientCursor);
  while (answer->State() == ado::ObjectState::closed) {
    if (!answer->NextRecordset()) throw std::runtime_error("the server gives no bound of a range");
  }
  return ado::StoredValue(answer->Fields(0).Value());
}

/// Sets a variable to the value of the row that is `rows` rows on.
std::string seek(const Select& select, const std::string& variable, const std::string& range,
                 std::int64_t rows) {
  const std::string& column = select.cut->column;
  return " set rowcount " + std::to_string(rows) + " select " + variable + " = " + column +
         select.from() + select.where(range) + " order by " + column;
}

class RangedRows final : public RowSource {
 public:
  RangedRows(ado::Connection& connection, const Select& select, const RangePace& pace,
             const RangeBounds& bounds)
      : connection_(connection), select_(select), cut_(*select.cut), pace_(pace) {
    if (!bounds.end.empty()) within_ = cut_.column + " < " + bounds.end;
    if (!bounds.begin.empty()) {
      after_ = cut_.column + " >= " + bounds.begin;
    } else if (cut_.isNullable) {
      openRange(cut_.column + " is null");
      after_ = cut_.column + " is not null";
    }
    if (rows_ == nullptr) openNext();
  }

  bool next() override {
    while (rows_ != nullptr && !rows_->next()) {
      rows_.reset();
      if (isLast_) break;
      adapt();
      wait();
      openNext();
    }
    return rows_ != nullptr;
  }
  ado::Value value(std::size_t column) const override { return rows_->value(column); }
  void packLarge(std::size_t column, std::string& row) const override {
    rows_->packLarge(column, row);
  }

 private:
  /// A server that ends ranges itself knows how many rows it has.
  void openNext() {
    begun_ = Clock::now();
    const auto end = boundOf(size_);
    if (!end) {
      isLast_ = true;
      return;
    }
    if (end->isWritten()) {
      const std::string upTo = cut_.column + " <= " + end->text;
      openRange(both(after_, upTo));
      after_ = cut_.column + " > " + end->text;
    } else {
      // A bound that cannot be written: the rest in one piece.
      isLast_ = true;
      openRange(both(after_, within_));
    }
  }

  void openRange(const std::string& condition) {
    rows_ = openStatement(connection_, select_.text(condition), select_.columns.size());
  }

  /// The value of the row that is `rows` rows on; none behind the last row.
  std::optional<Literal> boundOf(std::int64_t rows) {
    const ado::StoredValue value =
        answerOf(connection_, "declare @kelvane_bound " + cut_.type +
                                  seek(select_, "@kelvane_bound", both(after_, within_), rows) +
                                  " set rowcount 0 select @kelvane_bound");
    return value.view().isNull() ? std::nullopt
                                 : std::optional(literalOf(value.view(), cut_.literal));
  }

  void adapt() {
    const std::chrono::duration<double> took = Clock::now() - begun_;
    const double factor =
        std::clamp(pace_.perRange / std::max(took, took.zero() + kShortest), .5, 2.);
    size_ = std::clamp(static_cast<std::int64_t>(static_cast<double>(size_) * factor),
                       pace_.leastRows, kMostRows);
  }

  void wait() const {
    constexpr std::chrono::milliseconds kStep(50);
    const auto until = Clock::now() + pace_.pause;
    while (Clock::now() < until && !pace_.stop.stop_requested())
      std::this_thread::sleep_for(
          std::min<std::chrono::duration<double>>(kStep, until - Clock::now()));
  }

  static constexpr std::chrono::duration<double> kShortest{1e-4};

  ado::Connection& connection_;
  const Select& select_;
  const Cut& cut_;
  const RangePace& pace_;
  std::string after_;   // what the rows are that have not come yet
  std::string within_;  // what all of them are
  std::int64_t size_ = pace_.firstRows;
  bool isLast_ = false;
  Clock::time_point begun_ = Clock::now();
  std::unique_ptr<RowSource> rows_;
};

}  // namespace

std::unique_ptr<RowSource> openRanges(ado::Connection& connection, const Select& select,
                                      const RangePace& pace, const RangeBounds& bounds) {
  return std::make_unique<RangedRows>(connection, select, pace, bounds);
}

std::string RangeBounds::condition(const Cut& cut) const {
  std::string from = begin.empty() ? "" : cut.column + " >= " + begin;
  if (end.empty()) return from;
  const std::string before = cut.column + " < " + end;
  return begin.empty() && cut.isNullable ? "(" + cut.column + " is null or " + before + ")"
                                         : both(from, before);
}

std::optional<ado::StoredValue> endOfRange(ado::Connection& connection, const Select& select,
                                           const std::string& begin, std::int64_t rows) {
  const Cut& cut = *select.cut;
  std::string range;
  if (!begin.empty())
    range = cut.column + " >= " + begin;
  else if (cut.isNullable)
    range = cut.column + " is not null";
  ado::StoredValue value =
      answerOf(connection, "declare @kelvane_bound " + cut.type + " declare @kelvane_end " +
                               cut.type + seek(select, "@kelvane_bound", range, rows) +
                               seek(select, "@kelvane_end", cut.column + " > @kelvane_bound", 1) +
                               " set rowcount 0 select @kelvane_end");
  return value.view().isNull() ? std::nullopt : std::optional(std::move(value));
}

}  // namespace kelvane::rows
