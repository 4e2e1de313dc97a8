#include "change_script/planner.h"

#include <algorithm>
#include <map>

#include "inventory/compare/titles.h"
#include "inventory/shown.h"

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

/// A name as the key of a table that foreign keys refer to.
std::string keyOf(std::string_view owner, std::string_view name) {
  return std::string(owner) + '.' + std::string(name);
}

/// What is created as a value, and only once.
void guardValue(const ScriptedObject& object, Batch& batch) {
  const bool isCreation =
      object.kind == Kind::rule || object.kind == Kind::defaultObject
          ? batch.isText
          : object.kind == Kind::encryptionKey && batch.text.starts_with("create ");
  if (!isCreation) return;
  batch.text =
      "if object_id(" + literal(object.name) + ") is null\n    exec(" + literal(batch.text) + ")";
  batch.isText = false;
}

bool hasColumns(const KeyConstraint& key, const std::vector<std::string>& columns) {
  return std::ranges::equal(key.columns, columns, {}, &KeyColumn::name);
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

Stage stageOf(Phase phase) {
  switch (phase) {
    case Phase::settings:
      return Stage::settings;
    case Phase::principals:
      return Stage::principals;
    case Phase::values:
      return Stage::values;
    case Phase::tables:
      return Stage::tables;
    case Phase::indexes:
      return Stage::indexes;
    case Phase::references:
      return Stage::references;
    case Phase::bindings:
      return Stage::bindings;
    case Phase::compiled:
      return Stage::compiled;
    case Phase::triggers:
      return Stage::triggers;
    case Phase::permissions:
      return Stage::permissions;
    case Phase::endings:
      return Stage::endings;
    case Phase::closing:
      return Stage::closing;
  }
  return Stage::settings;
}

std::string idOf(const QualifiedName& name) {
  return "object_id(" + argument({name.owner, name.name}) + ")";
}

Batch batchOf(const Statement& statement) {
  return {Phase::tables, statement.text(), {}, statement.needsQuotedIdentifier(), false};
}

Batch callOf(std::string text, std::string user) {
  const bool hasQuotes = text.find('"') != std::string::npos;
  return {Phase::tables, std::move(text), std::move(user), hasQuotes, false};
}

Batch guarded(std::string_view condition, const Statement& statement) {
  return {Phase::tables,
          "if " + std::string(condition) + "\n    exec(" + literal(statement.text()) + ")",
          {},
          statement.needsQuotedIdentifier(),
          false};
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
  step.isAllowed =
      std::ranges::all_of(dangers, [&](Danger danger) { return options_.allowed.has(danger); });
  step.dangers = std::move(dangers);
  script_.steps.push_back(std::move(step));
  return script_.steps.size() - 1;
}

void Planner::planReferencesTo(const Table& table, const ForeignKey& key, std::size_t keyDrop) {
  begin(Kind::table, shown(table.name));
  if (const auto found = ends_.find(&key); found != ends_.end()) {
    step(keyDrop).needs.insert(step(keyDrop).needs.end(), found->second.begin(),
                               found->second.end());
    return;
  }
  // Without such a key afterwards it could not come back.
  if (!keys_.contains({keyOf(key.referenced.owner, key.referenced.name), key.referencedColumns}))
    return needEnd(keyDrop, {&key, &table});
  const std::string difference = "the key that it refers to is made again";
  const std::size_t drop = planDrop(*this, table, key, difference);
  const std::size_t at = planCreation(*this, table, key, difference);
  needEachOther(drop, at);
  step(drop).needs.push_back(keyDrop);
}

void Planner::addKey(const Table& table, const IndexStorage& key, std::size_t step) {
  std::vector<std::string> columns;
  columns.reserve(key.columns.size());
  for (const KeyColumn& column : key.columns) columns.push_back(column.name);
  keys_.insert_or_assign({keyOf(table.name.owner, table.name.name), std::move(columns)}, step);
}

void Planner::needKeys() {
  for (const Reference& one : references_) {
    const auto& [database, owner, name] = one.key->referenced;
    if (!database.empty()) continue;
    const auto found = keys_.find({keyOf(owner, name), one.key->referencedColumns});
    if (found != keys_.end()) step(one.step).needs.push_back(found->second);
  }
}

void Planner::planReferencesToDroppedKeys() {
  if (droppedKeys_.empty()) return;
  std::map<std::string, std::vector<DroppedKey>> dropped;
  for (const DroppedKey& one : droppedKeys_)
    dropped[keyOf(one.table->name.owner, one.table->name.name)].push_back(one);
  const auto dropOf = [&](const ForeignKey& key) -> std::optional<std::size_t> {
    if (!key.referenced.database.empty()) return std::nullopt;
    const auto found = dropped.find(keyOf(key.referenced.owner, key.referenced.name));
    if (found == dropped.end()) return std::nullopt;
    const auto on = std::ranges::find_if(found->second, [&](const DroppedKey& one) {
      return hasColumns(*one.key, key.referencedColumns);
    });
    return on == found->second.end() ? std::nullopt : std::optional(on->step);
  };
  // Those that a script made which is started again are in the way too.
  for (std::size_t at = 0; at < references_.size(); ++at) {
    const auto [table, key, creation] = references_[at];
    const auto keyDrop = dropOf(*key);
    if (!keyDrop || ends_.contains(key)) continue;
    begin(Kind::table, shown(table->name));
    const std::string difference = "the key that it refers to is made again";
    const std::size_t drop = planDrop(*this, *table, *key, difference);
    step(drop).needs.insert(step(drop).needs.end(), {*keyDrop, creation});
  }
  for (const Table& table : target_.tables) {
    for (const ForeignKey& key : table.foreignKeys) {
      if (const auto keyDrop = dropOf(key)) planReferencesTo(table, key, *keyDrop);
    }
  }
}

void Planner::needEnds() {
  for (const InTheWay& one : inTheWay_) {
    const auto record = std::ranges::find_if(
        one.records, [&](const void* candidate) { return ends_.contains(candidate); });
    if (record == one.records.end()) {
      step(one.step).isAllowed = false;
      continue;
    }
    for (const std::size_t end : ends_.at(*record)) {
      if (end != one.step) step(one.step).needs.push_back(end);
    }
  }
}

/// What is made whole is written as a database is; types are there to be found by columns.
void Planner::planMade() {
  const std::size_t types = made_.types.size();
  made_.server = source_.server;
  for (const UserType& type : source_.types) {
    if (std::ranges::find(made_.types, type) == made_.types.end()) made_.types.push_back(type);
  }
  std::set<std::string> isMade;
  for (std::size_t at = 0; at < types; ++at) isMade.insert(shown(made_.types[at].name));
  Script script = scriptOf(made_, options_.release, source_);
  for (ScriptedObject& object : script.objects) {
    if (object.kind == Kind::type && !isMade.contains(object.name)) continue;
    const auto reason = reasons_.find({object.kind, object.name});
    begin(object.kind, object.name);
    std::map<Stage, std::vector<Batch>> stages;
    for (Batch& batch : object.batches) {
      guardValue(object, batch);
      stages[stageOf(batch.phase)].push_back(std::move(batch));
    }
    for (auto& [stage, batches] : stages)
      add(stage, reason == reasons_.end() ? object.name : reason->second, std::move(batches));
  }
  for (Omission& one : script.omissions) script_.omissions.push_back(std::move(one));
}

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

/// What needs a step that is not allowed is not done either; then the order of running.
void Planner::settle() {
  std::vector<Step>& steps = script_.steps;
  for (bool isChanged = true; isChanged;) {
    isChanged = false;
    for (Step& one : steps) {
      const bool canBe = std::ranges::all_of(
          one.needs, [&](std::size_t needed) { return steps[needed].isAllowed; });
      if (!one.isAllowed || canBe) continue;
      one.isAllowed = false;
      isChanged = true;
    }
  }
  std::vector<std::size_t> order(steps.size());
  for (std::size_t at = 0; at < order.size(); ++at) order[at] = at;
  Depths depths(steps);
  std::ranges::stable_sort(
      order, {}, [&](std::size_t at) { return std::pair(steps[at].stage, depths.of(at)); });
  std::vector<std::size_t> places(steps.size());
  for (std::size_t at = 0; at < order.size(); ++at) places[order[at]] = at;
  std::vector<Step> sorted;
  sorted.reserve(steps.size());
  for (const std::size_t at : order) {
    for (std::size_t& needed : steps[at].needs) needed = places[needed];
    sorted.push_back(std::move(steps[at]));
  }
  steps = std::move(sorted);
}

ChangeScript Planner::plan() {
  for (const Change& change : changes_) {
    begin(change);
    if (change.kind == Kind::table) {
      planTable(*this, change);
    } else if (change.kind == Kind::database) {
      planSettings(*this, change);
    } else {
      planObject(*this, change);
    }
  }
  planReferencesToDroppedKeys();
  planMade();
  for (inventory::Writing* writing : {&now_, &old_}) {
    for (Omission& one : writing->take().omissions) script_.omissions.push_back(std::move(one));
  }
  needKeys();
  needEnds();
  settle();
  return std::move(script_);
}

ChangeScript plan(const Database& source, const Database& target,
                  const std::vector<Change>& changes, const PlanOptions& options) {
  return Planner(source, target, changes, options).plan();
}

}  // namespace kelvane::change_script
