#pragma once

#include <cstddef>

namespace kelvane::bench {

// How many times as long as a join by hand the comparison of two inventories takes.
double inventoryRatioToHandJoin(int tables, std::size_t rounds);

}  // namespace kelvane::bench
