// What of a database a script can concern: to try the script, no more than that has to be made.
//
// Lifetime: the database and the changes outlive the constructor, the database also whole().
// Threading: none of its own.
#pragma once

#include <string_view>
#include <unordered_set>
#include <vector>

#include "inventory/compare/changes.h"
#include "inventory/records.h"

namespace kelvane::change_script {

/// Tables, views, procedures and functions are concerned if the script names them in whatever
/// place, or if they use what is concerned; what they need to be created is made too. All other
/// objects are few, and always made. A change of users, groups, roles, messages or segments
/// concerns everything, for anything may refer to them.
class Reach {
 public:
  /// `script` ends `changes` of `target`.
  Reach(const inventory::Database& target, const std::vector<inventory::Change>& changes,
        std::string_view script);

  /// What to make. Objects that are only needed have neither foreign keys nor triggers.
  const inventory::Database& part() const { return part_; }
  /// What the target is when `part` has become `after`: the rest is as it was.
  inventory::Database whole(inventory::Database after) const;

 private:
  const inventory::Database& target_;
  bool isAll_ = false;
  std::unordered_set<const void*> untouched_;  ///< records of the target
  inventory::Database part_;
};

}  // namespace kelvane::change_script
