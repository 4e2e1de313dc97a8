// Steps for what is not a table: texts, types, principals, and the database itself.

#include <algorithm>
#include <type_traits>

#include "change_script/planner.h"
#include "inventory/compare/titles.h"
#include "inventory/shown.h"

namespace kelvane::change_script {
namespace {

using namespace inventory;

/// drop view dbo.v, where it is there.
Batch droppedObject(std::string_view word, const QualifiedName& name) {
  Statement drop("drop " + std::string(word) + " ");
  drop.name(name);
  return guarded(idOf(name) + " is not null", drop);
}

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

/// The target's record of an object that both sides have, or that the target alone has.
template <class Record>
const Record* was(const Change& change) {
  const auto* record = std::get_if<const Record*>(&change.target);
  return record == nullptr ? nullptr : *record;
}
template <class Record>
const Record* is(const Change& change) {
  const auto* record = std::get_if<const Record*>(&change.source);
  return record == nullptr ? nullptr : *record;
}

bool hasAttribute(const Change& change, std::string_view label) {
  return std::ranges::find(change.attributes, label, &AttributeChange::label) !=
         change.attributes.end();
}
bool hasPart(const Change& change, Kind kind) {
  return std::ranges::find(change.parts, kind, &Change::kind) != change.parts.end();
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
    const bool precomputed = now->precomputed || (old != nullptr && old->precomputed);
    planner.add(Stage::dropCompiled, difference, droppedView(*now, precomputed));
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
    planner.add(Stage::dropCompiled, difference, {droppedObject("function", now->name)});
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
  if (!planner.markGroup(name)) return;
  const auto isOfGroup = [&](const Procedure& one) { return one.name == name; };
  const bool isThere = std::ranges::any_of(planner.target().procedures, isOfGroup);
  const auto& procedures = planner.source().procedures;
  const bool stays = std::ranges::any_of(procedures, isOfGroup);
  if (isThere || stays) {
    const std::size_t at = planner.add(
        stays ? Stage::dropCompiled : Stage::drops, difference, {droppedObject("procedure", name)},
        now == nullptr ? std::vector{Danger::dropObject} : std::vector<Danger>{});
    for (const Procedure& one : planner.target().procedures) {
      if (isOfGroup(one) && !stays) planner.end(&one, at);
    }
  }
  for (const Procedure& one : procedures) {
    if (!isOfGroup(one)) continue;
    const auto before = std::ranges::find_if(planner.target().procedures, [&](const auto& other) {
      return isOfGroup(other) && other.number == one.number;
    });
    planner.made().procedures.push_back(
        withKept(one, before == planner.target().procedures.end() ? nullptr : &*before,
                 !planner.allows(Danger::revoke)));
    planner.describeMade(Kind::procedure, shown(name), difference);
  }
}

/// Of tables of the target.
template <class Uses>
void needEndsOfColumns(Planner& planner, std::size_t step, Uses&& uses) {
  for (const Table& table : planner.target().tables) {
    for (const Column& column : table.columns) {
      if (uses(column)) planner.needEnd(step, {&column, &table});
    }
  }
}

/// A default or rule that is bound cannot be dropped.
template <class Object>
void planBound(Planner& planner, const Change& change, std::string_view word,
               std::vector<Object> Database::*objects) {
  const Object* old = was<Object>(change);
  const Object* now = is<Object>(change);
  const std::string difference = described(change);
  constexpr bool isDefault = std::is_same_v<Object, Default>;
  const auto isBound = [&](const Column& column, const QualifiedName& name) {
    return isDefault ? column.defaultValue->bound == name
                     : *column.rule == name || *column.accessRule == name;
  };
  if (now == nullptr) {
    const std::size_t at = planner.add(Stage::drops, difference, {droppedObject(word, old->name)},
                                       {Danger::dropObject});
    planner.end(old, at);
    needEndsOfColumns(planner, at, [&](const Column& one) { return isBound(one, old->name); });
    for (const UserType& type : planner.target().types) {
      if (isDefault ? type.defaultValue == old->name
                    : type.rule == old->name || type.accessRule == old->name)
        planner.needEnd(at, {&type});
    }
    return;
  }
  if (old != nullptr) {
    const std::string unbind =
        std::string("exec ") + (isDefault ? "sp_unbindefault " : "sp_unbindrule ");
    const std::string bind = std::string("exec ") +
                             (isDefault ? "sp_bindefault " : "sp_bindrule ") +
                             argument({now->name.owner, now->name.name}) + ", ";
    std::vector<Batch> before, behind;
    for (const Table& table : planner.target().tables) {
      for (const Column& column : table.columns) {
        if (!isBound(column, old->name)) continue;
        const std::string place = argument({table.name.name, column.name});
        const std::string user = Writing::userFor(table.name.owner);
        before.push_back(callOf(unbind + place, user));
        behind.push_back(callOf(bind + place, user));
      }
    }
    for (const UserType& type : planner.target().types) {
      const bool is = isDefault ? type.defaultValue == old->name
                                : type.rule == old->name || type.accessRule == old->name;
      if (!is) continue;
      const std::string place = argument({type.name.name}) + ", 'futureonly'";
      const std::string user = Writing::userFor(type.name.owner);
      before.push_back(callOf(unbind + place, user));
      behind.push_back(callOf(bind + place, user));
    }
    before.push_back(droppedObject(word, old->name));
    planner.add(Stage::dropIndexes, difference, std::move(before));
    if (!behind.empty()) planner.add(Stage::tables, difference, std::move(behind));
  }
  (planner.made().*objects).push_back(*now);
  planner.describeMade(change, difference);
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
    needEndsOfColumns(planner, at, [&](const Column& column) {
      return column.type.type.name == old->name.name && *column.type.type.owner == old->name.owner;
    });
    return;
  }
  if (old == nullptr) {
    planner.made().types.push_back(*now);
    return planner.describeMade(change, difference);
  }
  if (old->base != now->base) {
    const bool isUsed = std::ranges::any_of(planner.target().tables, [&](const Table& table) {
      return std::ranges::any_of(table.columns, [&](const Column& column) {
        return column.type.type.name == old->name.name &&
               *column.type.type.owner == old->name.owner;
      });
    });
    if (isUsed)
      return planner.omit(difference, "columns use the type: give them another one first");
    planner.add(Stage::dropIndexes, difference, {drop()});
    planner.made().types.push_back(*now);
    return planner.describeMade(change, difference);
  }
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

std::string roleGrant(std::string_view word, const std::string& role, std::string_view to,
                      const std::string& grantee) {
  Statement statement(std::string(word) + " role ");
  statement.name(role) << " " << to << " ";
  statement.name(grantee);
  return statement.text();
}

/// Roles that somebody has: granted, or taken away.
void planRoles(Planner& planner, const std::string& grantee, const std::string& difference,
               const std::vector<std::string>& old, const std::vector<std::string>& now) {
  const auto add = [&](const std::vector<std::string>& some, const std::vector<std::string>& others,
                       std::string_view word, std::string_view to, std::vector<Danger> dangers) {
    std::vector<Batch> batches;
    for (const std::string& role : some) {
      if (std::ranges::find(others, role) == others.end())
        batches.push_back(callOf(roleGrant(word, role, to, grantee)));
    }
    if (!batches.empty())
      planner.add(Stage::principals, difference, std::move(batches), std::move(dangers));
  };
  add(now, old, "grant", "to", {});
  add(old, now, "revoke", "from", {Danger::revoke});
}

void planUser(Planner& planner, const Change& change) {
  const User* old = was<User>(change);
  const User* now = is<User>(change);
  const std::string difference = described(change);
  if (now == nullptr) {
    const std::size_t at =
        planner.add(Stage::drops, difference,
                    {callOf("if user_id(" + literal(old->name) +
                            ") is not null\n    exec sp_dropuser " + literal(old->name))},
                    {Danger::dropObject});
    planner.end(old, at);
    const Database& target = planner.target();
    const auto needAll = [&](const auto& objects) {
      for (const auto& one : objects) {
        if (one.name.owner == old->name) planner.needEnd(at, {&one});
      }
    };
    needAll(target.tables);
    needAll(target.views);
    needAll(target.procedures);
    needAll(target.functions);
    needAll(target.rules);
    needAll(target.defaults);
    needAll(target.types);
    return;
  }
  if (old == nullptr) {
    planner.made().users.push_back(*now);
    return planner.describeMade(change, difference);
  }
  if (old->login != now->login)
    planner.omit(difference, "a user of another login is another user: drop it first");
  if (old->group != now->group) {
    planner.end(old, planner.add(Stage::principals, difference,
                                 {callOf("exec sp_changegroup " +
                                         literal(now->group.empty() ? "public" : now->group) +
                                         ", " + literal(now->name))}));
  }
  planRoles(planner, now->login.empty() ? now->name : now->login, difference, old->roles,
            now->roles);
}

void planRole(Planner& planner, const Change& change) {
  const Role* old = was<Role>(change);
  const Role* now = is<Role>(change);
  const std::string difference = described(change);
  if (now == nullptr)
    return planner.omit(difference, "a role is of the server and of all its databases");
  if (old == nullptr) {
    planner.made().roles.push_back(*now);
    return planner.describeMade(change, difference);
  }
  planRoles(planner, now->name, difference, old->roles, now->roles);
}

void planGroup(Planner& planner, const Change& change) {
  const std::string difference = described(change);
  if (const Group* now = is<Group>(change)) {
    planner.made().groups.push_back(*now);
    return planner.describeMade(change, difference);
  }
  const std::string& group = was<Group>(change)->name;
  const std::size_t at =
      planner.add(Stage::drops, difference,
                  {callOf("if user_id(" + literal(group) + ") is not null\n    exec sp_dropgroup " +
                          literal(group))},
                  {Danger::dropObject});
  for (const User& user : planner.target().users) {
    if (user.group == group) planner.needEnd(at, {&user});
  }
}

void planAlias(Planner& planner, const Change& change) {
  const std::string difference = described(change);
  if (const Alias* old = was<Alias>(change)) {
    planner.add(Stage::dropIndexes, difference,
                {callOf("exec sp_dropalias " + literal(old->login))},
                change.isOnlyInTarget() ? std::vector{Danger::dropObject} : std::vector<Danger>{});
  }
  if (const Alias* now = is<Alias>(change)) {
    planner.made().aliases.push_back(*now);
    planner.describeMade(change, difference);
  }
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
    needEndsOfColumns(planner, at, [&](const Column& one) {
      return one.encryptionKey->owner == old->name.owner &&
             one.encryptionKey->name == old->name.name;
    });
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

/// A revoke of what is not granted takes away what a group has.
std::string granted(const Permission& permission, const QualifiedName& name) {
  constexpr std::string_view kOn = " on ";
  const std::size_t on = permission.action.find(kOn);
  const std::string action = permission.action.substr(0, on);
  const std::string id =
      on != std::string::npos
          ? "object_id(" + literal(permission.action.substr(on + kOn.size())) + ")"
      : name.name.empty() ? "0"
                          : idOf(name);
  return "exists (select 1 from sysprotects p, master..spt_values v\n    where p.id = " + id +
         " and p.uid = user_id(" + literal(permission.grantee) +
         ") and p.protecttype < 2\n    and p.action = v.number and v.type = 'T' and lower(v.name) "
         "= " +
         literal(action) + ")";
}

bool onlyGainsOption(const Change& part) {
  const auto* now = is<Permission>(part);
  return part.isOnBothSides() && part.attributes.size() == 1 &&
         hasAttribute(part, "grant option") && now->grantOption && now->effect == "grant";
}

}  // namespace

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
  planner.add(Stage::dropCompiled, difference,
              {droppedObject("trigger", old == nullptr ? now->name : old->name)},
              now == nullptr ? std::vector{Danger::dropObject} : std::vector<Danger>{});
  if (now == nullptr) return;
  planner.add(Stage::triggers, difference,
              planner.fromSource([&](Writing& writing) { writeTriggers(writing, table, {*now}); }));
}

void planPermissions(Planner& planner, const Change& object, const QualifiedName& name) {
  const auto add = [&](const Change& part, const std::vector<Permission>& some,
                       std::vector<Danger> dangers) {
    std::vector<Batch> batches;
    for (const Permission& one : some) {
      for (Batch& batch : planner.fromSource([&](Writing& writing) {
             writePermissions(writing, Phase::permissions, name, {one});
           })) {
        batches.push_back(std::move(batch));
      }
    }
    return planner.add(Stage::permissions, described(object, &part), std::move(batches),
                       std::move(dangers));
  };
  // What goes, then what comes: a statement says more than the row that it leaves.
  for (const Change& part : object.parts) {
    const auto* old = part.kind == Kind::permission ? was<Permission>(part) : nullptr;
    if (old == nullptr || onlyGainsOption(part)) continue;
    if (!old->condition.empty()) {
      planner.omit(described(object, &part),
                   "a condition is taken away by its name, which is not known");
      continue;
    }
    Permission grant = *old, revoke = *old;
    grant.effect = "grant";
    revoke.effect = "revoke";
    grant.grantOption = revoke.grantOption = false;
    // Only the revoke of something granted leaves nothing.
    if (old->effect == "grant") {
      Step& step = planner.step(add(part, {revoke}, {Danger::revoke}));
      for (Batch& batch : step.batches)
        batch.text.insert(0, "if " + granted(*old, name) + "\n    ");
    } else {
      add(part, {grant, revoke}, {});
    }
  }
  for (const bool takes : {false, true}) {
    for (const Change& part : object.parts) {
      const auto* now = part.kind == Kind::permission ? is<Permission>(part) : nullptr;
      if (now == nullptr || (now->effect != "grant") != takes) continue;
      // Beside the old condition the new one would let see more.
      const auto* old = was<Permission>(part);
      if (old != nullptr && !old->condition.empty()) continue;
      add(part, {*now}, takes ? std::vector{Danger::revoke} : std::vector<Danger>{});
    }
  }
}

void planObject(Planner& planner, const Change& change) {
  switch (change.kind) {
    case Kind::view:
      return planView(planner, change);
    case Kind::procedure:
      return planProcedure(planner, change);
    case Kind::function:
      return planFunction(planner, change);
    case Kind::rule:
      return planBound<Rule>(planner, change, "rule", &Database::rules);
    case Kind::defaultObject:
      return planBound<Default>(planner, change, "default", &Database::defaults);
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

void planSettings(Planner& planner, const Change& change) {
  Settings& made = planner.made().settings;
  const std::string difference = described(change);
  for (const AttributeChange& one : change.attributes) {
    if (one.label == "owner") {
      planner.add(Stage::closing, difference,
                  {callOf(withLogin(one.was) + "exec sp_changedbowner " + literal(one.was))});
    } else {
      planner.omit(difference, "the settings of caches are left to those who run the server");
    }
  }
  for (const Change& part : change.parts) {
    const std::string what = described(change, &part);
    const auto onDatabase = [](std::string call) {
      return callOf(std::string(kThisDatabase) + std::move(call));
    };
    if (const auto* option = is<DatabaseOption>(part)) made.options.push_back(*option);
    if (const auto* segment = is<Segment>(part)) made.segments.push_back(*segment);
    if (const auto* old = was<DatabaseOption>(part)) {
      planner.add(Stage::endings, what,
                  {onDatabase("exec master..sp_dboption @db, " + literal(old->name) +
                              ", false\ncheckpoint")});
    }
    if (const auto* old = was<Segment>(part)) {
      planner.add(Stage::drops, what,
                  {onDatabase("exec sp_dropsegment " + literal(old->name) + ", @db")},
                  {Danger::dropObject});
    }
    if (const auto* old = was<Threshold>(part); old != nullptr && !old->lastChance) {
      planner.add(Stage::drops, what,
                  {onDatabase("exec sp_dropthreshold @db, " + literal(old->segment) + ", " +
                              std::to_string(old->freePages))},
                  part.isOnlyInTarget() ? std::vector{Danger::dropObject} : std::vector<Danger>{});
    }
    if (const auto* now = is<Threshold>(part)) made.thresholds.push_back(*now);
  }
  planPermissions(planner, change, {});
  planner.describeMade(Kind::database, "database", difference.empty() ? "database" : difference);
}

}  // namespace kelvane::change_script
