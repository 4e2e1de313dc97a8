// Users, groups, aliases and roles.

#include <algorithm>
#include <array>
#include <map>

#include "inventory/read/reading.h"

namespace kelvane::inventory {
namespace {

constexpr int kPublicUid = 0, kDboUid = 1;

constexpr std::array<std::string_view, 22> kRolesOfServer{"sa_role",
                                                          "sso_role",
                                                          "oper_role",
                                                          "sybase_ts_role",
                                                          "navigator_role",
                                                          "replication_role",
                                                          "dtm_tm_role",
                                                          "ha_role",
                                                          "mon_role",
                                                          "js_admin_role",
                                                          "js_client_role",
                                                          "js_user_role",
                                                          "messaging_role",
                                                          "webservices_role",
                                                          "keycustodian_role",
                                                          "sa_serverprivs_role",
                                                          "usedb_user_role",
                                                          "dbocc_role",
                                                          "hadr_admin_role",
                                                          "replication_maint_role_gp",
                                                          "sap_maint_user_role",
                                                          "pci_admin_role"};

struct UserRow {
  int uid = 0, gid = 0;
  std::string name, login;
};

std::vector<std::string> sorted(const std::set<std::string>& names) {
  return {names.begin(), names.end()};
}

/// Roles that have roles. What a role has through another one is not said of it again.
class Containment {
 public:
  void add(std::string role, std::string contained) {
    contained_[std::move(role)].insert(std::move(contained));
  }
  /// Of the role, and of those that it has.
  std::set<std::string> all(const std::string& role) const {
    std::set<std::string> all;
    std::vector<std::string> next{role};
    while (!next.empty()) {
      const auto own = contained_.find(next.back());
      next.pop_back();
      if (own == contained_.end()) continue;
      for (const std::string& one : own->second) {
        if (all.insert(one).second) next.push_back(one);
      }
    }
    return all;
  }
  std::set<std::string> direct(const std::string& role) const {
    const auto own = contained_.find(role);
    if (own == contained_.end()) return {};
    std::set<std::string> direct = own->second;
    for (const std::string& one : own->second) {
      const auto through = contained_.find(one);
      if (through == contained_.end() || through->second.contains(role)) continue;
      for (const std::string& indirect : through->second) direct.erase(indirect);
    }
    return direct;
  }

 private:
  std::map<std::string, std::set<std::string>> contained_;
};

}  // namespace

void readUsers(Reading& reading) {
  std::vector<UserRow> rows;
  reading.session.rows("users",
                       "select uid, gid, suid, name, suser_name(suid) from sysusers order by name",
                       [&](const Row& row) {
                         UserRow user{row.number(0), row.number(1), row.text(3), row.text(4)};
                         reading.users[user.uid] = user.name;
                         reading.usersOfLogins[row.number(2)] = user.name;
                         rows.push_back(std::move(user));
                       });
  for (UserRow& row : rows) {
    if (row.uid == kPublicUid || row.uid == kDboUid) continue;
    if (row.uid == row.gid) {
      // Roles are rows alike; readRoles takes them out of the groups.
      if (reading.wants(Kind::group, {{}, row.name}) || reading.wants(Kind::role, {{}, row.name}))
        reading.database.groups.push_back({std::move(row.name)});
      continue;
    }
    reading.logins.insert(row.login);
    if (!reading.wants(Kind::user, {{}, row.name})) continue;
    User user;
    user.name = std::move(row.name);
    user.login = std::move(row.login);
    if (row.gid != kPublicUid) user.group = reading.userName(row.gid);
    reading.database.users.push_back(std::move(user));
  }
}

void readRoles(Reading& reading) {
  enum Part { role, alias, granted, contained };
  std::set<std::string> roles;
  std::map<std::string, std::set<std::string>> ofLogins;
  Containment containment;
  const std::string noName = "convert(varchar(255), null)";
  reading.session.rowsOfParts(
      "roles and aliases",
      {{"roles", "select 0, lrid, " + noName + ", user_name(lrid) from sysroles"},
       {"aliases", "select 1, altsuid, suser_name(suid), " + noName + " from sysalternates"},
       {"roles of logins",
        "select 2, 0, suser_name(l.suid), role_name(l.srid) from master..sysloginroles l, sysusers"
        " u where l.suid = u.suid"},
       {"roles of roles",
        "select 3, 0, r.name, c.name from master..syssrvroles r, master..syssrvroles c"
        " where r.srid = c.srid or role_contain(c.name, r.name) = 1"}},
      [&](const Row& row) {
        switch (row.number(0)) {
          case role:
            roles.insert(row.text(3));
            break;
          case alias: {
            Alias one{row.text(2), {}};
            if (const auto user = reading.usersOfLogins.find(row.number(1));
                user != reading.usersOfLogins.end())
              one.user = user->second;
            if (reading.wants(Kind::alias, {{}, one.login}))
              reading.database.aliases.push_back(std::move(one));
            break;
          }
          case granted:
            ofLogins[row.text(2)].insert(row.text(3));
            break;
          case contained:
            if (row.text(2) != row.text(3)) {
              containment.add(row.text(2), row.text(3));
            } else if (reading.usesEmbeddedBits()) {
              // A script creates its roles. Those of a server are of all its databases.
              roles.insert(row.text(2));
            }
            break;
          default:
            break;
        }
      });
  for (User& user : reading.database.users) {
    const auto found = ofLogins.find(user.login);
    if (found != ofLogins.end() && !user.login.empty()) user.roles = sorted(found->second);
  }
  for (const auto& [login, names] : ofLogins) {
    if (!login.empty() && reading.logins.contains(login)) roles.insert(names.begin(), names.end());
  }
  // What somebody has by a role is used too.
  const std::set<std::string> used = roles;
  for (const std::string& name : used) {
    const std::set<std::string> contained = containment.all(name);
    roles.insert(contained.begin(), contained.end());
  }
  std::erase_if(reading.database.groups, [&](const Group& group) {
    return roles.contains(group.name) || std::ranges::count(kRolesOfServer, group.name) != 0 ||
           !reading.wants(Kind::group, {{}, group.name});
  });
  for (const std::string& name : roles) {
    Role one{name, sorted(containment.direct(name))};
    // Those that every server has say something only where somebody granted them roles.
    if (one.roles.empty() && std::ranges::count(kRolesOfServer, name) != 0) continue;
    if (reading.wants(Kind::role, {{}, name})) reading.database.roles.push_back(std::move(one));
  }
}

}  // namespace kelvane::inventory
