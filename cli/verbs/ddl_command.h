// kelvane ddl SIDE
//
// Lifetime and threading: free functions; nothing is kept.
#pragma once

#include <vector>

#include "cli/screen/console.h"
#include "cli/sides/side.h"
#include "cli/words/arguments.h"

namespace kelvane::cli {

std::vector<OptionFamily> ddlOptions();

// Writes T-SQL to console.out or to the files of a folder. Throws UsageError and CommandError.
ExitStatus runDdl(const Arguments& arguments, const Console& console, const OpenSide& open);

}  // namespace kelvane::cli
