// Runs the statements of one batch or of one procedure call: control of flow. What the statements
// do is in classes of their own, which work with its frame.
//
// Refers to the session and the outcome, which must outlive it.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "drivers/embedded/engine/frame.h"
#include "drivers/embedded/engine/procedure_calls.h"
#include "drivers/embedded/engine/reporter.h"
#include "drivers/embedded/engine/row_statements.h"
#include "drivers/embedded/engine/session_statements.h"
#include "drivers/embedded/engine/temporary_writer.h"
#include "drivers/embedded/engine/trigger_runner.h"
#include "drivers/embedded/tsql/ast.h"

namespace kelvane::embedded {

class BatchRun {
 public:
  BatchRun(Session& session, std::shared_ptr<ParsedBatch> batch, Outcome& outcome);

  /// Finds wrong names and types in everything whose tables are there; false when the batch is
  /// refused, which has then been reported.
  bool compile();
  /// Runs it. With `stream`, a last query at the top is prepared for it instead.
  void run(std::optional<RowStream>* stream = nullptr);
  /// Runs the body of a procedure whose parameters have been put into the frame's variables.
  void runBody(const tsql::StatementList& body);
  /// The result of a function whose parameters have been put there.
  Cell runFunction(const tsql::StatementList& body, const ColumnType& returns);
  /// Of an insert with any values. The table gets its place for rows.
  RowPlan rowPlan(const tsql::Statement& statement);

  Frame& frame() { return frame_; }
  int returnStatus() const { return returnStatus_; }

 private:
  enum class Flow { Next, Break, Continue, Return, Goto };

  Flow runList(const tsql::StatementList& statements, std::optional<RowStream>* stream = nullptr);
  Flow runStatement(const tsql::Statement& statement);
  bool isIdle() const;
  void describe(const tsql::Statement& statement);
  Flow runNode(const tsql::Statement& statement);
  Flow runWhile(const tsql::While& loop);
  void setVariable(const std::string& name, const tsql::Expr& value, std::uint32_t line);
  void rollBackTrigger(const tsql::RollbackTrigger& rollback);

  Session& session_;
  Outcome& outcome_;
  Frame frame_;
  Reporter reporter_{frame_, outcome_};
  ProcedureCalls calls_{frame_, reporter_};
  TriggerRunner triggers_{frame_, outcome_};
  TemporaryWriter temporaries_{frame_};
  SessionStatements settings_{frame_};
  RowStatements rows_{frame_, reporter_, triggers_, temporaries_};
  std::string gotoLabel_;
  int returnStatus_ = 0;
  std::optional<ColumnType> returns_;  ///< of a function
  Cell returned_;
};

}  // namespace kelvane::embedded
