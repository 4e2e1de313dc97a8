// What the statements of a session see besides the catalog: variables and temporary tables.
//
// Plain values.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "drivers/embedded/catalog/catalog.h"
#include "drivers/embedded/store/cell.h"

namespace kelvane::embedded {

struct Variable {
  ColumnType type;
  Cell value;
};
/// By name, with the `@`.
using Variables = std::map<std::string, Variable, std::less<>>;

struct TemporaryTable {
  std::string name;           ///< with its `#`
  std::string sqliteTable;    ///< with its schema, ready for SQL
  std::string sqliteColumns;  ///< what it was created with
  std::vector<ColumnInfo> columns;
  std::vector<std::string> defaults;  ///< `default e` of each column, or empty
  /// Server::definition of all the above: equal tables of equal numbers are interchangeable.
  std::uint64_t definition = 0;
};
using TemporaryTables = std::map<std::string, TemporaryTable, std::less<>>;

}  // namespace kelvane::embedded
