#include "data/table_comparison.h"

#include <exception>
#include <utility>

#include "model/runtime_error.h"

namespace kelvane {
namespace {

// The same field of both sides.
struct FieldPair {
  const ado::Field& source;
  const ado::Field& target;
};

// Pairs the current row's fields and counts those that differ. Names are looked up while the first
// row is compared and kept for the others, so that a field which the target lacks fails exactly
// when a row first needs it, after the fields before it were compared.
class RowComparison {
 public:
  RowComparison(const ado::Recordset& source, const ado::Recordset& target, ValueObserver* observer)
      : source_(source), target_(target), observer_(observer) {}

  void compareRow(TableResult& result) {
    for (std::int32_t ordinal = 0; ordinal < source_.FieldCount(); ++ordinal) {
      const auto [source, target] = pair(ordinal);
      const ado::Value sourceValue = source.Value();
      const ado::Value targetValue = target.Value();
      if (!ado::different(sourceValue, targetValue)) continue;
      ++result.Differences;
      if (observer_)
        observer_->ValueDiffers(
            {result.Table, result.RowsCompared + 1, source.Name(), sourceValue, targetValue});
    }
    ++result.RowsCompared;
  }

 private:
  FieldPair pair(std::int32_t ordinal) {
    const auto position = static_cast<std::size_t>(ordinal);
    if (position == pairs_.size()) {
      const ado::Field& source = source_.Fields(ordinal);
      pairs_.push_back({source, target_.Fields(std::u16string_view(source.Name()))});
    }
    return pairs_[position];
  }

  const ado::Recordset& source_;
  const ado::Recordset& target_;
  ValueObserver* observer_;
  std::vector<FieldPair> pairs_;
};

TableEnd endOf(const ado::Recordset& source, const ado::Recordset& target) {
  if (!source.EndOfRows()) return TableEnd::targetEnded;
  return target.EndOfRows() ? TableEnd::bothEnded : TableEnd::sourceEnded;
}

}  // namespace

Boolean cTableComparison::Compare() {
  results_.clear();
  const auto tables =
      required(ConnSource, u"ConnSource")
          .Open(u"SELECT name FROM sysobjects WHERE type='U' order by name", ado::kForwardOnly);
  for (; !tables->EndOfRows(); tables->MoveNext()) {
    TableResult& result = results_.emplace_back(
        TableResult{.Table = tables->Fields(0).Value().toText(), .Error = {}});
    try {
      compareTable(result);
    } catch (...) {
      result.Ended = TableEnd::error;
      result.Error = RuntimeError::describe(std::current_exception()).Description();
    }
  }
  return False;
}

void cTableComparison::compareTable(TableResult& result) {
  const std::u16string statement = u"select * from " + result.Table;
  const auto source = required(ConnSource, u"ConnSource").Open(statement, ado::kForwardOnly);
  const auto target = required(ConnTarget, u"ConnTarget").Open(statement, ado::kForwardOnly);
  RowComparison rows(*source, *target, Observer);
  // Counts only while the row limit is on; the host may change its preferences at any row.
  std::int64_t limitedRows = 0;
  while (!source->EndOfRows() && !target->EndOfRows()) {
    const auto& preferences = required(AppPreferences, u"AppPreferences");
    if (preferences.LimitDataCompareRows() && ++limitedRows > preferences.MaxDataCompareRows()) {
      result.Ended = TableEnd::rowLimit;
      return;
    }
    if (preferences.LimitDataCompareDifferences() &&
        result.Differences > preferences.MaxDataCompareDifferences()) {
      result.Ended = TableEnd::differenceLimit;
      return;
    }
    rows.compareRow(result);
    source->MoveNext();
    target->MoveNext();
  }
  result.Ended = endOf(*source, *target);
}

}  // namespace kelvane
