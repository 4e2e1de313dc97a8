// Typed changes as reports of several lists of them have them.
//
// Lifetime and threading: free functions without state.
#pragma once

#include <vector>

#include "inventory/compare/changes.h"
#include "report/json_writer.h"
#include "report/renames.h"
#include "report/text_lines.h"

namespace kelvane::report {

// A block for each object, with an empty line behind it.
void writeObjects(const std::vector<inventory::Change>& changes, const RenameIndex& renames,
                  Lines& lines);

// An array, as the member "changes" of a report.
void writeJsonChanges(const std::vector<inventory::Change>& changes, JsonWriter& json);

}  // namespace kelvane::report
