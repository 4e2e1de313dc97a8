// Reads the file of a snapshot.
//
// A free function without state.
#pragma once

#include "cli/words/place.h"
#include "inventory/records.h"

namespace kelvane::cli {

// Throws CommandError for a file that cannot be read, or is no snapshot.
inventory::Database loadSnapshot(const SnapshotPlace& place);

}  // namespace kelvane::cli
