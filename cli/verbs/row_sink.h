// Who gets the rows that differ, one after the other.
//
// Lifetime and threading: as the implementation says. Rows live until the call returns.
#pragma once

#include <array>
#include <vector>

#include "cli/verbs/keyed_report.h"
#include "cli/verbs/row_side.h"
#include "rows/unmatched_rows.h"

namespace kelvane::cli {

class RowSink {
 public:
  virtual ~RowSink() = default;
  // Before the first table, and behind the last one, in the order of the report. The sides are open
  // between the two, and until the second one returns.
  virtual void comparisonBegins(const std::array<RowSide*, 2>&) {}
  virtual void comparisonEnds(const std::vector<KeyedTable>&) {}
  // Before the first row of a table that is compared. The table stays where it is until the
  // comparison has ended; its counts are not known yet.
  virtual void tableBegins(const KeyedTable& table) = 0;
  virtual void rowsDiffer(const KeyedTable& table, const rows::DifferingRows& rows) = 0;
  // Behind the last row; table.ended says whether all were compared.
  virtual void tableEnds(const KeyedTable& table) = 0;
};

}  // namespace kelvane::cli
