// Steps for what columns are made of: defaults, rules, types, encryption keys; and messages.

#include <algorithm>
#include <type_traits>

#include "change_script/changed_records.h"
#include "change_script/planner.h"

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
    const std::string unbind =
        std::string("exec ") + (isDefault ? "sp_unbindefault " : "sp_unbindrule ");
    const std::string bind = std::string("exec ") +
                             (isDefault ? "sp_bindefault " : "sp_bindrule ") +
                             argument({now->name.owner, now->name.name}) + ", ";
    std::vector<Batch> before, behind;
    const auto bindAgain = [&](const std::string& place, const std::string& user) {
      before.push_back(callOf(unbind + place, user));
      behind.push_back(callOf(bind + place, user));
    };
    for (const auto& [table, column] : planner.uses().columnsWith(old->name))
      bindAgain(argument({table->name.name, column->name}), Writing::userFor(table->name.owner));
    for (const UserType* type : planner.uses().typesWith(old->name))
      bindAgain(argument({type->name.name}) + ", 'futureonly'", Writing::userFor(type->name.owner));
    before.push_back(droppedObject(word, old->name));
    planner.add(Stage::dropIndexes, difference, std::move(before));
    if (!behind.empty()) planner.add(Stage::tables, difference, std::move(behind));
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
  const std::string place = argument({now->name.name}) + ", 'futureonly'";
  const auto bind = [&](std::string_view word, const QualifiedName& from, const QualifiedName& to) {
    if (from == to) return;
    const std::string call = to == QualifiedName{}
                                 ? "exec sp_unbind" + std::string(word) + " " + place
                                 : "exec sp_bind" + std::string(word) + " " +
                                       argument({to.owner, to.name}) + ", " + place;
    batches.push_back(callOf(call, Writing::userFor(now->name.owner)));
  };
  bind("efault", old->defaultValue, now->defaultValue);
  bind("rule", old->rule, now->rule);
  bind("rule", old->accessRule, now->accessRule);
  planner.end(old, planner.add(Stage::bindings, difference, std::move(batches)));
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
