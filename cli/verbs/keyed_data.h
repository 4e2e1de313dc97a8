// kelvane data SOURCE TARGET, rows by their keys
//
// Lifetime and threading: free functions; nothing is kept.
#pragma once

#include <array>
#include <memory>
#include <span>
#include <string>

#include "cli/screen/console.h"
#include "cli/sides/side.h"
#include "cli/verbs/keyed_comparison.h"
#include "cli/verbs/keyed_report.h"

namespace kelvane::cli {

// Compares the tables of two open sides. Throws CommandError for patterns and keys that match no
// table.
KeyedReport compareByKey(const KeyedRequest& request, std::span<const std::unique_ptr<Side>> sides,
                         const std::array<std::string, 2>& shown, const Console& console);

}  // namespace kelvane::cli
