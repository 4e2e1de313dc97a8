// kelvane script SOURCE TARGET
//
// Lifetime and threading: free functions; nothing is kept.
#pragma once

#include <vector>

#include "cli/screen/console.h"
#include "cli/sides/side.h"
#include "cli/words/arguments.h"

namespace kelvane::cli {

std::vector<OptionFamily> scriptOptions();

// Throws UsageError and CommandError.
ExitStatus runScript(const Arguments& arguments, const Console& console, const OpenSide& open);

}  // namespace kelvane::cli
