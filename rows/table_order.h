// In which order tables get and lose rows, so that no row refers to one that is not there.
//
// Free functions without state.
#pragma once

#include <cstddef>
#include <set>
#include <string>
#include <vector>

#include "inventory/records.h"

namespace kelvane::rows {

struct OrderedTable {
  const inventory::Table* table = nullptr;
  /// Columns of keys that refer to the table itself, or to one that comes later because the keys
  /// go in a circle: rows get null there first.
  std::set<std::string> linked = {};
  std::vector<std::size_t> referring = {};  ///< places of the tables that refer to it
};

/// Whether the key refers to the table.
bool refersTo(const inventory::Database& database, const inventory::ForeignKey& key,
              const inventory::Table& table);

/// The tables that others refer to before those; else in the order of their names.
std::vector<OrderedTable> inOrder(const inventory::Database& database,
                                  std::vector<const inventory::Table*> tables);

}  // namespace kelvane::rows
