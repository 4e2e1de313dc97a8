// Files of known differences: --accept and --write-accept.
//
// Lifetime: results own what they hold. Threading: free functions without state.
#pragma once

#include <optional>
#include <string>

#include "cli/compared_scope.h"
#include "cli/console.h"
#include "report/known_differences.h"
#include "report/report_header.h"

namespace kelvane::cli {

// The files of one comparison, and what is in them.
struct KnownFiles {
  std::optional<std::string> accept, written;
  KnownList accepted;
  std::optional<KnownList> replaced;  // what --write-accept writes over, where that is another file
};

// Reads what is to be accepted and what is to be written over. Throws CommandError for a file that
// is no such list, so that --write-accept replaces no other.
KnownFiles loadKnownFiles(const CompareRequest& request);

// Takes what is known out of `differences`, notes it, and tells the lines of the file that are of
// no use any more: those that expired and, as far as that can be known, those without a difference.
diffSchema withoutKnown(const diffSchema& differences, const KnownFiles& files,
                        const ComparedScope& scope, const Console& console, ReportHeader& header);

// Writes the differences for --write-accept and tells the lines that are dropped. Throws
// CommandError.
void writeKnown(const diffSchema& differences, const KnownFiles& files, const ComparedScope& scope,
                const Console& console);

}  // namespace kelvane::cli
