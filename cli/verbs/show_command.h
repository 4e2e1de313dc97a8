// kelvane show SIDE [OBJECT]
//
// Lifetime and threading: free functions; nothing is kept.
#pragma once

#include <vector>

#include "cli/screen/console.h"
#include "cli/sides/side.h"
#include "cli/words/arguments.h"

namespace kelvane::cli {

std::vector<OptionFamily> showOptions();

// Writes the objects of a database, or what one of them
// consists of or its definition, to console.out and complaints to console.err. Throws UsageError
// and CommandError.
ExitStatus runShow(const Arguments& arguments, const Console& console, const OpenSide& open);

}  // namespace kelvane::cli
