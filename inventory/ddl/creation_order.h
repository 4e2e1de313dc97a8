// In which order the objects of a database can be created.
//
// Lifetime: the database outlives it. Threading: none of its own.
#pragma once

#include <unordered_set>
#include <variant>
#include <vector>

#include "inventory/ddl/script.h"
#include "inventory/records.h"

namespace kelvane::inventory {

/// Those of one name, which are one object.
using ProcedureGroup = std::vector<const Procedure*>;

/// An object that has a name of its own and something that creates it.
struct Creation {
  std::variant<const Default*, const Rule*, const UserType*, const EncryptionKey*, const Table*,
               const View*, const Function*, ProcedureGroup>
      record;
  Phase phase;
};

struct CreationOrder {
  std::vector<Creation> all;
  /// Columns and checks of tables that use a function that uses the table: they are added behind
  /// the function.
  std::unordered_set<const void*> late;
};

CreationOrder creationOrder(const Database& database);

}  // namespace kelvane::inventory
