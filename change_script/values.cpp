// Steps for what columns are made of: defaults, rules, types, encryption keys; and messages.

#include <algorithm>
#include <set>
#include <type_traits>

#include "change_script/changed_records.h"
#include "change_script/planner.h"
#include "change_script/table_steps.h"
#include "inventory/shown.h"

namespace kelvane::change_script {
namespace {

using namespace inventory;

/// Columns of the target that use it are in the way until they end.
void needEndsOf(Planner& planner, std::size_t step, const std::vector<UsingColumn>& columns) {
  for (const auto& [table, column] : columns) planner.needEnd(step, {column, table});
}

/// A default or rule that is bound cannot be dropped.
template <class Object>
void planBound(Planner& planner, const Change& change, std::string_view word,
               std::vector<Object> Database::*objects) {
  const Object* old = was<Object>(change);
  const Object* now = is<Object>(change);
  const std::string difference = described(change);
  constexpr bool isDefault = std::is_same_v<Object, Default>;
  if (now == nullptr) {
    const std::size_t at = planner.add(Stage::drops, difference, {droppedObject(word, old->name)},
                                       {Danger::dropObject});
    planner.end(old, at);
    needEndsOf(planner, at, planner.uses().columnsWith(old->name));
    for (const UserType* type : planner.uses().typesWith(old->name)) planner.needEnd(at, {type});
    return;
  }
  if (old != nullptr) {
    const std::string bind = std::string("exec ") +
                             (isDefault ? "sp_bindefault " : "sp_bindrule ") +
                             argument({now->name.owner, now->name.name}) + ", ";
    std::vector<Batch> before, behind;
    const auto bindAgain = [&](const std::string& condition, const std::string& place,
                               const QualifiedName& owned) {
      behind.push_back(callOf("if exists (" + condition + ")\n    " + bind + place,
                              Writing::userFor(owned.owner)));
    };
    const auto isFree = [](std::string_view prefix) {
      const std::string of(prefix);
      return "\n    and " + of + (isDefault ? "cdefault" : "domain") + " = 0 and " + of +
             "status & 128 = 0";
    };
    for (const auto& [table, column] : planner.uses().columnsWith(old->name)) {
      before.push_back(unboundFrom(*table, column->name, isDefault, old->name));
      bindAgain(columnOf(*table, column->name) + isFree(""),
                argument({table->name.name, column->name}), table->name);
    }
    // Where the script is started again, those of the source are in the way too.
    for (const auto& [table, column] : planner.usesOfSource().columnsWith(old->name)) {
      before.push_back(unboundFrom(*table, column->name, isDefault, old->name));
      bindAgain(columnOf(*table, column->name, column->type) + isFree("c."),
                argument({table->name.name, column->name}), table->name);
    }
    for (const ObjectUses* uses : {&planner.uses(), &planner.usesOfSource()}) {
      for (const UserType* type : uses->typesWith(old->name)) {
        before.push_back(unboundFrom(*type, isDefault, old->name));
        if (uses == &planner.uses()) continue;
        bindAgain("select 1 from systypes where name = " + literal(type->name.name),
                  argument({type->name.name}) + ", 'futureonly'", type->name);
      }
    }
    for (std::vector<Batch>* batches : {&before, &behind}) {
      std::set<std::string> texts;
      std::erase_if(*batches, [&](const Batch& one) { return !texts.insert(one.text).second; });
    }
    before.push_back(droppedObject(word, old->name));
    planner.add(Stage::dropIndexes, difference, std::move(before));
    // Before tables that are made again: rules do not ask rows that are there.
    if (!behind.empty()) {
      const std::size_t at = planner.add(Stage::values, difference, std::move(behind));
      planner.needMade(at, change.kind, change.name);
    }
  }
  (planner.made().*objects).push_back(*now);
  planner.describeMade(change, difference);
}

}  // namespace

void planRule(Planner& planner, const Change& change) {
  planBound<Rule>(planner, change, "rule", &Database::rules);
}

void planDefault(Planner& planner, const Change& change) {
  planBound<Default>(planner, change, "default", &Database::defaults);
}

void planType(Planner& planner, const Change& change) {
  const UserType* old = was<UserType>(change);
  const UserType* now = is<UserType>(change);
  const std::string difference = described(change);
  const auto drop = [&] {
    return callOf("if exists (select 1 from systypes where name = " + literal(old->name.name) +
                      ")\n    exec sp_droptype " + argument({old->name.name}),
                  Writing::userFor(old->name.owner));
  };
  if (now == nullptr) {
    const std::size_t at = planner.add(Stage::drops, difference, {drop()}, {Danger::dropObject});
    planner.end(old, at);
    needEndsOf(planner, at, planner.uses().columnsOfType(old->name));
    return;
  }
  if (old == nullptr) {
    planner.made().types.push_back(*now);
    return planner.describeMade(change, difference);
  }
  if (old->base != now->base) return;  // see planRemadeTypes
  std::vector<Batch> batches;
  constexpr std::string_view kDefault = "efault";
  const std::string place = argument({now->name.name}) + ", 'futureonly'";
  const auto bind = [&](std::string_view word, const QualifiedName& from, const QualifiedName& to) {
    if (from == to) return;
    if (to == QualifiedName{}) return batches.push_back(unboundFrom(*now, word == kDefault, from));
    batches.push_back(callOf(
        "exec sp_bind" + std::string(word) + " " + argument({to.owner, to.name}) + ", " + place,
        Writing::userFor(now->name.owner)));
  };
  bind(kDefault, old->defaultValue, now->defaultValue);
  bind("rule", old->rule, now->rule);
  bind("rule", old->accessRule, now->accessRule);
  // New columns get what is bound to their type.
  const std::size_t at = planner.add(Stage::values, difference, std::move(batches));
  planner.end(old, at);
  planner.needMade(at, Kind::defaultObject, shown(now->defaultValue));
  for (const QualifiedName* rule : {&now->rule, &now->accessRule})
    planner.needMade(at, Kind::rule, shown(*rule));
}

void planMessage(Planner& planner, const Change& change) {
  const std::string difference = described(change);
  if (const Message* old = was<Message>(change)) {
    const std::string number = std::to_string(old->number);
    planner.add(Stage::dropIndexes, difference,
                {callOf("exec sp_dropmessage " + number +
                        (old->language.empty() ? "" : ", " + literal(old->language)))},
                change.isOnlyInTarget() ? std::vector{Danger::dropObject} : std::vector<Danger>{});
  }
  if (const Message* now = is<Message>(change)) {
    planner.made().messages.push_back(*now);
    planner.describeMade(change, difference);
  }
}

void planEncryptionKey(Planner& planner, const Change& change) {
  const std::string difference = described(change);
  const EncryptionKey* old = was<EncryptionKey>(change);
  if (change.isOnlyInTarget()) {
    const std::size_t at =
        planner.add(Stage::drops, difference, {droppedObject("encryption key", old->name)},
                    {Danger::dropObject});
    planner.end(old, at);
    needEndsOf(planner, at, planner.uses().columnsWith(old->name));
    return;
  }
  const EncryptionKey* now = is<EncryptionKey>(change);
  if (old == nullptr) {
    planner.made().encryptionKeys.push_back(*now);
    return planner.describeMade(change, difference);
  }
  if (!change.attributes.empty())
    planner.omit(difference, "columns are encrypted with the key; it cannot be made again");
  planPermissions(planner, change, now->name);
}

}  // namespace kelvane::change_script
