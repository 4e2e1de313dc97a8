// Schemas of the size and the kind of names that large installations have.
#pragma once

#include <cstdint>

#include "model/schema.h"

namespace kelvane::bench {

inline constexpr std::int32_t kColumnsATable = 20;

// Tables of 20 columns with a primary key and two indexes. In every hundredth table one column has
// another length when `isTarget`.
Schema sampleSchema(std::int32_t tables, bool isTarget);

}  // namespace kelvane::bench
