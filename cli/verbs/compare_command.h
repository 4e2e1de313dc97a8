// kelvane compare SOURCE TARGET
//
// Lifetime and threading: a free function; nothing is kept.
#pragma once

#include "cli/screen/console.h"
#include "cli/sides/side.h"
#include "cli/words/arguments.h"

namespace kelvane::cli {

// Writes the differences to console.out or to files and
// complaints to console.err. Throws UsageError and CommandError.
ExitStatus runCompare(const Arguments& arguments, const Console& console, const OpenSide& open);

}  // namespace kelvane::cli
