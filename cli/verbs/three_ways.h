// Compares two databases with what both come from.
//
// Lifetime: what it is called with outlives the call. Threading: one thread calls.
#pragma once

#include "cli/screen/console.h"
#include "cli/sides/side.h"
#include "cli/words/compare_request.h"

namespace kelvane::cli {

// Of a request with a base. Throws CommandError.
ExitStatus compareThreeWays(const CompareRequest& request, const Console& console,
                            const OpenSide& open);

}  // namespace kelvane::cli
