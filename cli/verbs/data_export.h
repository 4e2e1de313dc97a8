// kelvane data SIDE --export FOLDER
//
// Lifetime and threading: free functions; nothing is kept.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "cli/screen/console.h"
#include "cli/sides/side.h"
#include "cli/words/arguments.h"

namespace kelvane::cli {

inline constexpr std::string_view kExport = "--export";

// Writes the rows of a side's tables to files of a folder, the same bytes for equal rows. Complains
// about what could not be written: status 3. Throws UsageError and CommandError.
ExitStatus runExport(const Arguments& arguments, const std::vector<std::u16string>& patterns,
                     const Console& console, const OpenSide& open);

}  // namespace kelvane::cli
