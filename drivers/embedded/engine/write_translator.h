// Translates insert, update, delete and truncate table into SQLite's SQL.
//
// Serves for one statement and refers to its translator, which must outlive it.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "drivers/embedded/engine/plan.h"
#include "drivers/embedded/engine/row_conditions.h"
#include "drivers/embedded/engine/translator.h"

namespace kelvane::embedded {

class WriteTranslator {
 public:
  explicit WriteTranslator(Translator& translator) : translator_(translator) {}

  Plan insert(const tsql::Insert& statement, const WriteTarget& target);
  /// Inserts one row whose values are bound, of the given types.
  Plan insertBound(const tsql::Insert& statement, const WriteTarget& target,
                   const std::vector<ColumnType>& types);
  /// The same for values as the columns store them, whose `types` it gives.
  Plan insertStored(const tsql::Insert& statement, const WriteTarget& target,
                    std::vector<ColumnType>& types);
  Plan update(const tsql::Update& statement);
  Plan remove(const tsql::Delete& statement);
  Plan truncate(const tsql::Truncate& statement);
  /// What Plan::tests holds, for all rows of a table and all that it references.
  std::vector<std::string> orphanTests(const WriteTarget& target);

  /// A table of the user or a temporary one. Throws 208, and 259 for system tables.
  WriteTarget writeTarget(const tsql::ObjectName& name);

 private:
  struct WrittenColumn {
    const ColumnInfo* column;
    std::string sql;
    bool isGiven = false;  ///< by the statement, a null too
  };
  struct JoinedTarget {
    Scope scope;
    std::size_t source = 0;
    std::string from;  ///< the from list with the where clause
  };

  struct ChangedRows {
    Source source;
    std::vector<std::string> conditions;
  };

  Source tableSource(const WriteTarget& target, const std::string& alias) const;
  std::vector<ViewColumn> viewColumns(const WriteTarget& target);
  ChangedRows changedRows(const tsql::ObjectName& name, const WriteTarget& target);
  static bool checksRows(const WriteTarget& target);
  std::vector<std::string> checkOptions(const WriteTarget& target, const Scope& newRow);
  std::string whereText(const tsql::ObjectName& name, const WriteTarget& target,
                        const tsql::Expr* where, Scope& scope);
  std::vector<const ColumnInfo*> listedColumns(const tsql::Insert& statement,
                                               const WriteTarget& target) const;
  std::optional<FiredTrigger> triggerOf(const WriteTarget& target, const TriggerSlot& slot,
                                        std::vector<std::string> written);
  Plan finishInsert(const WriteTarget& target, const std::vector<WrittenColumn>& columns,
                    const std::string& from);
  Plan insertRows(const tsql::Insert& statement, const WriteTarget& target,
                  const std::vector<SqlValue>& values, const std::string& from);
  /// What an update assigns.
  struct ChangedColumns {
    std::string plain, picked, fromPicked;
    std::string noted;  ///< the columns of the picked rows that assign variables
    std::set<int> colids;
    std::map<int, std::string> newValues;  ///< by the number of the column
    std::vector<std::string> names;
  };
  ChangedColumns changedColumns(const tsql::Update& statement, const WriteTarget& target,
                                const JoinedTarget& rows, const std::string& rowAlias);
  std::string variableSet(const tsql::Assignment& assignment, const Scope& scope);
  JoinedTarget joinedTarget(const tsql::ObjectName& name, const WriteTarget& target,
                            const std::vector<tsql::TableRefPtr>& from, const tsql::Expr* where);

  Translator& translator_;
};

}  // namespace kelvane::embedded
