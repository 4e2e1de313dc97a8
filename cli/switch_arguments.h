// Which of the switches a command line leaves on, and what each does.
//
// Lifetime and threading: free functions without state.
#pragma once

#include <ostream>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "cli/arguments.h"
#include "settings/comparison_options.h"

namespace kelvane::cli {

// Options that switch something off.
OptionFamily switchOptions();

// All but those that the options switch off. Throws UsageError.
cComparisonOptions switchesOf(const Arguments& arguments);

// The same for a comparison. Databases of one schema differ in how many rows they have, so that
// numbers of rows take part only where options ask for them.
inline constexpr std::string_view kRowCounts = "--row-counts";
cComparisonOptions comparedSwitchesOf(const Arguments& arguments);

// Which of the switches that are on by default are off: "permissions, Tables_Indexes". What belongs
// to one that is off is not repeated.
std::vector<std::string> leftOutBy(const Arguments& arguments);

// A line for each switch: its name and what it does.
void listSwitches(std::ostream& out);

}  // namespace kelvane::cli
