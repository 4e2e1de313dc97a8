// Which roles take part where a script is compared with a server.
#pragma once

#include <string>
#include <vector>

#include "inventory/records.h"

namespace kelvane::inventory {

/// Takes out the roles that nobody in the database has and that may do nothing in it: of a server
/// they are not read. Returns their names.
std::vector<std::string> takeUnusedRoles(Database& database);

}  // namespace kelvane::inventory
