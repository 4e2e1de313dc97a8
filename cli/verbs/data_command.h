// kelvane data SOURCE TARGET
//
// Lifetime and threading: free functions; nothing is kept.
#pragma once

#include <vector>

#include "cli/screen/console.h"
#include "cli/sides/side.h"
#include "cli/words/arguments.h"

namespace kelvane::cli {

std::vector<OptionFamily> dataOptions();

// Compares the rows of the tables of two databases, writes what
// became of each table to console.out and complaints to console.err. Throws UsageError and
// CommandError.
ExitStatus runData(const Arguments& arguments, const Console& console, const OpenSide& open);

}  // namespace kelvane::cli
