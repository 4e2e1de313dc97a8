// kelvane manual
//
// Lifetime and threading: a free function; nothing is kept.
#pragma once

#include <string_view>

#include "cli/arguments.h"
#include "cli/console.h"
#include "cli/side.h"

namespace kelvane::cli {

// docs/kelvane.1.in, which the build puts into the program.
extern const std::string_view kManualText;

// Writes the manual page. Throws UsageError and CommandError.
ExitStatus runManual(const Arguments& arguments, const Console& console, const OpenSide& open);

}  // namespace kelvane::cli
