// What stays for the session: options, transactions, database and user.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace kelvane::tsql {

/// `set <name> <values>`. Both in lower case unless a value was a string, a variable or an object:
/// `nocount` `on`; `identity_insert` `dbo.t` `on`; `transaction` `isolation` `level` `1`.
struct SetOption {
  std::vector<std::string> names;  ///< several in `set arithabort, nocount on`
  std::vector<std::string> values;
};

enum class TransactionAction { Begin, Commit, Rollback, Save };

struct Transaction {
  TransactionAction action;
  std::string name;  ///< also `@v`
};

struct UseDatabase {
  std::string database;
};

/// `setuser` without a name goes back to the login's own user.
struct SetUser {
  std::optional<std::string> user;
};

}  // namespace kelvane::tsql
