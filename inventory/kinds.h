// The kinds of objects that a database has, and of the parts that objects have.
//
// Constants and free functions. attributes.h says which record a kind has.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "inventory/families.h"

namespace kelvane::inventory {

enum class Kind : std::uint8_t {
  // Objects, in the order of reports.
  database,
  table,
  view,
  procedure,
  function,
  rule,
  defaultObject,
  type,
  user,
  alias,
  group,
  role,
  encryptionKey,
  message,
  // Parts of objects.
  column,
  key,
  foreignKey,
  check,
  index,
  partition,
  trigger,
  logicalKey,
  parameter,
  permission,
  option,
  segment,
  threshold,
};
inline constexpr std::size_t kKindCount = static_cast<std::size_t>(Kind::threshold) + 1;

struct KindRow {
  Kind kind;
  std::string_view singular, plural;
  Family family = Family::always;  ///< what leaves all of its kind out
};

inline constexpr std::array<KindRow, kKindCount> kKinds{{
    {Kind::database, "database", "databases"},
    {Kind::table, "table", "tables"},
    {Kind::view, "view", "views"},
    {Kind::procedure, "procedure", "procedures"},
    {Kind::function, "function", "functions"},
    {Kind::rule, "rule", "rules", Family::rules},
    {Kind::defaultObject, "default", "defaults", Family::defaults},
    {Kind::type, "type", "types"},
    {Kind::user, "user", "users", Family::users},
    {Kind::alias, "alias", "aliases", Family::aliases},
    {Kind::group, "group", "groups", Family::users},
    {Kind::role, "role", "roles", Family::roles},
    {Kind::encryptionKey, "encryption key", "encryption keys", Family::encryption},
    {Kind::message, "message", "messages", Family::messages},
    {Kind::column, "column", "columns"},
    {Kind::key, "constraint", "constraints", Family::keys},
    {Kind::foreignKey, "foreign key", "foreign keys", Family::foreignKeys},
    {Kind::check, "check", "checks", Family::checks},
    {Kind::index, "index", "indexes", Family::indexes},
    {Kind::partition, "partition", "partitions", Family::partitions},
    {Kind::trigger, "trigger", "triggers", Family::triggers},
    {Kind::logicalKey, "logical key", "logical keys", Family::logicalKeys},
    {Kind::parameter, "parameter", "parameters"},
    {Kind::permission, "permission", "permissions", Family::permissions},
    {Kind::option, "option", "options", Family::options},
    {Kind::segment, "segment", "segments", Family::segments},
    {Kind::threshold, "threshold", "thresholds", Family::thresholds},
}};

constexpr const KindRow& rowOf(Kind kind) { return kKinds[static_cast<std::size_t>(kind)]; }

/// Whether objects of the kind stand alone in a database.
constexpr bool isObject(Kind kind) { return kind < Kind::column; }

/// A kind in one word, as on command lines and in files: "foreign-key".
std::string wordOf(Kind kind);
/// The kind of objects that the word stands for.
std::optional<Kind> objectKindOf(std::string_view word);
/// "table, view, ... or message"
std::string objectKindWords();

}  // namespace kelvane::inventory
