// Clauses that have no place in the catalog.
//
// A free function without state.
#pragma once

#include <string>
#include <vector>

#include "drivers/embedded/tsql/ast/basics.h"

namespace kelvane::embedded {

/// Those of a statement, as a reader of the script would name them: "partition by roundrobin",
/// "with identity_gap", "set ansinull".
std::vector<std::string> ignoredParts(const tsql::Statement& statement);

}  // namespace kelvane::embedded
