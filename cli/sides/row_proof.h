// Tries a script of row changes on a copy of the tables that it concerns, in the embedded catalog.
//
// Lifetime: what a trial refers to outlives the call. Threading: free functions.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "inventory/ddl/ddl.h"
#include "inventory/records.h"
#include "rows/compare_rows.h"
#include "rows/table_plan.h"

namespace kelvane::cli {

struct TriedTable {
  const inventory::Table* table = nullptr;  ///< of the target
  const rows::TablePlan* plan = nullptr;
  bool losesRows = false;  ///< or values to which other tables may refer
};

struct RowTrial {
  const inventory::Database& target;
  std::vector<TriedTable> tables;
  std::string_view script;                          ///< the text that would be handed out
  std::optional<inventory::TargetRelease> release;  ///< none: one that has everything
  std::int64_t mostRows;                            ///< to be copied
  /// All rows of a table, with the columns of a plan of which both sides are the target's table.
  std::function<rows::OpenRows(const rows::TablePlan& plan)> targetRows;
  /// Those of the source, with the columns of a tried table.
  std::function<rows::OpenRows(const rows::TablePlan& plan)> sourceRows;
};

struct RowProof {
  std::vector<std::string> obstacles;   ///< why nothing is proved, a line each
  std::vector<rows::RowCounts> counts;  ///< after the script, for each tried table
};

RowProof prove(const RowTrial& trial);

}  // namespace kelvane::cli
