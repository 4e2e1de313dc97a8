// What of a database uses defaults, rules, types and keys, and what belongs to whom: found once,
// not anew for each object that changes.
//
// Lifetime: the database outlives it unmoved. Threading: plain values.
#pragma once

#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "inventory/records.h"

namespace kelvane::change_script {

struct UsingColumn {
  const inventory::Table* table;
  const inventory::Column* column;
};

class ObjectUses {
 public:
  explicit ObjectUses(const inventory::Database& database);

  /// Columns to which the default or rule is bound, or that are encrypted with the key.
  const std::vector<UsingColumn>& columnsWith(const inventory::QualifiedName& object) const;
  /// A type may have the name of an object.
  const std::vector<UsingColumn>& columnsOfType(const inventory::QualifiedName& type) const;
  /// Types to which a default or rule is bound.
  const std::vector<const inventory::UserType*>& typesWith(
      const inventory::QualifiedName& object) const;
  /// None: there is no such table.
  const inventory::Table* table(const std::string& owner, const std::string& name) const;
  bool hasName(const std::string& owner, const std::string& name) const;
  const std::vector<const void*>& recordsOf(const std::string& owner) const;
  const std::vector<const inventory::User*>& usersOf(const std::string& group) const;
  /// What the user, group or role has a right on; none stands for the database.
  const std::vector<const void*>& rightsOf(const std::string& grantee) const;

 private:
  template <class Value>
  using ByName = std::unordered_map<std::string, std::vector<Value>>;
  ByName<UsingColumn> columns_, columnsOfTypes_;
  ByName<const inventory::UserType*> types_;
  std::unordered_map<std::string, const inventory::Table*> tables_;
  ByName<const void*> records_, rights_;
  std::unordered_set<std::string> names_;
  ByName<const inventory::User*> users_;
};

/// The procedures of each group, which have one name.
class ProcedureGroups {
 public:
  explicit ProcedureGroups(const inventory::Database& database);
  const std::vector<const inventory::Procedure*>& named(const inventory::QualifiedName& name) const;

 private:
  std::unordered_map<std::string, std::vector<const inventory::Procedure*>> groups_;
};

}  // namespace kelvane::change_script
