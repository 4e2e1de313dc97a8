// The look over a batch before any of it runs.
#pragma once

#include "drivers/embedded/engine/frame.h"
#include "drivers/embedded/engine/reporter.h"
#include "drivers/embedded/engine/row_statements.h"

namespace kelvane::embedded {

class BatchCompiler {
 public:
  BatchCompiler(Frame& frame, Reporter& reporter, RowStatements& rows)
      : frame_(frame), reporter_(reporter), rows_(rows) {}

  ~BatchCompiler() { frame_.setBeforeRun(nullptr); }
  BatchCompiler(const BatchCompiler&) = delete;
  BatchCompiler& operator=(const BatchCompiler&) = delete;

  /// Finds wrong names and types in everything whose tables are there; false when the batch is
  /// refused, which has then been reported.
  bool compile();

 private:
  void list(const tsql::StatementList& statements);
  void statement(const tsql::Statement& statement);
  void parts(const tsql::Statement& statement);

  Frame& frame_;
  Reporter& reporter_;
  RowStatements& rows_;
  BeforeRun found_;
};

}  // namespace kelvane::embedded
