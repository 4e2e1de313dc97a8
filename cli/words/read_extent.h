// What can be compared when a reading ended too early: an object that was not reached must not be
// told as one that is missing.
//
// Lifetime and threading: free functions.
#pragma once

#include <array>
#include <optional>

#include "model/schema.h"
#include "reader/ase_fetch.h"

namespace kelvane::cli {

// Takes from both schemas what one of them does not know in full. No extent: all was read.
void keepComparable(std::array<Schema, 2>& schemas,
                    const std::array<std::optional<ReadExtent>, 2>& extents);

}  // namespace kelvane::cli
