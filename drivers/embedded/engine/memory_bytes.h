// Values as the bytes that the server has for them in memory, as conversions to and from binary
// types and the digests see them.
//
// The server is one for Intel processors: numbers begin with their lowest byte. Money and datetime
// are two such numbers, the higher half or the day first. Numeric and decimal are a sign and a
// number that begins with its highest byte. Pure functions.
#pragma once

#include <optional>

#include "drivers/embedded/catalog/types.h"
#include "drivers/embedded/store/cell.h"

namespace kelvane::embedded {

/// Of each number within a value. Numeric and decimal look alike in both.
enum class ByteOrder { LowFirst, HighFirst };

/// Texts are UTF-8, or UTF-16 where their type is a Unicode one. Not for null.
Blob memoryBytes(const Cell& value, const ColumnType& type, ByteOrder order = ByteOrder::LowFirst);

/// The number, date or Unicode text that begins with these bytes. Missing ones are zero, and what
/// comes behind is left out. None where no value of the type looks so.
std::optional<Cell> valueInMemory(const Blob& bytes, const ColumnType& type);

}  // namespace kelvane::embedded
