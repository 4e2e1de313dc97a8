// kelvane completion SHELL
//
// Lifetime and threading: free functions; nothing is kept.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "cli/screen/console.h"
#include "cli/sides/side.h"
#include "cli/words/arguments.h"

namespace kelvane::cli {

// What the command takes: shells, and a word that their scripts ask.
std::vector<std::string> completionOperands();

// Writes the script that completes command lines in a shell, or the names of the sides that
// kelvane.toml describes, a line each. Throws UsageError and CommandError.
ExitStatus runCompletion(const Arguments& arguments, const Console& console, const OpenSide& open);

}  // namespace kelvane::cli
