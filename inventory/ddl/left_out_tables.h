// Tables that a script leaves out, and why.
//
// Free functions.
#pragma once

#include <optional>
#include <span>
#include <string>

#include "inventory/ddl/writing.h"

namespace kelvane::inventory {

/// From the first one on that waits for a function all columns are added to the table.
std::span<const Column> laterColumns(const Writing& writing, const Table& table);

std::optional<std::string> reasonToLeaveOut(const Writing& writing, const Table& table);

/// Marks those that foreign keys and logical keys may not refer to.
void leaveOutKeys(Writing& writing, const Table& table);

}  // namespace kelvane::inventory
