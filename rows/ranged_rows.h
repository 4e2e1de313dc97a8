// The rows of a table range by range, so that no statement of the server takes long.
//
// Each server cuts its own table by the leading column of the key, in its own sort order: no bound
// means anything to the other side.
//
// Lifetime: connection, select and pace outlive the source. Threading: one thread uses a source.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>

#include "ado/client_recordset.h"
#include "rows/row_source.h"
#include "rows/table_plan.h"

namespace kelvane::rows {

struct RangePace {
  std::chrono::duration<double> perRange{1};       ///< a range is as large as takes about this long
  std::chrono::duration<double> pause{0};          ///< between two ranges
  std::stop_token stop = {};                       ///< ends a pause
  std::int64_t firstRows = 5000, leastRows = 100;  ///< of a range
};

/// The literals of the first value of the cut's column, and of the first one behind them. Empty:
/// all that there are.
struct RangeBounds {
  std::string begin = {}, end = {};

  bool isAll() const { return begin.empty() && end.empty(); }
  /// The condition of the rows. Nulls come before all values.
  std::string condition(const Cut& cut) const;
};

/// `select.cut` is set. Throws what the connection throws.
std::unique_ptr<RowSource> openRanges(ado::Connection& connection, const Select& select,
                                      const RangePace& pace, const RangeBounds& bounds = {});

/// Where a range from `begin` on may end that is to have about that many rows: at the value behind
/// the last one of them. None where no value is behind it. Throws what the connection throws.
std::optional<ado::StoredValue> endOfRange(ado::Connection& connection, const Select& select,
                                           const std::string& begin, std::int64_t rows);

}  // namespace kelvane::rows
