// Two tables of scripts, compared by their rows: what came out as lines, and what a comparison
// without any skill makes of the same rows.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "drivers/embedded/options.h"
#include "rows/table_plan.h"

namespace kelvane::rows {

struct TwoTables {
  std::string source, target;  ///< scripts that make dbo.t, a batch a line
  PlanOptions options = {};
  std::size_t mostBytes = 64U << 20U;  ///< for rows that wait
  std::int64_t rangeRows = 0;          ///< 0: all with one statement
  embedded::Release release = embedded::Release::ase16;
};

struct Compared {
  std::string key;     ///< which, and whether rows came in its order
  std::string counts;  ///< "3 equal, 1 changed, 0 only in source, 2 only in target; b 1"
  std::vector<std::string> differences;  ///< "~ 1 | a -> b", "- 1 | a", "+ 2 | b", sorted
};

Compared compared(const TwoTables& tables);

/// Stops at each place that a comparison tells, goes on from there, and puts both parts together.
/// Nothing for tables that cannot be cut.
std::vector<Compared> comparedInTwoParts(const TwoTables& tables);

/// Range by range, each of about that many rows, and how many ranges they were. Both tables can be
/// cut.
std::pair<Compared, std::size_t> comparedByRanges(const TwoTables& tables, std::int64_t rows);

/// Pairs each row with each other one. `keyColumns`: as many first columns of the select list that
/// compared() used.
Compared naivelyCompared(const TwoTables& tables);

}  // namespace kelvane::rows
