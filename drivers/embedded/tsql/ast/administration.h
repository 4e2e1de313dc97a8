// Statements for the administrator of a server.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "drivers/embedded/tsql/ast/basics.h"

namespace kelvane::tsql {

/// A statement without effect on a catalog (`checkpoint`, `dump tran`, `update statistics`, ...):
/// its words up to the next statement, in the source range of the statement.
struct Utility {
  std::string verb;         ///< as in the table of utilities, lower case
  std::string object = {};  ///< the name after the verb; empty when something else stands there
  bool hasMore = false;     ///< whether anything stands behind the object
};

/// `create login`; the password is not kept.
struct CreateLogin {
  std::string name;
  std::string fullName;
  std::string database;
  std::string language;
  std::vector<std::string> others;  ///< names of further attributes
};

enum class KeyAction { Create, Alter, Drop };

/// `create`, `alter` and `drop encryption key`; passwords are not kept.
struct EncryptionKey {
  KeyAction action = KeyAction::Create;
  ObjectName name;  ///< `master` and `dual master` are names here
  std::optional<bool> isDefault;
  std::optional<int> bits;  ///< `keylength`
  bool randomPad = false;
  bool randomVector = true;
  bool hasPassword = false;
  bool masterKey = false;
  bool dualControl = false;
  std::string copyFor;  ///< user of `add encryption for user u`, `drop encryption for user u`
  bool addsCopy = false;
  std::string newOwner;             ///< of `modify owner`
  std::vector<std::string> others;  ///< `recover encryption`, ... of no trace
};

}  // namespace kelvane::tsql
