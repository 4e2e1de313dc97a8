// Typed changes as text, as a drawn tree, as counts, as JSON for programs and as a page for
// browsers: what a comparison of two inventories found.
//
// Lifetime and threading: free functions; nothing is kept. The databases that were compared must
// still be there.
#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "change_script/steps.h"
#include "inventory/compare/changes.h"
#include "report/report_header.h"
#include "report/text_report.h"

namespace kelvane {

// Writes UTF-8: a block for each object that differs, a line for each difference as one would write
// it ("column a: int null -> int not null"), long texts as a comparison of their lines, and a
// closing line with the counts and notes. No two different values look alike.
void writeTextReport(const std::vector<inventory::Change>& changes, const ReportHeader& header,
                     Colors colors, std::ostream& out);

// Writes UTF-8: kinds with their counts, objects, parts, and one line for each difference, even of
// long texts. Then the same closing line.
void writeTextTree(const std::vector<inventory::Change>& changes, const ReportHeader& header,
                   Colors colors, std::ostream& out);

// Writes UTF-8: a table of the counts of each kind that differs, and the same closing line.
void writeTextSummary(const std::vector<inventory::Change>& changes, const ReportHeader& header,
                      std::ostream& out);

// Writes UTF-8: a line for each object with the number of its differences, and the same closing
// line.
void writeTextStat(const std::vector<inventory::Change>& changes, const ReportHeader& header,
                   std::ostream& out);

// Writes UTF-8: the definitions that differ as a unified diff that turns those of the source into
// those of the target, a file for each (procedures/dbo.p.sql, with what else than letters of ASCII
// a name has as %XX). Texts are as the server keeps them. What is said before the first file, and
// what no patch can say, is not of the diff: patch and git apply skip it.
void writePatch(const std::vector<inventory::Change>& changes, const ReportHeader& header,
                Colors colors, std::ostream& out);

// One object: the header's members, the counts, then the changes. docs/report-v2.schema.json
// describes it.
void writeJsonReport(const std::vector<inventory::Change>& changes, const ReportHeader& header,
                     std::ostream& out);

// The script that makes the target like the source, for a page. The script outlives it.
struct ShownScript {
  const change_script::ChangeScript& script;
  std::vector<std::string> head;  // what is said about all of it, a line each (UTF-8)
};

// Writes one file of HTML in UTF-8 that needs nothing else, with the declarations of both sides
// beside each other, and with links between the differences and the steps of the script where there
// is one. See writeHtmlReport of html_report.h.
void writeHtmlReport(const std::vector<inventory::Change>& changes, const ReportHeader& header,
                     std::ostream& out, const ShownScript* script = nullptr);

}  // namespace kelvane
