// Who made the differences of two databases that come from one, as text and as JSON.
//
// Lifetime and threading: free functions; nothing is kept. The databases that were compared must
// still be there.
#pragma once

#include <iosfwd>
#include <string>

#include "findings/three_ways.h"
#include "report/phrases.h"
#include "report/report_header.h"

namespace kelvane::report {

// `changes`: all of source and target; `base`: how the user calls it, without secrets (UTF-8).
void writeThreeWaysText(const findings::ThreeWays::Changes& changes,
                        const findings::ThreeWays& ways, const std::string& base,
                        const ReportHeader& header, Colors colors, std::ostream& out);

// One object: the header's members, the base, how many differences each list has, and the lists,
// whose elements are those of "changes" in docs/report-v2.schema.json.
void writeThreeWaysJson(const findings::ThreeWays& ways, const std::string& base,
                        const ReportHeader& header, std::ostream& out);

}  // namespace kelvane::report
