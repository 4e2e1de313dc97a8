// Permissions and the granting of roles.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "drivers/embedded/tsql/ast/basics.h"

namespace kelvane::tsql {

/// An action or command in lower case: `select`, `all`, `create table`, `dump database`, ...
struct Privilege {
  std::string name;
  std::vector<std::string> columns;  ///< of `update (a, b)`
};

enum class PermissionAction { Grant, Revoke };

struct Permission {
  PermissionAction action;
  std::vector<Privilege> privileges;
  ObjectName object;                     ///< empty for commands and roles
  std::string database;                  ///< of `grant dbcc checkdb on d`
  std::vector<std::string> columns;      ///< of `on t (a, b)`
  std::vector<std::string> roles;        ///< of `grant role a, b to c`; no privileges then
  std::vector<std::string> grantees;     ///< `@v` for the name in a variable
  std::optional<SourceRange> predicate;  ///< `where a = 1`
  std::string predicateName;             ///< of `as p`
  std::string grantor;                   ///< of `granted by`
  bool grantOption = false;              ///< `with grant option`, or `grant option for` of a revoke
  bool cascade = false;
  bool isBuiltin = false;  ///< `on builtin f`: the object is a function of the server
};

}  // namespace kelvane::tsql
