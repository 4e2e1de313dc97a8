#include "rows/compare_rows.h"

#include <algorithm>
#include <compare>
#include <stdexcept>
#include <string>

namespace kelvane::rows {
namespace {

class Comparison {
 public:
  Comparison(RowStream& source, RowStream& target, const Pairing& pairing, RowObserver& observer)
      : streams_{&source, &target},
        pairing_(pairing),
        observer_(observer),
        unmatched_(pairing.mostBytes, pairing.isUnique) {
    counts_.changedValues.resize(pairing.columns.size());
  }

  bool run() {
    advance(Side::source);
    advance(Side::target);
    while (has(Side::source) || has(Side::target)) {
      if (!step()) return false;
    }
    settle();
    return true;
  }

  RowCounts take() {
    for (std::size_t side = 0; side < 2; ++side) counts_.rows[side] = streams_[side]->rows();
    return std::move(counts_);
  }

 private:
  bool has(Side side) const { return has_[static_cast<std::size_t>(side)]; }
  RowStream& stream(Side side) { return *streams_[static_cast<std::size_t>(side)]; }
  const Row& row(Side side) { return stream(side).row(); }

  void advance(Side side) {
    const auto at = static_cast<std::size_t>(side);
    if (pairing_.isOrdered && has_[at]) last_[at] = row(side).key;
    const bool isFirst = streams_[at]->rows() == 0;
    has_[at] = streams_[at]->next();
    if (pairing_.isOrdered && has_[at] && !isFirst && std::is_gt(orderOf(last_[at], row(side).key)))
      throw std::runtime_error("the rows do not come in the order of their key");
  }

  /// At least one row. False: the observer ends it.
  bool step() {
    if (--left_ == 0) {
      left_ = pairing_.rowsBetweenCalls;
      for (std::size_t side = 0; side < 2; ++side) counts_.rows[side] = streams_[side]->rows();
      if (!observer_.goesOn(counts_)) return false;
      wantsPlace_ = pairing_.isOrdered && observer_.wantsPlace();
    }
    if (wantsPlace_) tellPlace();
    if (has(Side::source) && has(Side::target) &&
        row(Side::source).cells == row(Side::target).cells) {
      ++counts_.equal;
      advance(Side::source);
      advance(Side::target);
      return true;
    }
    const auto order = orderOfFronts();
    if (pairing_.isOrdered && !pairing_.isUnique) {
      passGroup(std::is_lteq(order) ? Side::source : Side::target);
    } else if (std::is_eq(order)) {
      show({row(Side::source).cells, row(Side::target).cells, row(Side::source).key.size()});
      advance(Side::source);
      advance(Side::target);
    } else {
      pass(std::is_lt(order) ? Side::source : Side::target);
    }
    return true;
  }

  /// Between two values of the first cell.
  void tellPlace() {
    std::string_view first;  // that is not compared
    for (const Side side : {Side::source, Side::target}) {
      if (!has(side)) continue;
      std::string_view rest = row(side).key;
      takeCell(rest);
      const std::string_view cell = row(side).key.substr(0, row(side).key.size() - rest.size());
      if (first.empty() || std::is_lt(orderOf(cell, first))) first = cell;
    }
    for (const std::string& last : last_) {
      if (std::string_view(last).starts_with(first)) return;
    }
    for (std::size_t side = 0; side < 2; ++side)
      counts_.rows[side] = streams_[side]->rows() - (has_[side] ? 1 : 0);
    wantsPlace_ = false;
    observer_.isAt(first, counts_);
  }

  /// A side that has no row left comes behind the other one. Rows that may have namesakes are never
  /// of one key before all are there.
  std::strong_ordering orderOfFronts() {
    if (!has(Side::target)) return std::strong_ordering::less;
    if (!has(Side::source)) return std::strong_ordering::greater;
    const auto order = orderOf(row(Side::source).key, row(Side::target).key);
    return std::is_eq(order) && !pairing_.isUnique ? std::strong_ordering::less : order;
  }

  void pass(Side side) {
    const Row& one = row(side);
    if (!pairing_.isOrdered) {
      meet(side);
    } else {
      show(side, one.cells, {}, one.key.size());
    }
    advance(side);
  }

  /// All rows of one key.
  void passGroup(Side first) {
    const std::string key(row(first).key);
    for (const Side side : {Side::source, Side::target}) {
      for (; has(side) && row(side).key == key; advance(side)) {
        meet(side);
      }
    }
    settle();
  }

  void settle() {
    counts_.equal += unmatched_.settle([this](const DifferingRows& rows) { show(rows); });
  }

  void meet(Side side) {
    const Row& one = row(side);
    switch (unmatched_.meet(side, one)) {
      case Meeting::none:
        break;
      case Meeting::equal:
        ++counts_.equal;
        break;
      case Meeting::namesake:
        show(side, one.cells, unmatched_.namesake(), one.key.size());
        break;
    }
  }

  void show(Side side, std::string_view own, std::string_view other, std::size_t keySize) {
    if (side == Side::source)
      show({own, other, keySize});
    else
      show({other, own, keySize});
  }

  void show(const DifferingRows& rows) {
    if (rows.target.empty()) {
      ++counts_.alone[0];
    } else if (rows.source.empty()) {
      ++counts_.alone[1];
    } else if (hasChanged(rows)) {
      ++counts_.changed;
    } else {
      ++counts_.equal;
      return;
    }
    observer_.rowsDiffer(rows);
  }

  bool hasChanged(const DifferingRows& rows) {
    bool hasChanged = false;
    std::string_view one = rows.source, other = rows.target;
    for (std::size_t at = 0; at < pairing_.columns.size(); ++at) {
      if (isSame(takeCell(one), takeCell(other), pairing_.columns[at])) continue;
      ++counts_.changedValues[at];
      hasChanged = true;
    }
    return hasChanged;
  }

  std::array<RowStream*, 2> streams_;
  Pairing pairing_;
  RowObserver& observer_;
  UnmatchedRows unmatched_;
  RowCounts counts_;
  std::array<bool, 2> has_{};
  std::array<std::string, 2> last_;  // keys that have passed
  std::int64_t left_ = pairing_.rowsBetweenCalls;
  bool wantsPlace_ = false;
};

}  // namespace

void RowCounts::add(const RowCounts& more) { replace({}, more); }

void RowCounts::replace(const RowCounts& were, const RowCounts& are) {
  for (const std::size_t side : {0U, 1U}) {
    rows[side] += are.rows[side] - were.rows[side];
    alone[side] += are.alone[side] - were.alone[side];
  }
  equal += are.equal - were.equal;
  changed += are.changed - were.changed;
  changedValues.resize(
      std::max({changedValues.size(), were.changedValues.size(), are.changedValues.size()}));
  for (std::size_t at = 0; at < were.changedValues.size(); ++at)
    changedValues[at] -= were.changedValues[at];
  for (std::size_t at = 0; at < are.changedValues.size(); ++at)
    changedValues[at] += are.changedValues[at];
}

RowCounts compareRows(RowStream& source, RowStream& target, const Pairing& pairing,
                      RowObserver& observer, bool& isWhole) {
  Comparison comparison(source, target, pairing, observer);
  isWhole = comparison.run();
  return comparison.take();
}

}  // namespace kelvane::rows
