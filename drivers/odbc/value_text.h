// Values that drivers give as text because no other form of ODBC has all of their digits.
//
// Threading: free functions without state.
#pragma once

#include <optional>
#include <string_view>

#include "ado/value.h"

namespace kelvane::odbc {

/// "-12.5" with at least `scale` decimals; none for what is no number of up to 38 digits.
std::optional<ado::Decimal> decimalOf(std::string_view text, int scale);

/// "13:05:00.123456", with or without a day before it, which does not count; none for what is no
/// time of day.
std::optional<ado::DateTime> timeOf(std::string_view text);

}  // namespace kelvane::odbc
