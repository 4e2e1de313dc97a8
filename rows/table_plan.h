// How the rows of two tables are compared: by which key, which columns, with which statements.
//
// Free functions without state.
#pragma once

#include <array>
#include <stdexcept>
#include <string>
#include <vector>

#include "inventory/records.h"
#include "rows/compare_rows.h"
#include "rows/packed_row.h"

namespace kelvane::rows {

struct ComparedColumn {
  std::string name;  ///< as the source has it
  Form form = Form::asItIs;
  std::array<std::string, 2> types = {};  ///< as declared, where the two sides differ
};

struct TablePlan {
  std::array<inventory::QualifiedName, 2> names;
  std::string key;                      ///< what it is: "primary key", "unique index ix", "none"
  std::vector<ComparedColumn> columns;  ///< those of the key first
  Pairing pairing;
  std::array<std::u16string, 2> statements;
  std::array<bool, 2> needsQuotedIdentifier{};
  std::array<std::vector<std::string>, 2> columnsOnlyIn;
  std::vector<std::string> serverColumns;  ///< of timestamps, which no two servers have alike

  std::vector<Form> forms() const;
};

/// A table on either side, and where it is.
struct PlannedTable {
  const inventory::Database& database;
  const inventory::Table& table;
};

/// Says what is wrong with a key that was asked for, or why there is nothing to compare.
class UnusableTable : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Of the source's primary key, unique constraints and unique indexes over columns that are not
/// null the first one that the target has too; else the first one of either side; `key` before
/// them, where it is not empty. Throws UnusableTable.
TablePlan planOf(const PlannedTable& source, const PlannedTable& target,
                 const std::vector<std::string>& key = {});

}  // namespace kelvane::rows
