// Shows what is longer than the screen a page at a time, with the program that the user prefers.
//
// Lifetime: results own their text. Threading: free functions; one thread.
#pragma once

#include <functional>
#include <ostream>
#include <string>

#include "cli/screen/console.h"

namespace kelvane::cli {

// The command that KELVANE_PAGER or PAGER has, or less; empty where the user wants none, as "cat"
// says too.
std::string preferredPager();

// Writes to standard output; where that is a terminal on which the text has no room, through
// Console::pager, until the user leaves it. A pager that cannot be started is complained about, and
// the text is written as it is.
void writePaged(const Console& console, const std::function<void(std::ostream& out)>& write);

}  // namespace kelvane::cli
