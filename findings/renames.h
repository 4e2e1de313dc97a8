// Objects of two inventories that are probably one under two names: what a comparison cannot tell.
//
// Free functions. Threading: none; the databases are only read.
#pragma once

#include <vector>

#include "findings/rename.h"
#include "inventory/compare/changes.h"
#include "inventory/records.h"

namespace kelvane::findings {

/// Pairs tables, views, procedures, functions, rules, defaults and types that `changes` has on one
/// side only, where their contents (without own names, numbers of rows and permissions) are equal
/// and of no other, or where at least 80% of their lines are equal. Lines count the less, the more
/// objects have them.
std::vector<Rename> probableRenames(const std::vector<inventory::Change>& changes,
                                    const inventory::Database& source,
                                    const inventory::Database& target);

}  // namespace kelvane::findings
