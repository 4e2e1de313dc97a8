// What a step needs: keys that foreign keys refer to, what is in the way, what texts name. What is
// not allowed takes along what needs it.

#include <algorithm>
#include <bitset>
#include <cctype>
#include <cstdint>
#include <map>
#include <unordered_set>
#include <utility>

#include "change_script/planner.h"
#include "inventory/ddl/used_names.h"
#include "inventory/shown.h"

namespace kelvane::change_script {
namespace {

using namespace inventory;

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

bool hasColumns(const KeyConstraint& key, const std::vector<std::string>& columns) {
  return std::ranges::equal(key.columns, columns, {}, &KeyColumn::name);
}

}  // namespace

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
  needEachOther(drop, keyDrop);
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

/// Where the script is started again, what it made by the same name is dropped.
void Planner::dropKey(const Table& table, const KeyConstraint& key, const Table* now,
                      std::size_t step) {
  const KeyConstraint* namesake = nullptr;
  if (now != nullptr && !key.name.generated) {
    const auto found = std::ranges::find(now->keys, key.name, &KeyConstraint::name);
    if (found != now->keys.end()) namesake = &*found;
  }
  droppedKeys_.push_back({&table, &key, namesake, step});
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
  enum class Refers : std::uint8_t { toOldKeys, toAnyKeys };
  const auto dropOf = [&](const ForeignKey& key, Refers refers) -> std::optional<std::size_t> {
    if (!key.referenced.database.empty()) return std::nullopt;
    const auto found = dropped.find(keyOf(key.referenced.owner, key.referenced.name));
    if (found == dropped.end()) return std::nullopt;
    const auto on = std::ranges::find_if(found->second, [&](const DroppedKey& one) {
      return hasColumns(*one.key, key.referencedColumns) ||
             (refers == Refers::toAnyKeys && one.namesake != nullptr &&
              hasColumns(*one.namesake, key.referencedColumns));
    });
    return on == found->second.end() ? std::nullopt : std::optional(on->step);
  };
  // Those that a script made which is started again are in the way too.
  for (std::size_t at = 0; at < references_.size(); ++at) {
    const auto [table, key, creation] = references_[at];
    const auto keyDrop = dropOf(*key, Refers::toAnyKeys);
    if (!keyDrop || ends_.contains(key)) continue;
    begin(Kind::table, shown(table->name));
    const std::string difference = "the key that it refers to is made again";
    const std::size_t drop = planDrop(*this, *table, *key, difference);
    step(drop).needs.insert(step(drop).needs.end(), {*keyDrop, creation});
  }
  for (const Table& table : target_.tables) {
    for (const ForeignKey& key : table.foreignKeys) {
      if (const auto keyDrop = dropOf(key, Refers::toOldKeys))
        planReferencesTo(table, key, *keyDrop);
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
      forbid(one.step);
      continue;
    }
    for (const std::size_t end : ends_.at(*record)) {
      if (end != one.step) step(one.step).needs.push_back(end);
    }
  }
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

/// What needs a step that is not allowed is not done either, and for the same reasons. Steps may
/// need each other; each reason reaches each of them once.
void Planner::forbidWhatNeeds() {
  std::vector<Step>& steps = script_.steps;
  constexpr std::size_t kImpossible = kDangers.size();
  std::vector<std::bitset<kDangers.size() + 1>> reasons(steps.size());
  std::vector<std::vector<std::size_t>> neededBy(steps.size());
  std::vector<std::size_t> forbidden;
  for (std::size_t at = 0; at < steps.size(); ++at) {
    for (const std::size_t needed : steps[at].needs) neededBy[needed].push_back(at);
    for (const Danger danger : steps[at].missing) reasons[at].set(static_cast<std::size_t>(danger));
    reasons[at].set(kImpossible, !steps[at].isPossible);
    if (reasons[at].any()) forbidden.push_back(at);
  }
  while (!forbidden.empty()) {
    const std::size_t needed = forbidden.back();
    forbidden.pop_back();
    for (const std::size_t at : neededBy[needed]) {
      if (const auto all = reasons[at] | reasons[needed]; std::exchange(reasons[at], all) != all)
        forbidden.push_back(at);
    }
  }
  for (std::size_t at = 0; at < steps.size(); ++at) {
    steps[at].isAllowed = reasons[at].none();
    steps[at].isPossible = !reasons[at].test(kImpossible);
    steps[at].missing.clear();
    for (const DangerRow& row : kDangers) {
      if (reasons[at].test(static_cast<std::size_t>(row.danger)))
        steps[at].missing.push_back(row.danger);
    }
  }
}

}  // namespace kelvane::change_script
