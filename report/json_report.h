// A tree of differences as JSON for programs.
//
// Lifetime and threading: a free function; nothing is kept.
#pragma once

#include <iosfwd>

#include "model/diff_schema.h"
#include "report/report_header.h"

namespace kelvane {

// One object: the header's members, then "differences", the tree with its published field names.
// docs/differences.schema.json describes it.
void writeJsonReport(const diffSchema& differences, const ReportHeader& header, std::ostream& out);

// The members that every report begins with behind "format": the sides, what is missing, renames.
class JsonWriter;
void writeJsonHeader(const ReportHeader& header, JsonWriter& writer);

}  // namespace kelvane
