// A parsed text and what running it once spares the next run.
//
// Plain values, but for its plans, which the run that has the batch takes and returns.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "drivers/embedded/engine/kept_plans.h"
#include "drivers/embedded/engine/variables.h"
#include "drivers/embedded/tsql/ast.h"

namespace kelvane::embedded {

struct ParsedBatch {
  std::string text;  ///< the statements count in it
  /// What the string literals with a slot contain: those of `text`.
  std::vector<std::string> texts = {};
  tsql::StatementList statements = {};
  KeptPlans plans = {};
  /// Under which circumstances all names and types were found right, with these variables. None
  /// while temporary tables had a part in it.
  std::optional<Circumstances> checked = {};
  Variables declared = {};
};

}  // namespace kelvane::embedded
