// Which of the switches a command line leaves on, and what each does.
//
// Lifetime and threading: free functions without state.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "cli/arguments.h"
#include "settings/comparison_options.h"

namespace kelvane::cli {

// Options that switch something off.
OptionFamily switchOptions();

// All but those that the options switch off. Throws UsageError.
cComparisonOptions switchesOf(const Arguments& arguments);

// Which of the switches that are on by default are off: "permissions, Tables_Indexes". What belongs
// to one that is off is not repeated.
std::vector<std::string> leftOutBy(const cComparisonOptions& switches);

// A line for each switch: its name and what it does.
void listSwitches(std::ostream& out);

}  // namespace kelvane::cli
