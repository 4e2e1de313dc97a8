// `kelvane compare --published`: with the published statements and the published comparison.
//
// Lifetime: what is referred to outlives the call. Threading: one thread.
#pragma once

#include "cli/compare_request.h"
#include "cli/console.h"
#include "cli/side.h"

namespace kelvane::cli {

// Throws CommandError.
ExitStatus comparePublished(const CompareRequest& request, const Console& console,
                            const OpenSide& open);

}  // namespace kelvane::cli
