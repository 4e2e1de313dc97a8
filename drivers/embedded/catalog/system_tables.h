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

/// The system tables of one release.
class SystemTables {
 public:
  /// None: all that any later release has.
  static const SystemTables& of(std::optional<Release> release);

  /// In order of id.
  const std::vector<SystemTable>& all() const { return all_; }
  /// Null if there is none.
  const SystemTable* find(std::string_view name) const;
  const SystemTable* find(int id) const;

 private:
  explicit SystemTables(std::optional<Release> release);

  std::vector<SystemTable> all_;
};

/// What SQLite sees of a system table, under any name.
VirtualTable virtualTable(const SystemTable& table, std::string name,
                          std::function<RowSource&()> source);

/// What a fresh server has in master, whose tables are there.
void fillMaster(Database& store, const CatalogOptions& options);
/// What a fresh database has.
void fillDatabase(SystemRecords& records, const SystemTables& tables,
                  const CatalogOptions& options);

/// The time as a datetime value, to the millisecond, in UTC.
std::int64_t currentTime();

namespace database_status {
inline constexpr int kDdlInTran = 512;    ///< "ddl in tran"
inline constexpr int kAllowNulls = 8192;  ///< "allow nulls by default"
}  // namespace database_status

inline constexpr int kLargestSystemType = 100;  ///< user types are numbered above it
inline constexpr int kFirstGroupUid = 16384;

}  // namespace kelvane::embedded
