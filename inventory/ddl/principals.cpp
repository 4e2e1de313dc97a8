// Groups, roles, users and aliases.

#include <algorithm>
#include <array>
#include <map>
#include <set>
#include <string_view>
#include <utility>

#include "inventory/ddl/writing.h"
#include "inventory/shown.h"

namespace kelvane::inventory {
namespace {

using Names = std::set<std::string_view>;

/// Who has objects may have lost the right to create them since.
class CreationRights {
 public:
  explicit CreationRights(const Database& database) {
    need("create view", database.views);
    need("create procedure", database.procedures);
    need("create function", database.functions);
    need("create rule", database.rules);
    need("create default", database.defaults);
    for (const Permission& one : database.settings.permissions)
      known_.emplace(one.grantee, one.action);
  }

  /// Those that the user needs and that nothing gives or takes.
  std::vector<std::string_view> missing(const User& user) const {
    std::vector<std::string_view> actions;
    const auto needed = needed_.find(user.name);
    if (needed == needed_.end()) return actions;
    for (const std::string_view action : needed->second) {
      const bool isKnown =
          std::ranges::any_of(std::array<std::string_view, 3>{user.name, user.group, "public"},
                              [&](std::string_view grantee) {
                                return known_.contains({grantee, action});
                              });
      if (!isKnown) actions.push_back(action);
    }
    return actions;
  }

 private:
  template <class Record>
  void need(std::string_view action, const std::vector<Record>& records) {
    for (const Record& one : records) needed_[one.name.owner].insert(action);
  }

  std::map<std::string_view, Names> needed_;  ///< by owner
  std::set<std::pair<std::string_view, std::string_view>> known_;
};

/// Roles are of the server, which may have them.
void addRole(Writing& writing, Phase phase, const std::string& role) {
  Statement create("create role ");
  create.name(role);
  writing.add(phase,
              "if not exists (select 1 from master..syssrvroles where name = " + literal(role) +
                  ")\n    exec(" + literal(create.text()) + ")",
              {}, create.needsQuotedIdentifier());
}

/// `known`: roles that have objects of their own.
void grantRoles(Writing& writing, const Names& known, const std::vector<std::string>& roles,
                const std::string& to) {
  for (const std::string& role : roles) {
    if (!known.contains(role)) addRole(writing, Phase::settings, role);
    Statement grant("grant role ");
    grant.name(role) << " to ";
    grant.name(to);
    writing.add(Phase::principals, grant);
  }
}

void writeRights(Writing& writing, const CreationRights& rights, const User& user) {
  for (const std::string_view action : rights.missing(user)) {
    // Before 15 there is no such right, nor functions in T-SQL.
    if (action == "create function" && !writing.has(TargetRelease::ase15)) continue;
    const auto add = [&](Phase phase, std::string_view verb, std::string_view preposition) {
      Statement statement(verb);
      statement << " " << action << preposition;
      statement.name(user.name);
      writing.add(phase, statement);
    };
    add(Phase::principals, "grant", " to ");
    add(Phase::endings, "revoke", " from ");
  }
}

void writeUser(Writing& writing, const Names& known, const User& user) {
  const std::string& login = user.login.empty() ? user.name : user.login;
  if (user.name == "guest") {
    writing.call(Phase::principals, "if user_id('guest') is null exec sp_adduser 'guest'");
  } else {
    writing.call(Phase::principals, withLogin(login) + "exec sp_adduser " + literal(login) + ", " +
                                        literal(user.name) +
                                        (user.group.empty() ? "" : ", " + literal(user.group)));
  }
  grantRoles(writing, known, user.roles, login);
}

}  // namespace

std::string withLogin(const std::string& login) {
  const std::string name = literal(login);
  return "if suser_id(" + name +
         ") is null\nbegin\n    declare @secret varchar(30)\n"
         "    select @secret = 'P' + right(convert(varchar(40), newid()), 20)\n"
         "    exec sp_addlogin " +
         name + ", @secret\n    exec sp_locklogin " + name + ", 'lock'\nend\n";
}

void writePrincipals(Writing& writing) {
  const Database& database = writing.database();
  const CreationRights rights(database);
  Names known;
  for (const Role& role : database.roles) known.insert(role.name);
  for (const Role& role : database.roles) {
    writing.begin(Kind::role, role.name, {role.name});
    addRole(writing, Phase::settings, role.name);
    grantRoles(writing, known, role.roles, role.name);
  }
  for (const Group& group : database.groups) {
    writing.begin(Kind::group, group.name, {group.name});
    writing.call(Phase::principals, "exec sp_addgroup " + literal(group.name));
  }
  for (const User& user : database.users) {
    writing.begin(Kind::user, user.name, {user.name});
    writeUser(writing, known, user);
    writeRights(writing, rights, user);
  }
  for (const Alias& alias : database.aliases) {
    writing.begin(Kind::alias, alias.login, {alias.login});
    writing.call(Phase::principals, withLogin(alias.login) + "exec sp_addalias " +
                                        literal(alias.login) + ", " + literal(alias.user));
  }
}

}  // namespace kelvane::inventory
