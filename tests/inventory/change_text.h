// Differences as short lines, for expectations.
#pragma once

#include <string>
#include <vector>

#include "inventory/compare/changes.h"

namespace kelvane::inventory {

/// "table dbo.t > column a: int null -> int not null", one for each difference.
std::vector<std::string> lines(const std::vector<Change>& changes);

}  // namespace kelvane::inventory
