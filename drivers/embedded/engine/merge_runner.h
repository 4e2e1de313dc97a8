// merge: done as the update, the delete and the insert that its clauses stand for, which are put
// together from its text.
#pragma once

#include <string>

#include "drivers/embedded/engine/frame.h"
#include "drivers/embedded/engine/reporter.h"
#include "drivers/embedded/engine/row_statements.h"
#include "drivers/embedded/tsql/ast/data_statements.h"

namespace kelvane::embedded {

class MergeRunner {
 public:
  MergeRunner(Frame& frame, Reporter& reporter, RowStatements& rows)
      : frame_(frame), reporter_(reporter), rows_(rows) {}

  void run(const tsql::Merge& merge);

 private:
  /// With the variables of the batch.
  void runPart(const std::string& text, Outcome& outcome);

  Frame& frame_;
  Reporter& reporter_;
  RowStatements& rows_;
  Session& session_{frame_.session()};
};

}  // namespace kelvane::embedded
