// Which objects a stored definition uses, as its text says: what sysdepends is made of.
//
// A free function without state.
#pragma once

#include <vector>

#include "drivers/embedded/catalog/catalog.h"
#include "drivers/embedded/tsql/ast/basics.h"

namespace kelvane::embedded {

/// Of a view, procedure, function or trigger, its body included; each object once, in the order of
/// its first appearance. Temporary tables, the tables of a trigger's rows and texts that are made
/// at run time are left out.
std::vector<UsedObject> usedObjects(const tsql::Statement& definition);

}  // namespace kelvane::embedded
