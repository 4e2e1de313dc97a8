// T-SQL that a user writes into a statement of ours: it may read, and nothing else.
//
// Free functions without state.
#pragma once

#include <string>
#include <string_view>

namespace kelvane::cli {

// Why a text is not one select that returns rows, or not one condition; empty: it is.
std::string whyNoSelect(std::string_view text);
std::string whyNoCondition(std::string_view text);

}  // namespace kelvane::cli
