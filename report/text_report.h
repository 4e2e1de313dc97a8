// A tree of differences as text for people: in full, as a drawn tree, as counts.
//
// Lifetime and threading: free functions; nothing is kept.
#pragma once

#include <iosfwd>

#include "model/diff_schema.h"
#include "report/report_header.h"

namespace kelvane {

// As terminals understand them: what the source has is red, what the target has is green.
enum class Colors { none, terminal };

// All begin with a line that says which side is which.

// Writes UTF-8: a block for each object that differs, a line for each difference ("source ->
// target"), long texts as a comparison of their lines, and a closing line with the counts. No two
// different values look alike. The notes of the header stand in the closing line; its
// switches and gaps are not written.
void writeTextReport(const diffSchema& differences, const ReportHeader& header, Colors colors,
                     std::ostream& out);

// Writes UTF-8: the tree itself, drawn with plain characters: the sides, kinds with their counts,
// objects, sub-entities, and a line for each difference. Of long texts there is how many lines
// differ and the beginning of the first. Behind it the same closing line.
void writeTextTree(const diffSchema& differences, const ReportHeader& header, Colors colors,
                   std::ostream& out);

// Writes UTF-8: a table of the counts of each kind that differs, and the same closing line.
void writeTextSummary(const diffSchema& differences, const ReportHeader& header, std::ostream& out);

}  // namespace kelvane
