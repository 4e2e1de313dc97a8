#include "inventory/roles.h"

#include <algorithm>
#include <set>

#include "inventory/attributes.h"

namespace kelvane::inventory {
namespace {

template <class Record>
void addGrantees(const Record& record, std::set<std::string>& names) {
  if constexpr (requires { record.permissions; }) {
    for (const Permission& permission : record.permissions) names.insert(permission.grantee);
  }
}

}  // namespace

std::vector<std::string> takeUnusedRoles(Database& database) {
  std::set<std::string> used;
  addGrantees(database.settings, used);
  forEachObjects([&](const auto& objects) {
    for (const auto& record : database.*objects.member) addGrantees(record, used);
  });
  for (const User& user : database.users) used.insert(user.roles.begin(), user.roles.end());
  std::vector<std::string> unused;
  std::erase_if(database.roles, [&](const Role& role) {
    if (used.contains(role.name)) return false;
    unused.push_back(role.name);
    return true;
  });
  return unused;
}

}  // namespace kelvane::inventory
