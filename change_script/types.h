// What may happen to values whose column gets another type.
//
// Free functions without state.
#pragma once

#include <cstdint>
#include <vector>

#include "change_script/steps.h"
#include "inventory/records.h"

namespace kelvane::change_script {

/// Both types by what they are stored as: user-defined ones by their base.
std::vector<Danger> dangersOf(const inventory::ColumnType& was, const inventory::ColumnType& is);

/// Kinds of values that are alike.
enum class ValueKind : std::uint8_t { number, moment, text, longText, bytes, image };
ValueKind kindOf(const inventory::DataType& type);

/// Whether the server has a conversion for it.
bool converts(const inventory::ColumnType& was, const inventory::ColumnType& is);

/// Whether the server copies the rows of the table for it.
bool copiesData(const inventory::ColumnType& was, const inventory::ColumnType& is);

/// A value that rows get in a column that must have one: 0, '', ...
std::string placeholderOf(const inventory::DataType& type);

}  // namespace kelvane::change_script
