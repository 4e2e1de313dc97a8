// A tree of differences as a page for browsers.
//
// Lifetime and threading: a free function; nothing is kept.
#pragma once

#include <iosfwd>

#include "model/diff_schema.h"
#include "report/report_header.h"

namespace kelvane {

// Writes one file of HTML in UTF-8 that needs nothing else: style, script and data are in it, and
// its content policy lets it request nothing. No text of a server is markup in it. A page with gaps
// never says that there is no difference.
void writeHtmlReport(const diffSchema& differences, const ReportHeader& header, std::ostream& out);

}  // namespace kelvane
