// kelvane fleet REFERENCE TARGET...
//
// Lifetime and threading: a free function; nothing is kept.
#pragma once

#include "cli/screen/console.h"
#include "cli/words/arguments.h"
#include "cli/words/place.h"

namespace kelvane::cli {

ExitStatus runFleet(const Arguments& arguments, const Console& console, const OpenSide& open);

}  // namespace kelvane::cli
