// kelvane snapshot SIDE
//
// Lifetime and threading: free functions; nothing is kept.
#pragma once

#include <vector>

#include "cli/screen/console.h"
#include "cli/sides/side.h"
#include "cli/words/arguments.h"

namespace kelvane::cli {

std::vector<OptionFamily> snapshotOptions();

// Writes the snapshot to console.out or to a file and
// complaints to console.err. Throws UsageError and CommandError.
ExitStatus runSnapshot(const Arguments& arguments, const Console& console, const OpenSide& open);

}  // namespace kelvane::cli
