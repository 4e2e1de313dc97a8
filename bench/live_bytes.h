// The bytes that the program holds on the heap, as its own allocation functions count them.
#pragma once

#include <cstddef>

namespace kelvane::bench {

std::size_t liveBytes();

}  // namespace kelvane::bench
