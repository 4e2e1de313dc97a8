// The pages and scripts of a comparison of many databases, a file of each kind for each group.
//
// Lifetime and threading: a free function; nothing is kept.
#pragma once

#include "cli/screen/console.h"
#include "cli/verbs/fleet_result.h"
#include "cli/verbs/report_output.h"
#include "cli/words/fleet_request.h"
#include "report/collected_reports.h"

namespace kelvane::cli {

// index.html and group-1.html, ... into the folder of --html; group-1.sql, ... into that of
// --script. Files of groups that there are no longer are removed, which is told.
Written writeGroups(FleetResult& result, const report::CollectedRun& run,
                    const FleetRequest& request, const Console& console);

}  // namespace kelvane::cli
