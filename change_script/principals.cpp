// Steps for users, aliases, groups and roles.

#include <algorithm>
#include <map>
#include <set>
#include <utility>

#include "change_script/changed_records.h"
#include "change_script/planner.h"

namespace kelvane::change_script {
namespace {

using namespace inventory;

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

/// Roles are of the server, where the login of a new user may be one already. What a side does not
/// use it may not tell.
void planRolesOfLogin(Planner& planner, const User& user, const std::string& difference) {
  const std::string& login = user.login.empty() ? user.name : user.login;
  std::set<std::string> known, others;
  for (const Role& role : planner.source().roles) known.insert(role.name);
  for (const Role& role : planner.target().roles) {
    if (known.contains(role.name)) others.insert(role.name);
  }
  for (const std::string& role : user.roles) others.erase(role);
  std::vector<Batch> batches;
  batches.reserve(others.size());
  for (const std::string& role : others) {
    batches.push_back(
        callOf("if exists (select 1 from master..sysloginroles where suid = suser_id(" +
               literal(login) + ")\n    and srid = role_id(" + literal(role) + "))\n    " +
               roleGrant("revoke", role, "from", login)));
  }
  if (batches.empty()) return;
  const std::size_t at = planner.add(Stage::principals, difference + "; its login may have roles",
                                     std::move(batches), {Danger::revoke});
  planner.needMade(at, Kind::user, user.name);
}

std::string_view loginOf(const RecordPointer& record) {
  if (const auto* user = std::get_if<const User*>(&record))
    return (*user)->login.empty() ? (*user)->name : (*user)->login;
  if (const auto* alias = std::get_if<const Alias*>(&record)) return (*alias)->login;
  return {};
}

}  // namespace

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
    planner.dropRights(old->name, at);
    for (const void* record : planner.uses().recordsOf(old->name)) planner.needEnd(at, {record});
    return;
  }
  if (old == nullptr) {
    planner.made().users.push_back(*now);
    planRolesOfLogin(planner, *now, difference);
    return planner.describeMade(change, difference);
  }
  if (old->login != now->login)
    planner.omit(difference, "a user of another login is another user: drop it first");
  if (old->group != now->group) {
    const std::size_t at = planner.add(
        Stage::principals, difference,
        {callOf("exec sp_changegroup " + literal(now->group.empty() ? "public" : now->group) +
                ", " + literal(now->name))});
    planner.end(old, at);
    planner.needMade(at, Kind::group, now->group);
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
  planner.dropRights(group, at);
  for (const User* user : planner.uses().usersOf(group)) planner.needEnd(at, {user});
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

/// Rights go with those who have them, unless what they are on goes too: now, or as soon as the
/// drop is allowed.
void Planner::forbidLosses() {
  for (const auto& [at, principal] : droppedRights_) {
    const auto goesToo = [&, drop = at](std::size_t end) {
      const Step& other = step(end);
      return other.isPossible && std::ranges::includes(step(drop).missing, other.missing);
    };
    const bool losesNone = std::ranges::all_of(uses_.rightsOf(principal), [&](const void* record) {
      const auto found = ends_.find(record);
      return found != ends_.end() && std::ranges::all_of(found->second, goesToo);
    });
    if (losesNone) continue;
    step(at).dangers.push_back(Danger::revoke);
    if (!options_.allowed.has(Danger::revoke)) step(at).missing.push_back(Danger::revoke);
  }
}

/// A login is one user or one alias: what it is in the target goes before it becomes another.
void Planner::freeLogins() {
  std::map<std::pair<Kind, std::string>, std::string_view> gone, made;
  for (const Change& change : changes_) {
    if (change.isOnlyInTarget() && !loginOf(change.target).empty())
      gone.emplace(std::pair(change.kind, change.name), loginOf(change.target));
    if (change.isOnlyInSource() && !loginOf(change.source).empty())
      made.emplace(std::pair(change.kind, change.name), loginOf(change.source));
  }
  if (gone.empty() || made.empty()) return;
  std::map<std::string_view, std::vector<std::size_t>> ends;
  for (std::size_t at = 0; at < script_.steps.size(); ++at) {
    const Step& one = step(at);
    if (const auto found = gone.find({one.kind, one.object}); found != gone.end())
      ends[found->second].push_back(at);
  }
  for (Step& one : script_.steps) {
    const auto login = made.find({one.kind, one.object});
    if (login == made.end() || !ends.contains(login->second)) continue;
    for (const std::size_t end : ends[login->second]) {
      one.needs.push_back(end);
      step(end).stage = std::min(step(end).stage, Stage::settings);
    }
  }
}

/// Nobody can become a user who comes later, or who is gone where the script is started again.
void Planner::becomeOnlyThoseWhoAreThere() {
  std::set<std::string> come, go;
  for (const Change& change : changes_) {
    if (change.kind == Kind::user && change.isOnlyInSource()) come.insert(change.name);
    if (change.kind == Kind::user && change.isOnlyInTarget()) go.insert(change.name);
  }
  for (Step& one : script_.steps) {
    for (Batch& batch : one.batches) {
      const bool isLater = one.stage < Stage::principals && come.contains(batch.user);
      if (batch.isText || (!isLater && !go.contains(batch.user))) continue;
      const std::string user = literal(std::exchange(batch.user, {}));
      batch.text = "if user_id(" + user + ") is not null\nbegin\n    setuser " + user +
                   "\n    exec(" + literal(batch.text) + ")\n    setuser\nend";
    }
  }
}

}  // namespace kelvane::change_script
