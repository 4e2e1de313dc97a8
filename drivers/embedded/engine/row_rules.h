// What the rows of a table must obey besides its types: checks, bound rules, foreign keys.
//
// Plain values.
#pragma once

#include <string>
#include <vector>

#include "drivers/embedded/catalog/catalog.h"
#include "drivers/embedded/tsql/ast/queries.h"

namespace kelvane::embedded {

struct CheckRule {
  std::string constraint;
  tsql::ExprPtr condition;
};

/// A rule bound to a column, which its one variable stands for.
struct BoundRule {
  std::string rule;
  int colid = 0;
  tsql::ExprPtr condition;
};

struct ForeignKeyRule {
  std::string constraint;
  int referencing = 0;     ///< table
  int referenced = 0;      ///< table
  std::string database;    ///< that the referenced table is in; empty for the one of the rows
  bool matchFull = false;  ///< null in all of the columns or in none
  std::vector<int> columns;
  std::vector<int> keys;        ///< of the referenced table, as many
  std::string referencedTable;  ///< in SQLite
  std::vector<ColumnInfo> referencedColumns;

  bool isWithinOneTable() const { return referencing == referenced; }
  /// The referenced rows are not at hand.
  bool isElsewhere() const { return !database.empty(); }
};

struct RowRules {
  std::vector<CheckRule> checks;
  std::vector<BoundRule> rules;
  std::vector<ForeignKeyRule> references;
  std::vector<ForeignKeyRule> referencedBy;  ///< those within the table are among `references`

  /// Conflict targets of SQLite: rows with these keys are left out when they are there already.
  std::vector<std::string> ignoredDuplicates;

  bool restrictsRows() const { return !checks.empty() || !rules.empty() || !references.empty(); }
};

/// Of a check's text: "check (a > 0)", with comments anywhere.
tsql::ExprPtr checkCondition(const SourceText& source);

RowRules readRowRules(Catalog& catalog, int tableId);

}  // namespace kelvane::embedded
