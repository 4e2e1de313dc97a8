// kelvane compare SOURCE TARGET
//
// Lifetime and threading: a free function; nothing is kept.
#pragma once

#include <span>
#include <string>

#include "cli/console.h"
#include "cli/side.h"

namespace kelvane::cli {

// `words`: what stands behind "compare". Writes the differences to console.out and complaints to
// console.err. Throws UsageError.
ExitStatus runCompare(std::span<const std::string> words, const Console& console,
                      const OpenSide& open);

}  // namespace kelvane::cli
