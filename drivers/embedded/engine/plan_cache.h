// The plans of a batch while it runs.
//
// Takes those that the batch has from earlier runs and returns them at its end. Refers to the batch
// and to the kept statements, which must outlive it.
#pragma once

#include <functional>

#include "drivers/embedded/engine/kept_plans.h"
#include "drivers/embedded/engine/kept_statements.h"
#include "drivers/embedded/engine/parsed_batch.h"
#include "drivers/embedded/engine/temporary_tables.h"
#include "drivers/embedded/engine/variables.h"

namespace kelvane::embedded {

class PlanCache {
 public:
  PlanCache(ParsedBatch& batch, KeptStatements& statements);
  ~PlanCache();
  PlanCache(const PlanCache&) = delete;
  PlanCache& operator=(const PlanCache&) = delete;

  /// What plans depend on.
  struct Situation {
    Circumstances circumstances;
    const Variables& variables;
    const TemporaryTables& temporaries;
  };
  /// The plan for a node of the tree: one that serves now, or a new one.
  Prepared& plan(const void* node, const Situation& now, const std::function<Plan()>& make);

  /// The plan's statement, kept or prepared, ready to have its values bound.
  Statement& statement(Prepared& prepared);
  void giveBack(Prepared& prepared);
  void giveBackStatements();
  /// Forgets those of a batch of thousands of inserts, say, every so often.
  void limit();

 private:
  ParsedBatch& batch_;
  KeptStatements& statements_;
  KeptPlans plans_;  ///< the batch has none meanwhile
};

}  // namespace kelvane::embedded
