// In which order tables get and lose rows, so that no row refers to one that is not there.
//
// Free functions without state.
#pragma once

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <utility>
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

/// Tables of a database by what foreign keys call them.
class ReferencedTables {
 public:
  ReferencedTables(const inventory::Database& database,
                   const std::vector<const inventory::Table*>& tables);
  /// The one that the key refers to; none for one that is elsewhere.
  const inventory::Table* find(const inventory::ForeignKey& key) const;

 private:
  const inventory::Database& database_;
  std::map<std::pair<std::string, std::string>, const inventory::Table*> tables_;
};

/// The tables that others refer to before those; else in the order of their names.
std::vector<OrderedTable> inOrder(const inventory::Database& database,
                                  std::vector<const inventory::Table*> tables);

}  // namespace kelvane::rows
