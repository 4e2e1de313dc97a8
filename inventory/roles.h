// Which roles take part where a side is a server.
#pragma once

#include <string>
#include <vector>

#include "inventory/records.h"

namespace kelvane::inventory {

/// Takes out the roles that only one of the databases has. Roles are of the server, which tells of
/// those that the database uses: whether the other server has them is not known, and what they may
/// do is among the permissions. Returns their names, in order.
std::vector<std::string> takeRolesOfOneSide(Database& one, Database& other);

}  // namespace kelvane::inventory
