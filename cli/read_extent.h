// How far a reading has come, and what can be compared when one ended too early: an object that was
// not reached must not be told as one that is missing.
//
// Lifetime and threading: plain values and free functions.
#pragma once

#include <array>
#include <optional>

#include "model/schema.h"

namespace kelvane::cli {

// Categories count in the order in which the reader takes them.
struct ReadExtent {
  int categories = 0;   // that were read wholly
  bool listed = false;  // whether the names of the next one are known
  int objects = 0;      // how many of its objects were read wholly
};

// Takes from both schemas what one of them does not know in full. No extent: all was read.
void keepComparable(std::array<Schema, 2>& schemas,
                    const std::array<std::optional<ReadExtent>, 2>& extents);

}  // namespace kelvane::cli
