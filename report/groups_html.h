// Many databases against one reference as a page: what became of each, which objects differ in
// which groups, and where the report of each group is.
//
// Lifetime and threading: a free function; nothing is kept.
#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "report/collected_reports.h"

namespace kelvane::report {

// What stands beside the page about a group, by the name of the file; empty: nothing.
struct GroupFiles {
  std::string page, script;
};

// One file of HTML in UTF-8, which needs only the files of the groups; it has no script and loads
// nothing. `files`: of each of CollectedRun::groups.
void writeGroupsHtml(const CollectedRun& run, const std::vector<GroupFiles>& files,
                     std::ostream& out);

}  // namespace kelvane::report
