// T-SQL that finds a constraint whose name the server made, by what it says.
//
// Free functions.
#pragma once

#include <optional>
#include <string>

#include "inventory/records.h"

namespace kelvane::inventory {

/// What a statement that needs the name stands behind, and how it names the constraint: a variable,
/// or a literal for a name that was given.
struct NameInBatch {
  std::string before = {};
  std::string argument = {};
  std::optional<std::string> given = {};  ///< the name, if it is known
};

NameInBatch nameInBatch(const Index& index);
NameInBatch nameInBatch(const Table& table, const KeyConstraint& key);
/// Of several that say the same: one that no message is bound to yet.
NameInBatch nameInBatch(const Table& table, const ForeignKey& key);
NameInBatch nameInBatch(const Table& table, const Check& check);

}  // namespace kelvane::inventory
