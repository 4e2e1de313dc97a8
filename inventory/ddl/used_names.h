// Names in texts, and the order of objects whose texts name one another.
//
// Free functions without state.
#pragma once

#include <cstddef>
#include <functional>
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
  bool isCall = false;  ///< of a function
};

/// Calls visit(object) for each table, view and function that T-SQL text names as one. Columns and
/// aliases of the same name are none.
void forEachObject(std::string_view text, bool quotedIdentifier,
                   const std::function<void(const UsedObject&)>& visit);

struct NamedText {
  std::string_view name;  ///< without the owner
  std::string_view text;
  bool quotedIdentifier = false;
};

/// The indexes of `texts`: those that a text names come before it, otherwise they stay in their
/// order, as do those that name one another in a circle.
std::vector<std::size_t> inOrderOfUse(const std::vector<NamedText>& texts, bool ignoresCase);

}  // namespace kelvane::inventory
