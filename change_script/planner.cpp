#include "change_script/planner.h"

#include <algorithm>
#include <cctype>
#include <map>
#include <set>
#include <span>
#include <unordered_set>
#include <utility>

#include "inventory/compare/titles.h"
#include "inventory/ddl/used_names.h"
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

/// Servers that ignore case are asked no differently: a need too much does no harm.
std::string lowered(std::string_view text) {
  std::string all(text);
  for (char& letter : all)
    letter = static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
  return all;
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

void Step::absorb(Step other) {
  difference += '\n' + other.difference;
  std::move(other.batches.begin() + 1, other.batches.end(), std::back_inserter(batches));
  for (const Danger danger : other.dangers) {
    if (std::ranges::find(dangers, danger) == dangers.end()) dangers.push_back(danger);
  }
  needs.insert(needs.end(), other.needs.begin(), other.needs.end());
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

Batch droppedObject(std::string_view word, const QualifiedName& name) {
  Statement drop("drop " + std::string(word) + " ");
  drop.name(name);
  return guarded(idOf(name) + " is not null", drop);
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
  step.isAllowed = std::ranges::all_of(dangers, [&](Danger danger) { return takes(danger); });
  const bool concernsRows =
      std::ranges::any_of(dangers, [](Danger danger) { return rowOf(danger).concernsRows; });
  const bool mustBeEmpty =
      !std::ranges::all_of(dangers, [&](Danger danger) { return options_.allowed.has(danger); });
  if (concernsRows && table_ != nullptr) step.rows = table_->rowCount;
  step.dangers = std::move(dangers);
  script_.steps.push_back(std::move(step));
  const std::size_t at = script_.steps.size() - 1;
  if (mustBeEmpty && script_.steps[at].isAllowed) check(at, stopUnlessEmpty(*table_));
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

void Planner::provide(const std::string& object, const std::string& column, std::size_t step) {
  provided_[lowered(object)].push_back({lowered(column), step});
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
  for (const void* record : early_) {
    if (const auto found = ends_.find(record); found != ends_.end())
      for (const std::size_t end : found->second) step(end).stage = Stage::dropCompiled;
  }
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

/// What is dropped comes back with all that belongs to it, or stays.
void Planner::linkMade(const ScriptedObject& object, std::size_t first, const Texts& texts) {
  const std::vector<Step>& steps = script_.steps;
  std::size_t creation = first;
  const Stage stage = object.kind == Kind::type ? Stage::values : Stage::compiled;
  while (creation < steps.size() && steps[creation].stage != stage) ++creation;
  if (creation == steps.size()) return;
  for (std::size_t at = first; at < steps.size(); ++at) {
    if (at != creation) step(at).needs.push_back(creation);
  }
  if (const auto drop = dropsForMade_.find({object.kind, object.name}); drop != dropsForMade_.end())
    needEachOther(drop->second, creation);
  if (const auto types = madeForTypes_.find({object.kind, object.name});
      types != madeForTypes_.end())
    step(creation).needs.insert(step(creation).needs.end(), types->second.begin(),
                                types->second.end());
  const auto found = texts.find({object.kind, object.name});
  if (found == texts.end()) return;
  for (const Definition* text : found->second) useText(creation, *text);
  // Procedures may call what is missing.
  if (object.kind != Kind::procedure)
    provide(object.name.substr(object.name.find('.') + 1), {}, creation);
}

/// What cannot be made is not dropped either.
void Planner::forbidMade(const ScriptedObject& object, std::size_t first) {
  for (std::size_t at = first; at < script_.steps.size(); ++at) step(at).isAllowed = false;
  if (const auto drop = dropsForMade_.find({object.kind, object.name}); drop != dropsForMade_.end())
    step(drop->second).isAllowed = false;
}

Planner::Texts Planner::textsOfMade() const {
  Texts texts;
  const auto add = [&](Kind kind, const auto& records) {
    for (const auto& one : records) texts[{kind, shown(one.name)}].push_back(&one.definition);
  };
  add(Kind::view, made_.views);
  add(Kind::function, made_.functions);
  add(Kind::procedure, made_.procedures);
  return texts;
}

/// A text that names what a step makes cannot be made without it.
void Planner::needProvided() {
  for (const auto& [at, text] : usingTexts_) {
    std::vector<const std::vector<Provided>*> objects;
    forEachObject(text->text, text->quotedIdentifier, [&](const UsedObject& used) {
      const auto found = provided_.find(lowered(used.name));
      if (found != provided_.end()) objects.push_back(&found->second);
    });
    if (objects.empty()) continue;
    std::unordered_set<std::string> names{""};
    forEachName(text->text, text->quotedIdentifier,
                [&](std::string_view name) { names.insert(lowered(name)); });
    for (const auto* provided : objects) {
      for (const Provided& one : *provided) {
        if (one.step != at && names.contains(one.column)) step(at).needs.push_back(one.step);
      }
    }
  }
}

/// What is made whole is written as a database is; types are there to be found by columns.
void Planner::planMade() {
  made_.server = source_.server;
  std::set<std::string> isMade;
  for (const UserType& type : made_.types) isMade.insert(shown(type.name));
  for (const UserType& type : source_.types) {
    if (!isMade.contains(shown(type.name))) made_.types.push_back(type);
  }
  Script script = scriptOf(made_, options_.release, source_);
  const Texts texts = textsOfMade();
  // A member of a group of procedures stands for all of it.
  std::set<std::string> leftOut;
  for (const Omission& one : script.omissions)
    leftOut.insert(one.what.substr(0, one.what.find(';')));
  std::map<std::pair<Kind, std::string>, std::size_t> firsts;
  for (ScriptedObject& object : script.objects) {
    if (object.kind == Kind::type && !isMade.contains(object.name)) continue;
    const auto reason = reasons_.find({object.kind, object.name});
    begin(object.kind, object.name);
    std::map<Stage, std::vector<Batch>> stages;
    for (Batch& batch : object.batches) {
      guardValue(object, batch);
      std::vector<Batch>& batches = stages[stageOf(batch.phase)];
      if (auto drops = dropsBefore_.extract({object.kind, object.name}); !drops.empty())
        batches = std::move(drops.mapped());
      batches.push_back(std::move(batch));
    }
    const std::size_t first = script_.steps.size();
    firsts.emplace(std::pair(object.kind, object.name), first);
    for (auto& [stage, batches] : stages)
      add(stage, reason == reasons_.end() ? object.name : reason->second, std::move(batches));
    linkMade(object, first, texts);
    if (leftOut.contains(titleOf(object.kind, object.name))) forbidMade(object, first);
  }
  for (const NeedOfMade& one : needsOfMade_) {
    if (const auto found = firsts.find(one.made); found != firsts.end())
      step(one.step).needs.push_back(found->second);
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

/// What needs a step that is not allowed is not done either.
void Planner::forbidWhatNeeds() {
  std::vector<Step>& steps = script_.steps;
  std::vector<std::vector<std::size_t>> neededBy(steps.size());
  std::vector<std::size_t> forbidden;
  for (std::size_t at = 0; at < steps.size(); ++at) {
    for (const std::size_t needed : steps[at].needs) neededBy[needed].push_back(at);
    if (!steps[at].isAllowed) forbidden.push_back(at);
  }
  while (!forbidden.empty()) {
    const std::size_t needed = forbidden.back();
    forbidden.pop_back();
    for (const std::size_t at : neededBy[needed]) {
      if (std::exchange(steps[at].isAllowed, false)) forbidden.push_back(at);
    }
  }
}

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

/// A table that has another name meanwhile cannot be asked.
void Planner::guardByRenames(Batch& batch) const {
  std::string condition;
  for (const auto& [shown, one] : renamed_) {
    Statement name;
    name.name(one.table);
    if (batch.text.find("from " + name.text() + " ") == std::string::npos) continue;
    condition += (condition.empty() ? "if " : " and ") + idOf(one.table) + " is not null";
  }
  if (!condition.empty()) batch.text = condition + "\n    exec(" + literal(batch.text) + ")";
}

void Planner::addChecks() {
  std::set<std::string> texts;
  for (RowCheck& one : checks_) {
    const Step& of = script_.steps[one.step];
    if (!of.isAllowed || !texts.insert(one.batch.text).second) continue;
    begin(of.kind, of.object);
    const std::string difference = of.difference;
    guardByRenames(one.batch);
    add(Stage::checks, difference, {std::move(one.batch)});
  }
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
    for (std::size_t& needed : steps[at].needs) needed = places[needed];
    sorted.push_back(std::move(steps[at]));
  }
  steps = std::move(sorted);
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
  needKeys();
  needEnds();
  needProvided();
  forbidWhatNeeds();
  addStates();
  addChecks();
  mergeClauses();
  settle();
  return std::move(script_);
}

ChangeScript plan(const Database& source, const Database& target,
                  const std::vector<Change>& changes, const PlanOptions& options) {
  return Planner(source, target, changes, options).plan();
}

}  // namespace kelvane::change_script
