// Statements that read and write rows.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "drivers/embedded/tsql/ast/basics.h"
#include "drivers/embedded/tsql/ast/calls.h"
#include "drivers/embedded/tsql/ast/queries.h"

namespace kelvane::tsql {

/// Also an assignment (all items have a variable) and `select ... into`.
struct SelectStatement {
  QueryPtr query;
};

struct InsertValues {
  std::vector<ExprPtr> values;
};
struct InsertDefaults {};

struct Insert {
  ObjectName table;
  std::vector<std::string> columns;
  std::variant<InsertValues, InsertDefaults, QueryPtr> source;
};

/// `[qualifier.]column = value` or `@v = value`.
struct Assignment {
  ObjectName qualifier;
  std::string column;
  std::string variable;
  ExprPtr value;
  SourceRange range;
};

/// The target may be an alias of the from list.
struct Update {
  ObjectName target;
  std::optional<std::uint64_t> top;
  std::vector<Assignment> assignments;
  std::vector<TableRefPtr> from;
  ExprPtr where;
  std::string currentOf;  ///< cursor of `where current of`
};

struct Delete {
  ObjectName target;
  std::optional<std::uint64_t> top;
  std::vector<TableRefPtr> from;
  ExprPtr where;
  std::string currentOf;
};

struct Truncate {
  ObjectName table;
  std::string partition;  ///< empty for all
};

/// What `merge` does with the rows of its source that match, or do not match, one of its target.
struct MergeClause {
  bool matched = false;
  ExprPtr condition;                    ///< `and ...`; may be null
  std::vector<Assignment> assignments;  ///< of an update
  std::vector<std::string> columns;     ///< of an insert
  std::vector<ExprPtr> values;          ///< of an insert; none for update and delete

  bool inserts() const { return !matched; }
  bool deletes() const { return matched && assignments.empty(); }
};

struct Merge {
  NamedTable target;
  TableRefPtr source;
  ExprPtr on;
  std::vector<MergeClause> clauses;
};

}  // namespace kelvane::tsql
