// Files of known differences: --accept and --write-accept.
//
// Lifetime: results own what they hold. Threading: free functions without state.
#pragma once

#include <string>
#include <vector>

#include "cli/console.h"
#include "cli/selection.h"
#include "report/known_differences.h"
#include "report/report_header.h"

namespace kelvane::cli {

// Throws CommandError.
std::vector<KnownDifference> loadKnownDifferences(const std::string& path);

// Takes what is known out of `differences`, notes it, and tells the lines of the file that are of
// no use any more: those that expired and, as far as that can be known, those without a difference.
diffSchema withoutKnown(const diffSchema& differences, const std::vector<KnownDifference>& known,
                        const std::string& path, const Selection& selection, CaseMode names,
                        const Console& console, ReportHeader& header);

}  // namespace kelvane::cli
