// `kelvane compare --published`: with the published statements and the published comparison.
//
// Lifetime: what is referred to outlives the call. Threading: one thread.
#pragma once

#include "cli/screen/console.h"
#include "cli/sides/side.h"
#include "cli/words/compare_request.h"

namespace kelvane::cli {

// Throws CommandError.
ExitStatus comparePublished(const CompareRequest& request, const Console& console,
                            const OpenSide& open);

}  // namespace kelvane::cli
