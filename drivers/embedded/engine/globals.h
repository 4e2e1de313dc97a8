// The global variables `@@...`: one table that says what each is, since when, and what it holds.
#pragma once

#include <optional>
#include <string_view>

#include "drivers/embedded/catalog/types.h"
#include "drivers/embedded/options.h"
#include "drivers/embedded/store/cell.h"

namespace kelvane::embedded {

class Session;

/// In any letter case. None when the release has no such variable.
std::optional<ColumnType> globalVariableType(std::string_view name, const CatalogOptions& options);

/// The value of one that there is.
Cell globalVariable(std::string_view name, const Session& session);

}  // namespace kelvane::embedded
