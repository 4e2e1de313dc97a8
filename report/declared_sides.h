// What both sides declare of an object, a row for each attribute and part.
//
// Lifetime and threading: a free function; results own what they hold.
#pragma once

#include <string>
#include <vector>

#include "inventory/compare/changes.h"

namespace kelvane::report {

struct DeclaredRow {
  std::u16string source, target;  // empty: that side has none
};

// Texts of definitions are left out. A part stands beside the same part of the other side, whatever
// is alike elsewhere. What the change does not tell of is on both sides what the source has: it is
// equal, or was not compared.
std::vector<DeclaredRow> declaredSides(const inventory::Change& object);

}  // namespace kelvane::report
