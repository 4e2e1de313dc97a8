// Finds the object that somebody names.
//
// Lifetime: what is found refers to the database, which must outlive it unmoved. Threading: free
// functions without state.
#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>

#include "inventory/kinds.h"
#include "inventory/records.h"

namespace kelvane::inventory {

/// "procedure:dbo.p", taken apart.
struct WantedObject {
  std::optional<Kind> kind;  ///< none: of any kind
  std::string name;          ///< or owner.name; of a part also owner.table.name
};
/// A word before a colon that is no kind belongs to the name.
WantedObject wantedObject(std::string_view text);

/// Whether objects of the kind can be found: those of a database, and the parts that have a
/// definition of their own.
constexpr bool canBeFound(Kind kind) {
  return isObject(kind) || kind == Kind::trigger || kind == Kind::check;
}

struct FoundObject {
  using Record = std::variant<const Settings*, const Table*, const View*, const Procedure*,
                              const Function*, const Rule*, const Default*, const UserType*,
                              const User*, const Alias*, const Group*, const Role*,
                              const EncryptionKey*, const Message*, const Trigger*, const Check*>;

  Kind kind;
  std::string name;  ///< with its owner; of a check with its table
  Record record;
  std::string of = {};  ///< "table dbo.t" around a part

  /// "procedure dbo.p"
  std::string shown() const;
};

/// The name under which `show` and `list` know the database itself.
std::string nameOfDatabase(const Database& database);

/// The name stands for nothing, and the message has names that are near it, or for several.
struct NotFound : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// Names are compared as the server of the database does. Throws NotFound.
FoundObject findObject(const Database& database, const WantedObject& wanted);

/// The text that the server keeps for a record; null where records of the kind have none.
const Definition* definitionOf(const FoundObject::Record& record);

}  // namespace kelvane::inventory
