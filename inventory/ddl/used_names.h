// Names in texts, and the order of objects whose texts name one another.
//
// Free functions without state.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kelvane::inventory {

/// Calls visit(name) for each name in T-SQL text; comments and strings have none.
void forEachName(std::string_view text, bool quotedIdentifier,
                 const std::function<void(std::string_view)>& visit);

/// As a text names it; what it leaves out is empty.
struct UsedObject {
  std::string_view database, owner, name;
  bool isCall = false;      ///< of a function
  bool isBehindOn = false;  ///< maybe a column of a join
};

/// Calls visit(object) for each table, view and function that T-SQL text names as one. Columns and
/// aliases of the same name are none.
void forEachObject(std::string_view text, bool quotedIdentifier,
                   const std::function<void(const UsedObject&)>& visit);

/// What `create view dbo.v` at the begin of a text creates.
std::optional<UsedObject> createdObject(std::string_view text, bool quotedIdentifier);

/// Calls visit(variable, type) for each variable or parameter that a name or another word follows,
/// as its type does where it is declared.
void forEachDeclaration(
    std::string_view text, bool quotedIdentifier,
    const std::function<void(std::string_view variable, std::string_view type)>& visit);

struct NamedText {
  std::string_view name;  ///< without the owner
  std::string_view text;
  bool quotedIdentifier = false;
};

/// The indexes of `texts`: those that a text names come before it, otherwise they stay in their
/// order, as do those that name one another in a circle.
std::vector<std::size_t> inOrderOfUse(const std::vector<NamedText>& texts, bool ignoresCase);

}  // namespace kelvane::inventory
