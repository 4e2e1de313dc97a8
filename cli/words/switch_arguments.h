// Which of the switches a command line leaves on, and what each does.
//
// Lifetime and threading: free functions without state.
#pragma once

#include <ostream>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "cli/words/arguments.h"
#include "inventory/families.h"
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

// What `compare` leaves out: families of attributes, by one word each.
inline constexpr std::string_view kIgnore = "--ignore";

// The families that are compared. Throws UsageError.
inventory::Families comparedFamiliesOf(const Arguments& arguments);

// The words of the families that are off by an option.
std::vector<std::string> leftOutOf(const Arguments& arguments, const inventory::Families& compared);

// A line for each family: its word and what it stands for.
void listFamilies(std::ostream& out);

// A line for each switch: its name and what it does.
void listSwitches(std::ostream& out);

}  // namespace kelvane::cli
