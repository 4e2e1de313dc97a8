// An inventory as the published Schema: what the published statements would have answered for the
// same database on release 12.5. What they cannot ask for (names with quotes, for example) is there
// too.
//
// Free functions without state.
#pragma once

#include "inventory/records.h"
#include "model/schema.h"
#include "settings/comparison_options.h"

namespace kelvane::inventory {

/// Under the same switches as a fetch. Tables, views, ... are in the order of their owners and
/// names, the parts of a table in that of the inventory: the catalog's numbers, by which the server
/// orders some of them, are not in it.
Schema publish(const Database& database, const cComparisonOptions& options);

}  // namespace kelvane::inventory
