// Statements for the administrator: those that a catalog keeps something of, those that it does
// not, and those that would have to do what this server cannot.
#pragma once

#include "drivers/embedded/engine/frame.h"
#include "drivers/embedded/engine/reporter.h"
#include "drivers/embedded/tsql/ast/administration.h"

namespace kelvane::embedded {

void runUtility(const tsql::Utility& utility, Frame& frame, Reporter& reporter);

}  // namespace kelvane::embedded
