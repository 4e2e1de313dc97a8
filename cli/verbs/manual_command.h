// kelvane manual
//
// Lifetime and threading: a free function; nothing is kept.
#pragma once

#include <string_view>

#include "cli/screen/console.h"
#include "cli/sides/side.h"
#include "cli/words/arguments.h"

namespace kelvane::cli {

// docs/kelvane.1.in, which the build puts into the program.
extern const std::string_view kManualText;

// Writes the manual page. Throws UsageError and CommandError.
ExitStatus runManual(const Arguments& arguments, const Console& console, const OpenSide& open);

}  // namespace kelvane::cli
