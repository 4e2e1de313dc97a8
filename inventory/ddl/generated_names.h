// T-SQL that finds a constraint whose name the server made, by what it says.
//
// Free functions.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "inventory/records.h"

namespace kelvane::inventory {

/// What a statement that needs the name stands behind, and how it names the constraint: a variable,
/// or a literal for a name that was given.
struct NameInBatch {
  std::string before = {};
  std::string argument = {};
  std::optional<std::string> given = {};  ///< the name, if it is known
  std::string from = {};  ///< where all that say the same are found, if the name is not known
};

NameInBatch nameInBatch(const Index& index);
/// Those of `table` and of `other` that have names of their own are not meant; `other`: the same
/// table as it was, or as it will be.
NameInBatch nameInBatch(const Table& table, const KeyConstraint& key, const Table* other = nullptr);
/// Of several that say the same: one that no message is bound to yet.
NameInBatch nameInBatch(const Table& table, const ForeignKey& key, const Table* other = nullptr);
NameInBatch nameInBatch(const Table& table, const Check& check, const Table* other = nullptr);

/// Whether what one of them says is what the other says; names do not count.
bool areAlike(const KeyConstraint& a, const KeyConstraint& b);
bool areAlike(const ForeignKey& a, const ForeignKey& b);
bool areAlike(const Check& a, const Check& b);
inline const std::vector<KeyConstraint>& allOf(const Table& table, const KeyConstraint&) {
  return table.keys;
}
inline const std::vector<ForeignKey>& allOf(const Table& table, const ForeignKey&) {
  return table.foreignKeys;
}
inline const std::vector<Check>& allOf(const Table& table, const Check&) { return table.checks; }

}  // namespace kelvane::inventory
