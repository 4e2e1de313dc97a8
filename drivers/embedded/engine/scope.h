// The tables that a query can name, and how its column names find them.
//
// A scope refers to the scope around it, which must outlive it.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "drivers/embedded/catalog/types.h"
#include "drivers/embedded/tsql/ast/expressions.h"

namespace kelvane::embedded {

struct SourceColumn {
  std::string name;
  ColumnType type;
  std::string sqliteColumn;   ///< ready for SQL but for the alias of its table
  std::string computed = {};  ///< instead of that: SQL as it stands
};
using SourceColumns = std::vector<SourceColumn>;

/// One entry of a from list.
struct Source {
  std::string exposedName;     ///< its alias, else its table's name
  std::string owner;           ///< as written; only columns of a table without alias may repeat it
  std::string database = {};   ///< of a table without alias
  bool namesDatabase = false;  ///< whether the from list says so
  std::string sqlAlias;
  std::string sqliteTable;  ///< empty for views and derived tables
  bool hasRowids = false;   ///< a table of the store itself
  std::shared_ptr<const SourceColumns> columns;

  const SourceColumn* find(std::string_view column) const;
  std::string sqlOf(const SourceColumn& column) const {
    return column.computed.empty() ? sqlAlias + "." + column.sqliteColumn : column.computed;
  }
};

struct Scope;

struct FoundColumn {
  std::size_t source;  ///< in the scope where it was found
  const Scope* home;   ///< that scope
  bool isOuter;        ///< in a scope around the one that was asked
  const SourceColumn* column;
  std::string sql;
};

/// Where the expression stands that is translated, which decides whether it may aggregate the rows.
enum class Clause { Other, Where, GroupBy, Having, Set, Definition };

/// What the select list of a query with groups asks of them. It may name columns that a group does
/// not have one value of; the result then has the rows of the table, each with what is computed for
/// its group, which a query of its own computes.
struct Grouping {
  std::vector<std::string> keys;         ///< as SQL
  std::vector<std::string> expressions;  ///< those keys that are no columns, with texts written out
  std::string rowColumn;                 ///< a column that was named and is no key
  bool isJoined = false;                 ///< aggregates are those of the query of the groups
  std::string alias;                     ///< of that query
  std::vector<std::string> aggregates;   ///< its columns a1, a2, ...
};

struct Scope {
  const Scope* outer = nullptr;
  std::vector<Source> sources = {};
  Clause clause = Clause::Other;
  Grouping* grouping = nullptr;  ///< null without groups

  /// The scope, this or one around it, that a reference leads to; null if there is none.
  const Scope* home(const tsql::ColumnRef& reference) const;

  /// From the inside out. Throws 107 (no such prefix), 207 (no such column), 209 (several).
  FoundColumn resolve(const tsql::ColumnRef& reference, std::uint32_t line) const;
  /// The source that a prefix (or the `t` of `t.*`) names, in this scope alone.
  std::optional<std::size_t> sourceNamed(const tsql::ObjectName& prefix) const;
};

}  // namespace kelvane::embedded
