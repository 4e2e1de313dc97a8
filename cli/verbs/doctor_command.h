// kelvane doctor SIDE
//
// Lifetime and threading: free functions; nothing is kept.
#pragma once

#include <vector>

#include "cli/screen/console.h"
#include "cli/sides/side.h"
#include "cli/words/arguments.h"

namespace kelvane::cli {

std::vector<OptionFamily> doctorOptions();

// Writes to console.out what a database is read like, and complaints to console.err. Throws
// UsageError and CommandError.
ExitStatus runDoctor(const Arguments& arguments, const Console& console, const OpenSide& open);

}  // namespace kelvane::cli
