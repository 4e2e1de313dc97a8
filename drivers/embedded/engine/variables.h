// What the statements of a session see besides the catalog: variables and temporary tables.
//
// Plain values.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "drivers/embedded/catalog/catalog.h"
#include "drivers/embedded/catalog/keys.h"
#include "drivers/embedded/engine/row_rules.h"
#include "drivers/embedded/store/cell.h"

namespace kelvane::embedded {

struct Variable {
  ColumnType type;
  Cell value;
};
/// By name, with the `@`.
using Variables = std::map<std::string, Variable, std::less<>>;

struct TemporaryIndex {
  std::string name;
  std::string sqliteIndex;  ///< with its schema, ready for SQL
  std::string violation;    ///< how SQLite's complaint about a duplicate ends
  Differing differing = Differing::keys;
  bool isConstraint = false;
};

struct TemporaryTable {
  std::string name;           ///< with its `#`; or `inserted` or `deleted`
  std::string sqliteTable;    ///< with its schema, ready for SQL
  std::string sqliteColumns;  ///< what it was created with
  std::vector<ColumnInfo> columns;
  std::vector<std::string> defaults;  ///< `default e` of each column, or empty
  std::vector<std::string> checks;    ///< their texts
  bool allPages = true;               ///< the lock scheme under which rows of an index must differ
  std::shared_ptr<const RowRules> rules = std::make_shared<const RowRules>();  ///< the checks
  std::vector<TemporaryIndex> indexes;
  /// Server::definition of all the above but indexes: equal tables of equal numbers are
  /// interchangeable.
  std::uint64_t definition = 0;
};
using TemporaryTables = std::map<std::string, TemporaryTable, std::less<>>;

}  // namespace kelvane::embedded
