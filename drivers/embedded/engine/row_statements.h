// Statements that read and write rows, cursors included.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "drivers/embedded/engine/frame.h"
#include "drivers/embedded/engine/reporter.h"
#include "drivers/embedded/engine/temporary_writer.h"
#include "drivers/embedded/engine/trigger_runner.h"
#include "drivers/embedded/tsql/ast/cursors.h"
#include "drivers/embedded/tsql/ast/data_statements.h"

namespace kelvane::embedded {

/// How rows of given values are written; see Translator::insertStored.
struct RowPlan {
  Plan plan;
  std::vector<ColumnType> types;  ///< of the values
  Circumstances made;
};

class RowStatements {
 public:
  RowStatements(Frame& frame, Reporter& reporter, TriggerRunner& triggers,
                TemporaryWriter& temporaries)
      : frame_(frame), reporter_(reporter), triggers_(triggers), temporaries_(temporaries) {}

  void select(const tsql::SelectStatement& statement);
  /// The columns of its result alone, if it has one.
  void describe(const tsql::SelectStatement& statement);
  void insert(const tsql::Insert& statement);
  void update(const tsql::Update& statement);
  void remove(const tsql::Delete& statement);
  void truncate(const tsql::Truncate& statement);
  void openCursor(const tsql::OpenCursor& open);
  void fetchCursor(const tsql::FetchCursor& fetch);

  /// The plan of the insert at hand. Its table gets its place for rows, which other statements of
  /// the batch then find.
  Prepared& insertPlan(const tsql::Insert& statement);
  /// Of an insert with any values. The table gets its place for rows.
  RowPlan rowPlan(const tsql::Statement& statement);
  /// The table with a place for rows.
  WriteTarget targetWithRows(const tsql::ObjectName& table);
  /// Inserts rows that were read before.
  std::int64_t insertResults(const tsql::Insert& statement, const WriteTarget& target,
                             const std::vector<ResultSet>& results);

 private:
  std::int64_t change(Prepared& prepared);
  std::int64_t updateKeys(Prepared& prepared, const StoreError& failure);
  void assignFrom(const tsql::Select& select, Prepared& prepared);
  void selectInto(const tsql::Query& query);
  void selectIntoExisting(const tsql::Query& query);
  std::string newTable(const tsql::Select& select, const std::vector<ResultColumn>& results,
                       std::uint32_t line);
  std::string rowTable(int tableId);

  Frame& frame_;
  Reporter& reporter_;
  TriggerRunner& triggers_;
  TemporaryWriter& temporaries_;
  Session& session_{frame_.session()};
  Server& server_{frame_.server()};
};

}  // namespace kelvane::embedded
