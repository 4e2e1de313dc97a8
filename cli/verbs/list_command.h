// kelvane list SIDE [KIND]
//
// Lifetime and threading: free functions; nothing is kept.
#pragma once

#include <vector>

#include "cli/screen/console.h"
#include "cli/sides/side.h"
#include "cli/words/arguments.h"

namespace kelvane::cli {

std::vector<OptionFamily> listOptions();

// Writes the names of all objects, asking the server for names
// alone, to console.out and complaints to console.err. Throws UsageError and CommandError.
ExitStatus runList(const Arguments& arguments, const Console& console, const OpenSide& open);

}  // namespace kelvane::cli
