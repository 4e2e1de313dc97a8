// What a comparison could have found, by what it was told to leave out.
//
// Lifetime: what it refers to outlives it. Threading: none of its own.
#pragma once

#include "cli/words/compare_request.h"
#include "cli/words/selection.h"
#include "model/text.h"
#include "report/known_differences.h"
#include "settings/comparison_options.h"

namespace kelvane::cli {

struct ComparedScope {
  const Selection& selection;
  const cComparisonOptions& switches;
  const Rules& rules;
  CaseMode names;
  bool isReadInFull;

  // Where that cannot be known the answer is no.
  bool couldFind(const KnownDifference& difference) const;
};

}  // namespace kelvane::cli
