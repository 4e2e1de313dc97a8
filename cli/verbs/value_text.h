// Values of rows as text.
//
// Free functions without state.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "rows/table_plan.h"

namespace kelvane::cli {

// Of each column of the plan; none for a null. Exact numbers have the scale that their column
// declares on that side (0: source, 1: target), which packed rows do not keep.
std::vector<std::optional<std::u16string>> textsOf(const rows::TablePlan& plan,
                                                   std::string_view row, std::size_t side);

}  // namespace kelvane::cli
