#include "change_script/planner.h"

#include <algorithm>
#include <iterator>
#include <set>
#include <utility>

#include "inventory/compare/titles.h"

namespace kelvane::change_script {
namespace {

using namespace inventory;

std::string titled(const Change& change, const std::string& owner) {
  const Title title = titleOf(change, owner);
  std::string text(title.word);
  if (!text.empty() && !title.name.empty()) text += ' ';
  return text + title.name;
}

std::string said(const AttributeChange& one) {
  std::string text(one.style == Style::bare && !one.isText ? "" : one.label);
  if (one.isText) return text;
  if (!text.empty()) text += ": ";
  const auto value = [](const std::string& shown) { return shown.empty() ? "(none)" : shown; };
  return text + value(one.is) + " -> " + value(one.was);
}

void planObject(Planner& planner, const Change& change) {
  switch (change.kind) {
    case Kind::database:
      return planSettings(planner, change);
    case Kind::table:
      return planTable(planner, change);
    case Kind::view:
      return planView(planner, change);
    case Kind::procedure:
      return planProcedure(planner, change);
    case Kind::function:
      return planFunction(planner, change);
    case Kind::rule:
      return planRule(planner, change);
    case Kind::defaultObject:
      return planDefault(planner, change);
    case Kind::type:
      return planType(planner, change);
    case Kind::user:
      return planUser(planner, change);
    case Kind::alias:
      return planAlias(planner, change);
    case Kind::group:
      return planGroup(planner, change);
    case Kind::role:
      return planRole(planner, change);
    case Kind::encryptionKey:
      return planEncryptionKey(planner, change);
    case Kind::message:
      return planMessage(planner, change);
    default:
      return;
  }
}

}  // namespace

std::string described(const Change& object, const Change* part) {
  const std::string owner = ownerOf(object);
  const Change& leaf = part == nullptr ? object : *part;
  std::string text = titled(object, {});
  if (part != nullptr) text += ", " + titled(*part, owner);
  if (leaf.isOnlyInSource()) return text + ": only in source";
  if (leaf.isOnlyInTarget()) return text + ": only in target";
  std::string_view separator = ": ";
  for (const AttributeChange& one : leaf.attributes)
    text += std::string(std::exchange(separator, "; ")) + said(one);
  return text;
}

std::size_t Planner::add(Stage stage, std::string difference, std::vector<Batch> batches,
                         std::vector<Danger> dangers) {
  Step step;
  step.stage = stage;
  step.kind = kind_;
  step.object = object_;
  step.difference = std::move(difference);
  step.batches = std::move(batches);
  for (Batch& batch : step.batches) makeRestartable(batch);
  std::ranges::copy_if(dangers, std::back_inserter(step.missing),
                       [&](Danger danger) { return !takes(danger); });
  step.isAllowed = step.missing.empty();
  const bool concernsRows =
      std::ranges::any_of(dangers, [](Danger danger) { return rowOf(danger).concernsRows; });
  const bool mustBeEmpty =
      !std::ranges::all_of(dangers, [&](Danger danger) { return options_.allowed.has(danger); });
  if (concernsRows && table_ != nullptr) step.rows = table_->rowCount;
  step.dangers = std::move(dangers);
  script_.steps.push_back(std::move(step));
  const std::size_t at = script_.steps.size() - 1;
  if (mustBeEmpty && script_.steps[at].isAllowed) check(at, {stopUnlessEmpty(*table_), {}});
  return at;
}

ColumnType Planner::stored(const Writing& writing, const ColumnType& type) {
  ColumnType base = type;
  if (const UserType* user = writing.userType(type.type)) base.type = user->base.type;
  return base;
}

bool Planner::isName(const std::string& owner, const std::string& name) const {
  return uses_.hasName(owner, name) || usesOfSource_.hasName(owner, name);
}

bool Planner::takes(Danger danger) const {
  if (options_.allowed.has(danger)) return true;
  return options_.allowed.hasWhereEmpty(danger) && table_ != nullptr &&
         table_->rowCount.value_or(0) == 0;
}

std::size_t Planner::addClause(std::string difference, AlterClause clause,
                               std::vector<Danger> dangers) {
  const std::size_t at =
      add(Stage::columns, std::move(difference), {batchOf({&clause})}, std::move(dangers));
  clauses_.emplace(at, std::move(clause));
  return at;
}

/// Of all objects that a step changes.
void Planner::addStates() {
  std::set<std::pair<Kind, std::string>> touched;
  for (const Step& one : script_.steps) {
    if (one.isAllowed) touched.emplace(one.kind, one.object);
  }
  for (const Change& change : changes_) {
    if (!touched.contains({change.kind, change.name})) continue;
    const std::optional<Batch> state = stateOf(*this, change);
    if (!state) continue;
    begin(change);
    add(Stage::checks, titled(change, {}) + ": is as it was when this script was made", {*state});
  }
}

ChangeScript Planner::plan() {
  for (const Rename& one : options_.renames) script_.steps.push_back(stepOf(one));
  planRemadeTypes();
  for (const Change& change : changes_) {
    begin(change);
    planObject(*this, change);
  }
  planReferencesToDroppedKeys();
  planMade();
  for (inventory::Writing* writing : {&now_, &old_}) {
    for (Omission& one : writing->take().omissions) script_.omissions.push_back(std::move(one));
  }
  freeNames();
  freeLogins();
  needKeys();
  needEnds();
  needProvided();
  forbidWhatNeeds();
  forbidLosses();
  forbidWhatNeeds();
  addStates();
  addChecks();
  mergeClauses();
  becomeOnlyThoseWhoAreThere();
  settle();
  return std::move(script_);
}

ChangeScript plan(const Database& source, const Database& target,
                  const std::vector<Change>& changes, const PlanOptions& options) {
  return Planner(source, target, changes, options).plan();
}

}  // namespace kelvane::change_script
