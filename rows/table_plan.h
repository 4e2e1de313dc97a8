// How the rows of two tables are compared: by which key, which columns, with which statements.
//
// Free functions without state.
#pragma once

#include <array>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "inventory/records.h"
#include "rows/compare_rows.h"
#include "rows/literal.h"
#include "rows/packed_row.h"

namespace kelvane::rows {

struct ComparedColumn {
  std::string name;  ///< as the source has it
  Form form = Form::asItIs;
  Leniency leniency = {};
  std::array<std::string, 2> types = {};           ///< as declared, where the two sides differ
  std::array<inventory::DataType, 2> stored = {};  ///< of the server, not user-defined ones
};

/// By what the rows of a table can be cut into ranges: the leading column of the key, where an
/// index begins with it and its values can be written exactly.
struct Cut {
  std::string column, type;  ///< as they are written
  LiteralColumn literal;
  bool isNullable = false;
};

/// select COLUMNS from TABLE, with names in the quotes that the side takes.
struct Select {
  std::string table;
  std::string condition;             ///< that was asked for; may be empty
  std::vector<std::string> columns;  ///< those of the plan
  std::size_t ordered = 0;           ///< how many of them it is ordered by
  bool needsQuotedIdentifier = false;
  std::optional<Cut> cut = {};
  /// Of the columns of the key, where rows can be asked for by the values of all of them.
  std::vector<LiteralColumn> keyLiterals = {};

  /// " from TABLE"
  std::string from() const { return " from " + table; }
  /// " where CONDITION and RANGE"; either may be empty.
  std::string where(std::string_view range) const;
  /// All of it. `range` is a condition besides; may be empty.
  std::u16string text(std::string_view range = {}) const;
};

struct TablePlan {
  std::array<inventory::QualifiedName, 2> names;
  std::string key;                      ///< what it is: "primary key", "unique index ix", "none"
  std::vector<ComparedColumn> columns;  ///< those of the key first
  Pairing pairing;
  std::array<Select, 2> selects;
  std::array<std::vector<std::string>, 2> columnsOnlyIn;
  /// To which a tolerance was given by name that they cannot have: of the key, or of other types.
  std::vector<std::string> withoutTolerance;
  std::vector<std::string> serverColumns;  ///< of timestamps, which no two servers have alike
  /// Those of `columns` in the two tables, which may be gone when the plan is still shown.
  std::vector<const inventory::Column*> sourceColumns, targetColumns;

  bool hasKey() const { return !key.empty() && key != "none"; }
  RowLayout layout() const;
  /// The values of a packed row as they were read, one for each of the columns.
  std::vector<Cell> cellsOf(std::string_view row) const;
  /// The condition that a side's rows have the key of a packed one; none where it cannot be asked.
  std::optional<std::string> keyCondition(std::size_t side, std::string_view row) const;
  /// Of two packed rows, but for what does not count; 0-based.
  std::vector<std::size_t> changedColumns(std::string_view source, std::string_view target) const;
};

/// A table on either side, and where it is.
struct PlannedTable {
  const inventory::Database& database;
  const inventory::Table& table;
  bool comesInOrder = true;  ///< that of its key, where the statement asks for it
};

/// What a user-defined type is stored as.
inventory::DataType storedType(const inventory::Database& database,
                               const inventory::DataType& type);

/// Says what is wrong with a key that was asked for, or why there is nothing to compare.
class UnusableTable : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A tolerance for columns that matchesColumn() finds, or for all of a type.
struct Tolerance {
  std::string columns;
  Leniency within;
};

struct PlanOptions {
  std::vector<std::string> key = {};  ///< columns; none: one that the tables have
  /// Patterns for matchesColumn(). Not empty: only such columns, and those of the key.
  std::vector<std::string> columns = {};
  std::vector<std::string> ignoredColumns = {};
  std::string condition = {};              ///< of the rows, in T-SQL
  Leniency texts = {};                     ///< what folds, for all columns
  std::vector<Tolerance> tolerances = {};  ///< the last one that matches holds
  bool digestsLongValues = false;          ///< nobody needs them; see LargeValue
};

/// `pattern` is of names, `*` for any characters, `?` for one: COLUMN, TABLE.COLUMN or
/// OWNER.TABLE.COLUMN.
bool matchesColumn(const inventory::QualifiedName& table, std::string_view column,
                   std::string_view pattern);

/// Whether the server has a type that is called so.
bool isTypeName(std::string_view name);

/// Of the source's primary key, unique constraints and unique indexes over columns that are not
/// null the first one that the target has too; else the first one of either side; options.key
/// before them. The plan refers to both tables' columns. Throws UnusableTable.
TablePlan planOf(const PlannedTable& source, const PlannedTable& target,
                 const PlanOptions& options = {});

}  // namespace kelvane::rows
