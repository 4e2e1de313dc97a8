// Steps for what the server keeps as a text: views, functions, procedures, triggers.

#include <algorithm>

#include "change_script/changed_records.h"
#include "change_script/planner.h"
#include "inventory/compare/definition_text.h"
#include "inventory/shown.h"

namespace kelvane::change_script {
namespace {

using namespace inventory;

/// Whichever of the two it is.
std::vector<Batch> droppedView(const View& view, bool precomputed) {
  const auto drop = [&](std::string_view word, std::string_view type) {
    Statement statement("drop " + std::string(word) + " ");
    statement.name(view.name);
    return guarded("exists (select 1 from sysobjects where id = " + idOf(view.name) +
                       " and type = '" + std::string(type) + "')",
                   statement);
  };
  std::vector<Batch> batches{drop("view", "V")};
  if (precomputed) batches.push_back(drop("precomputed result set", "RS"));
  return batches;
}

/// Grants that only the target has, where nobody may take them away: what is made again has them.
template <class Record>
Record withKept(const Record& record, const Record* old, bool keeps) {
  Record made = record;
  if (old == nullptr || !keeps) return made;
  for (const Permission& one : old->permissions) {
    if (std::ranges::find(made.permissions, one) == made.permissions.end())
      made.permissions.push_back(one);
  }
  return made;
}

void planDropBefore(Planner& planner, const Change& change, const std::string& difference,
                    std::vector<Batch> drops) {
  if (change.isOnlyInSource())
    return planner.dropBefore(change.kind, change.name, std::move(drops));
  planner.dropForMade(change.kind, change.name,
                      planner.add(Stage::dropCompiled, difference, std::move(drops)));
}

/// On 16 an object can be replaced in place, and keeps its id and its permissions. What must be out
/// of the way for something else is dropped.
template <class Record>
bool isReplaced(const Planner& planner, const Change& change) {
  const auto* old = was<Record>(change);
  const auto* now = is<Record>(change);
  const bool isOnlyText = change.attributes.size() == 1 && hasAttribute(change, "definition");
  if (!planner.replaces() || !isOnlyText || old == nullptr || now == nullptr ||
      now->definition.state != Definition::State::whole ||
      !withReplace(now->definition.text).has_value())
    return false;
  if constexpr (requires { now->language; }) {
    if (!now->language.empty() || !old->language.empty()) return false;
  }
  return true;
}

/// The permissions are the object's already.
template <class Record>
Record replacing(const Record& record) {
  Record made = record;
  made.definition.text = *withReplace(record.definition.text);
  made.permissions.clear();
  return made;
}

bool isForSameEvent(const Trigger& a, const Trigger& b) {
  return (a.onInsert && b.onInsert) || (a.onUpdate && b.onUpdate) || (a.onDelete && b.onDelete);
}

}  // namespace

void planView(Planner& planner, const Change& change) {
  const View* old = was<View>(change);
  const View* now = is<View>(change);
  const std::string difference = described(change);
  const bool isMade =
      now != nullptr && (old == nullptr || hasAttribute(change, "definition") ||
                         hasPart(change, Kind::column) || hasAttribute(change, "column order"));
  if (now == nullptr) {
    planner.end(old, planner.add(Stage::drops, difference, droppedView(*old, old->precomputed),
                                 {Danger::dropObject}));
    return;
  }
  if (isMade) {
    const bool isPlain = !now->precomputed && now->triggers.empty() && old != nullptr &&
                         !old->precomputed && old->triggers.empty();
    if (isPlain && isReplaced<View>(planner, change)) {
      planner.made().views.push_back(replacing(*now));
      planner.describeMade(change, difference);
      return planPermissions(planner, change, now->name);
    }
    const bool precomputed = now->precomputed || (old != nullptr && old->precomputed);
    planDropBefore(planner, change, difference, droppedView(*now, precomputed));
    planKeptPermissions(planner, change, now->name);
    planner.made().views.push_back(withKept(*now, old, !planner.allows(Danger::revoke)));
    return planner.describeMade(change, difference);
  }
  for (const Change& part : change.parts) {
    if (part.kind == Kind::trigger) planTrigger(planner, change, part, now->name);
  }
  planPermissions(planner, change, now->name);
}

void planFunction(Planner& planner, const Change& change) {
  const Function* old = was<Function>(change);
  const Function* now = is<Function>(change);
  const std::string difference = described(change);
  if (now == nullptr) {
    planner.end(old, planner.add(Stage::drops, difference, {droppedObject("function", old->name)},
                                 {Danger::dropObject}));
    return;
  }
  if (old == nullptr || !change.attributes.empty() || hasPart(change, Kind::parameter)) {
    if (isReplaced<Function>(planner, change)) {
      planner.made().functions.push_back(replacing(*now));
      planner.describeMade(change, difference);
      return planPermissions(planner, change, now->name);
    }
    planDropBefore(planner, change, difference, {droppedObject("function", now->name)});
    planKeptPermissions(planner, change, now->name);
    planner.made().functions.push_back(withKept(*now, old, !planner.allows(Danger::revoke)));
    return planner.describeMade(change, difference);
  }
  planPermissions(planner, change, now->name);
}

/// The procedures of a group are one object for the server.
void planProcedure(Planner& planner, const Change& change) {
  const Procedure* old = was<Procedure>(change);
  const Procedure* now = is<Procedure>(change);
  const QualifiedName& name = now != nullptr ? now->name : old->name;
  const std::string difference = described(change);
  const bool isOnlyMode = change.isOnBothSides() && change.attributes.size() == 1 &&
                          hasAttribute(change, "mode") && !hasPart(change, Kind::parameter);
  if (isOnlyMode) {
    planner.add(Stage::endings, difference,
                {callOf("exec sp_procxmode " + argument({name.name}) + ", " + literal(now->mode),
                        Writing::userFor(name.owner))});
    return planPermissions(planner, change, name);
  }
  if (change.isOnBothSides() && change.attributes.empty() && !hasPart(change, Kind::parameter))
    return planPermissions(planner, change, name);
  const auto& before = planner.groupsOfTarget().named(name);
  const auto& afterwards = planner.groupsOfSource().named(name);
  // One of a group cannot be replaced.
  const bool isAlone = before.size() == 1 && afterwards.size() == 1 && change.isOnBothSides();
  if (isAlone && isReplaced<Procedure>(planner, change)) {
    planner.made().procedures.push_back(replacing(*now));
    planner.describeMade(change, difference);
    return planPermissions(planner, change, name);
  }
  planKeptPermissions(planner, change, name);
  if (!planner.markGroup(name)) return;
  if (afterwards.empty()) {
    const std::size_t drop = planner.add(Stage::drops, difference,
                                         {droppedObject("procedure", name)}, {Danger::dropObject});
    for (const Procedure* one : before) planner.end(one, drop);
    return;
  }
  if (before.empty()) {
    planner.dropBefore(Kind::procedure, shown(name), {droppedObject("procedure", name)});
  } else {
    const bool takesAway = std::ranges::any_of(before, [&](const Procedure* one) {
      return std::ranges::find(afterwards, one->number, &Procedure::number) == afterwards.end();
    });
    planner.dropForMade(
        Kind::procedure, shown(name),
        planner.add(Stage::dropCompiled, difference, {droppedObject("procedure", name)},
                    takesAway ? std::vector{Danger::dropObject} : std::vector<Danger>{}));
  }
  for (const Procedure* one : afterwards) {
    const auto same = std::ranges::find(before, one->number, &Procedure::number);
    planner.made().procedures.push_back(
        withKept(*one, same == before.end() ? nullptr : *same, !planner.allows(Danger::revoke)));
    planner.describeMade(Kind::procedure, shown(name), difference);
  }
}

void planTrigger(Planner& planner, const Change& object, const Change& part,
                 const QualifiedName& table) {
  const std::string difference = described(object, &part);
  const Trigger* old = was<Trigger>(part);
  const Trigger* now = is<Trigger>(part);
  const bool isOnlySwitched =
      part.isOnBothSides() && part.attributes.size() == 1 && hasAttribute(part, "disabled");
  if (isOnlySwitched) {
    Statement alter("alter table ");
    alter.name(table) << (now->disabled ? " disable" : " enable") << " trigger ";
    alter.name(now->name.name);
    planner.add(Stage::endings, difference, {batchOf(alter)});
    return;
  }
  const std::size_t drop =
      planner.add(Stage::dropCompiled, difference,
                  {droppedObject("trigger", old == nullptr ? now->name : old->name)},
                  now == nullptr ? std::vector{Danger::dropObject} : std::vector<Danger>{});
  if (old != nullptr) planner.end(old, drop);
  if (now == nullptr) return;
  const std::size_t at = planner.add(
      Stage::triggers, difference,
      planner.fromSource([&](Writing& writing) { writeTriggers(writing, table, {*now}); }));
  planner.needEachOther(drop, at);
  planner.useText(at, now->definition);
  // Before 16 a second trigger for an event takes the place of the first.
  if (planner.has(TargetRelease::ase16)) return;
  for (const Change& other : object.parts) {
    const auto* gone = other.kind == Kind::trigger ? was<Trigger>(other) : nullptr;
    if (gone != nullptr && gone != old && isForSameEvent(*gone, *now)) planner.needEnd(at, {gone});
  }
}

}  // namespace kelvane::change_script
