#include "inventory/roles.h"

#include <algorithm>
#include <iterator>
#include <set>

namespace kelvane::inventory {

std::vector<std::string> takeRolesOfOneSide(Database& one, Database& other) {
  const auto namesOf = [](const Database& database) {
    std::set<std::string> names;
    for (const Role& role : database.roles) names.insert(role.name);
    return names;
  };
  const std::set<std::string> ours = namesOf(one), theirs = namesOf(other);
  std::vector<std::string> taken;
  std::ranges::set_symmetric_difference(ours, theirs, std::back_inserter(taken));
  for (Database* database : {&one, &other}) {
    std::erase_if(database->roles,
                  [&](const Role& role) { return std::ranges::binary_search(taken, role.name); });
  }
  return taken;
}

}  // namespace kelvane::inventory
