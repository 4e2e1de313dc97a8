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
#include <stop_token>
#include <string>

#include "rows/row_source.h"
#include "rows/table_plan.h"

namespace kelvane::rows {

struct RangePace {
  std::chrono::duration<double> perRange{1};       ///< a range is as large as takes about this long
  std::chrono::duration<double> pause{0};          ///< between two ranges
  std::stop_token stop = {};                       ///< ends a pause
  std::int64_t firstRows = 5000, leastRows = 100;  ///< of a range
};

/// `select.cut` is set. `begin`: the literal of the first value of its column; empty: the first one
/// that there is. Throws what the connection throws.
std::unique_ptr<RowSource> openRanges(ado::Connection& connection, const Select& select,
                                      const RangePace& pace, const std::string& begin = {});

}  // namespace kelvane::rows
