// The kelvane command, without the process around it.
//
// Lifetime and threading: a free function; nothing is kept.
#pragma once

#include <span>
#include <string>

#include "cli/screen/console.h"
#include "cli/sides/side.h"

namespace kelvane::cli {

// Runs the command line `arguments` (without the program's name) and returns the exit status. No
// exception escapes.
int run(std::span<const std::string> arguments, const Console& console,
        const OpenSide& open = openSide);

}  // namespace kelvane::cli
