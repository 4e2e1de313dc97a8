// Inventories of the size and the kind of names that large installations have.
#pragma once

#include "inventory/records.h"

namespace kelvane::bench {

// Tables of 20 columns with a primary key and two indexes. In every hundredth table one column has
// another length when `isTarget`.
inventory::Database sampleInventory(int tables, bool isTarget);

}  // namespace kelvane::bench
