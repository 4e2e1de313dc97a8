// A database whose owners have the names that another database has for them.
//
// Free functions without state.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "inventory/records.h"

namespace kelvane::inventory {

/// By the name of an owner the one that it gets.
using OwnerNames = std::map<std::string, std::string, std::less<>>;

struct OwnerRenaming {
  std::vector<std::string> unknown;  ///< owners of whom the database has no object
  /// Objects whose owner's name went to another one; they were taken out: "table dbo.t".
  std::vector<std::string> takenOut;
};

/// Gives the objects of some owners other ones, wherever records and texts name an object with its
/// owner. Users, and who was granted what, stay.
OwnerRenaming renameOwners(Database& database, const OwnerNames& names);

}  // namespace kelvane::inventory
