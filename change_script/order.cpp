// The order in which the steps run, and which of them are one statement.

#include <algorithm>
#include <map>
#include <set>
#include <span>
#include <utility>

#include "change_script/planner.h"

namespace kelvane::change_script {
namespace {

/// How many steps of its stage must run before each: those that it needs, and what they need.
class Depths {
 public:
  explicit Depths(const std::vector<Step>& steps)
      : steps_(steps), depths_(steps.size(), kUnknown) {}

  std::size_t of(std::size_t at) {
    if (depths_[at] != kUnknown) return depths_[at];
    depths_[at] = 0;  // for steps that need each other
    std::size_t depth = 0;
    for (const std::size_t needed : steps_[at].needs) {
      if (steps_[needed].stage == steps_[at].stage) depth = std::max(depth, of(needed) + 1);
    }
    return depths_[at] = depth;
  }

 private:
  static constexpr std::size_t kUnknown = std::string::npos;
  const std::vector<Step>& steps_;
  std::vector<std::size_t> depths_;
};

}  // namespace

/// Steps of a table of which one copies its rows are one statement. The first stands for all; what
/// needs one of them needs it.
void Planner::mergeClauses() {
  std::vector<Step>& steps = script_.steps;
  std::map<const Table*, std::vector<std::size_t>> tables;
  for (const auto& [at, clause] : clauses_) {
    const bool waits = std::ranges::any_of(
        steps[at].needs, [&](std::size_t needed) { return clauses_.contains(needed); });
    if (steps[at].isAllowed && !waits) tables[clause.table].push_back(at);
  }
  std::vector<std::size_t> standsFor(steps.size());
  for (std::size_t at = 0; at < steps.size(); ++at) standsFor[at] = at;
  for (const auto& [table, ofTable] : tables) {
    const bool copies =
        std::ranges::any_of(ofTable, [&](std::size_t at) { return steps[at].copiesData; });
    if (!copies || ofTable.size() < 2) continue;
    Step& first = steps[ofTable.front()];
    std::vector<const AlterClause*> clauses{&clauses_.at(ofTable.front())};
    for (const std::size_t at : std::span(ofTable).subspan(1)) {
      clauses.push_back(&clauses_.at(at));
      standsFor[at] = ofTable.front();
      first.absorb(std::move(steps[at]));
    }
    first.copiesData = true;
    first.batches.front() = batchOf(clauses);
  }
  keepOnly(standsFor);
}

/// Steps for which others stand are gone.
void Planner::keepOnly(const std::vector<std::size_t>& standsFor) {
  std::vector<Step>& steps = script_.steps;
  std::vector<std::size_t> places(steps.size());
  std::vector<Step> kept;
  for (std::size_t at = 0; at < steps.size(); ++at) {
    places[at] = kept.size();
    if (standsFor[at] == at) kept.push_back(std::move(steps[at]));
  }
  for (Step& step : kept) {
    for (std::size_t& needed : step.needs) needed = places[standsFor[needed]];
  }
  steps = std::move(kept);
}

/// The order of running.
void Planner::settle() {
  std::vector<Step>& steps = script_.steps;
  std::vector<std::size_t> order(steps.size());
  for (std::size_t at = 0; at < order.size(); ++at) order[at] = at;
  Depths depths(steps);
  // In this order, so that steps that need each other stand the same way each time.
  for (std::size_t at = 0; at < steps.size(); ++at) depths.of(at);
  std::ranges::stable_sort(
      order, {}, [&](std::size_t at) { return std::pair(steps[at].stage, depths.of(at)); });
  std::vector<std::size_t> places(steps.size());
  for (std::size_t at = 0; at < order.size(); ++at) places[order[at]] = at;
  std::vector<Step> sorted;
  sorted.reserve(steps.size());
  for (const std::size_t at : order) {
    std::set<std::size_t> needs;
    for (const std::size_t needed : steps[at].needs) {
      if (needed != at) needs.insert(places[needed]);
    }
    steps[at].needs.assign(needs.begin(), needs.end());
    sorted.push_back(std::move(steps[at]));
  }
  steps = std::move(sorted);
}

}  // namespace kelvane::change_script
