// The global variables `@@...` that a session knows.
#pragma once

#include <optional>
#include <string_view>

#include "drivers/embedded/catalog/types.h"
#include "drivers/embedded/store/cell.h"

namespace kelvane::embedded {

/// None when there is no such variable.
std::optional<ColumnType> globalVariableType(std::string_view name);

/// The value of those that never change (`@@version`, `@@ncharsize`, ...); null for the others.
Cell fixedGlobalVariable(std::string_view name);

}  // namespace kelvane::embedded
