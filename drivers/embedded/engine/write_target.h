// The table whose rows a statement changes.
//
// Plain values.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "drivers/embedded/catalog/catalog.h"
#include "drivers/embedded/engine/row_rules.h"

namespace kelvane::embedded {

/// The table that an insert, update or delete changes.
struct WriteTarget {
  std::string name;
  int id = 0;  ///< 0 for a temporary table
  std::string sqliteTable;
  std::vector<ColumnInfo> columns;
  std::vector<std::string> defaults = {};           ///< of a temporary table's columns
  std::shared_ptr<const RowRules> rules = nullptr;  ///< of a temporary table

  bool isTemporary() const { return id == 0; }
};

}  // namespace kelvane::embedded
