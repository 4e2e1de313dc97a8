// The table whose rows a statement changes.
//
// Plain values.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "drivers/embedded/catalog/catalog.h"
#include "drivers/embedded/engine/row_rules.h"
#include "drivers/embedded/engine/view_target.h"

namespace kelvane::embedded {

/// A column of a view, by the place of the table's own among its columns; none if it is derived.
struct ViewColumn {
  std::string name;
  std::optional<std::size_t> column;
};

/// The table that an insert, update or delete changes.
struct WriteTarget {
  std::string name;
  int id = 0;  ///< 0 for a temporary table
  std::string sqliteTable;
  std::vector<ColumnInfo> columns;
  std::vector<std::string> defaults = {};           ///< of a temporary table's columns
  std::shared_ptr<const RowRules> rules = nullptr;  ///< of a temporary table
  /// The view that the statement names, if it does, and what it calls the columns.
  std::shared_ptr<const ViewTarget> view = nullptr;
  std::vector<ViewColumn> viewColumns = {};

  bool isTemporary() const { return id == 0; }
};

}  // namespace kelvane::embedded
