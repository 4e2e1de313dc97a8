// Statements about objects of any kind.
#pragma once

#include <string>
#include <vector>

#include "drivers/embedded/tsql/ast/basics.h"

namespace kelvane::tsql {

/// `alter table t modify owner u`, `alter view`, ...
struct ModifyOwner {
  std::string kind;  ///< `table`, `view`, ..., `all`; lower case
  ObjectName name;   ///< `*` for all objects of the owner
  std::string newOwner;
  bool preservePermissions = false;
};

enum class DropKind {
  Table,
  View,
  Procedure,
  Function,
  Trigger,
  Rule,
  Default,
  Index,
  Database,
  Role,
  Precomputed,
  Login
};

/// `drop <kind> a, b`. For indexes an entry is table.index: `owner` holds the table of `t.i`, and
/// `database` its owner for `o.t.i`.
struct Drop {
  DropKind kind;
  std::vector<ObjectName> names;
  bool override = false;  ///< `with override`, of roles and logins
};

/// Tables, views and permissions that come to be together. A reference to a table that is created
/// further on is an `alter table` at the end.
struct CreateSchema {
  std::string authorization;
  StatementList statements;
};

}  // namespace kelvane::tsql
