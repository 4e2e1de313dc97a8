// One value of a row: what the store holds, what results carry.
//
// Dates and times are integers, microseconds since 1900-01-01 00:00 (negative before it; a `time`
// counts from midnight), so that they compare and sort as numbers. Text is UTF-8 without the
// padding of fixed-width columns.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <variant>
#include <vector>

namespace kelvane::embedded {

using Blob = std::vector<std::byte>;
using Null = std::monostate;
using Cell = std::variant<Null, std::int64_t, double, std::string, Blob>;

inline bool isNull(const Cell& cell) { return std::holds_alternative<Null>(cell); }

}  // namespace kelvane::embedded
