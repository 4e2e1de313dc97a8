#include "drivers/embedded/engine/plan_cache.h"

#include <algorithm>
#include <utility>

namespace kelvane::embedded {

namespace {

bool serves(const Prepared& prepared, const PlanCache::Situation& now) {
  const Plan& plan = prepared.plan;
  return prepared.made == now.circumstances &&
         std::ranges::all_of(plan.assumptions,
                             [&](const NullAssumption& assumption) {
                               const auto found = now.variables.find(assumption.variable);
                               return found != now.variables.end() &&
                                      isNull(found->second.value) == assumption.isNull;
                             }) &&
         std::ranges::all_of(plan.temporaries, [&](const TemporaryUse& use) {
           const TemporaryTable* table = now.temporaries.find(use.name);
           return table != nullptr && table->definition == use.definition;
         });
}

}  // namespace

PlanCache::PlanCache(ParsedBatch& batch, KeptStatements& statements)
    : batch_(batch), statements_(statements), plans_(std::exchange(batch.plans, {})) {}

PlanCache::~PlanCache() {
  giveBackStatements();
  for (auto& [node, kept] : plans_) {
    std::erase_if(kept, [](const Prepared& prepared) { return prepared.plan.holdsTexts; });
  }
  batch_.plans = std::move(plans_);
}

// A plan is kept with its place in the tree and used again while nothing it was made from changed.
Prepared& PlanCache::plan(const void* node, const Situation& now,
                          const std::function<Plan()>& make) {
  // A node with more is one whose plans no longer serve.
  constexpr std::size_t kMostPlans = 4;
  NodePlans& kept = plans_[node];
  const auto found =
      std::ranges::find_if(kept, [&](const Prepared& one) { return serves(one, now); });
  if (found != kept.end()) return *found;
  Plan plan = make();
  if (kept.size() >= kMostPlans || (!kept.empty() && kept.front().made != now.circumstances)) {
    for (Prepared& one : kept) giveBack(one);
    kept.clear();
  }
  kept.push_back({std::move(plan), now.circumstances, {}});
  return kept.back();
}

Statement& PlanCache::statement(Prepared& prepared) {
  if (!prepared.statement) prepared.statement = statements_.take(prepared.plan.sql);
  prepared.statement->reset();
  return *prepared.statement;
}

void PlanCache::giveBack(Prepared& prepared) {
  if (!prepared.statement) return;
  statements_.giveBack(prepared.plan.sql, std::move(*prepared.statement));
  prepared.statement.reset();
}

void PlanCache::giveBackStatements() {
  for (auto& [node, kept] : plans_) {
    for (Prepared& prepared : kept) giveBack(prepared);
  }
}

void PlanCache::limit() {
  constexpr std::size_t kMostPlans = 1000;
  if (plans_.size() <= kMostPlans) return;
  giveBackStatements();
  plans_.clear();
}

}  // namespace kelvane::embedded
