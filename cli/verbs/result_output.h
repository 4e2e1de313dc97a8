// Writes what was found into the files of programs that collect results.
//
// Lifetime and threading: free functions; nothing is kept.
#pragma once

#include <string>
#include <vector>

#include "cli/screen/console.h"
#include "cli/verbs/comparison.h"
#include "cli/verbs/fleet_result.h"
#include "cli/verbs/report_output.h"
#include "cli/words/result_files.h"
#include "report/collected_reports.h"

namespace kelvane::cli {

// What a comparison has found. `source`: what its lines call the source.
ComparedTarget comparedTarget(const Comparison& comparison, std::u16string_view source);

// The kinds of objects that a comparison by these rules looks at.
std::vector<inventory::Kind> comparedKinds(const inventory::Rules& rules);

// As reports call what scripts made; what is no object of a database is left out.
std::vector<report::ScriptLocation> locationsOf(const std::vector<embedded::MadeObject>& made);

// Those that were asked for. The time of the run is filled in.
Written writeResults(report::CollectedRun run, const ResultFiles& files, const Console& console);

}  // namespace kelvane::cli
