// kelvane data SOURCE TARGET, rows by their keys
//
// Lifetime and threading: free functions; nothing is kept.
#pragma once

#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "cli/screen/console.h"
#include "cli/sides/side.h"
#include "cli/sides/tracing_connection.h"
#include "cli/verbs/keyed_comparison.h"
#include "cli/verbs/keyed_report.h"
#include "cli/words/two_sides.h"

namespace kelvane::cli {

// Compares the tables of two sides, which are open but for files of rows: one pair after the other
// of source and target. More pairs than one, of the same places, compare at the same time. Throws
// CommandError for patterns and keys that match no table, and for files that cannot be read.
KeyedReport compareByKey(const KeyedRequest& request, const TwoSides& places,
                         std::span<const std::unique_ptr<Side>> sides, const Console& console);

// A server cuts text and image after 32 kilobytes where nobody asks for more.
void askForWholeTexts(TracingConnection& connection, std::string_view side,
                      std::vector<std::string>& gaps);

}  // namespace kelvane::cli
