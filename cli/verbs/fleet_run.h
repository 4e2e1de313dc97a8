// Compares many databases with one reference, several at the same time.
//
// Lifetime: what it is made with outlives the call. Threading: one thread calls; targets are
// opened, read and compared by others.
#pragma once

#include "cli/screen/console.h"
#include "cli/verbs/fleet_result.h"
#include "cli/words/fleet_request.h"

namespace kelvane::cli {

// Asks for the passwords that are wanting before anything is opened. The reference is read once; no
// target stops the others. Throws CommandError where the reference cannot be read.
FleetResult compareFleet(const FleetRequest& request, const Console& console, const OpenSide& open);

}  // namespace kelvane::cli
