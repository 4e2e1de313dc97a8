// The lines of a list of known differences: their words, and how they are read.
//
// Lifetime: results own what they hold. Threading: free functions without state.
#pragma once

#include <chrono>
#include <string>
#include <string_view>

#include "report/known_differences.h"

namespace kelvane::report {

// Stands in place of two values that may be any.
inline constexpr std::string_view kAnyValues = "*";

// The reason of a difference that nobody has given one for.
inline constexpr std::string_view kNoReason = "not explained yet";

// A name or value as it stands in a line.
std::string textToken(std::u16string_view text);

std::string dateText(std::chrono::year_month_day date);

// A line that says something. Throws KnownDifferencesError without the line's number.
KnownDifference readKnownLine(std::string_view line);

}  // namespace kelvane::report
