// The system tables: their columns, and the rows that a fresh database has.
//
// The description is constant; createSystemTables writes to the database it is given.
#pragma once

#include <cstdint>
#include <functional>
#include <string_view>
#include <vector>

#include "drivers/embedded/catalog/catalog.h"

namespace kelvane::embedded {

struct SystemTable {
  std::string_view name;
  int id = 0;
  bool inMaster = false;  ///< has no row in sysobjects of a user database
  std::vector<NamedColumn> columns;
};

/// In order of id.
const std::vector<SystemTable>& systemTables();
const SystemTable* findSystemTable(std::string_view name);
const SystemTable* findSystemTable(int id);

/// Where the rows of a system table are.
using SystemSource = std::function<RowSource&(const SystemTable& table)>;

/// Makes the system tables of SQL over their rows, and writes what a fresh database has.
void createSystemTables(Database& store, const CatalogOptions& options, const SystemSource& source);

/// The time as a datetime value, to the millisecond, in UTC.
std::int64_t currentTime();

namespace database_status {
inline constexpr int kAllowNulls = 8192;  ///< "allow nulls by default"
}

inline constexpr int kLargestSystemType = 100;  ///< user types are numbered above it
inline constexpr int kFirstGroupUid = 16384;

}  // namespace kelvane::embedded
