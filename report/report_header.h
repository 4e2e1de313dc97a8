// What a report says besides the differences.
//
// Lifetime: plain values. Threading: none of their own.
#pragma once

#include <string>
#include <vector>

#include "findings/accepted_difference.h"
#include "report/renames.h"

namespace kelvane {

// Whether all of both schemas was read; if not, no report says that there is no difference.
enum class Coverage { complete, partial };

struct ReportHeader {
  std::string source, target;              // how the user calls them, without secrets (UTF-8)
  std::string version;                     // of this program
  std::vector<std::string> switches = {};  // or families that were on, by name
  std::vector<std::string> gaps = {};  // what could not be read or compared, a line each (UTF-8)

  // Too much of a side could not be read; the gaps say so too.
  bool nothingCompared = false;

  // What names and definitions were compared without: "case of names" (UTF-8).
  std::vector<std::string> ignored = {};

  // What was left out on purpose, a line each (UTF-8); it takes nothing from the coverage.
  std::vector<std::string> notes = {};

  std::vector<Rename> renames = {};  // the guess that two missing objects are one

  std::vector<AcceptedDifference> accepted = {};  // known differences that were left out

  Coverage coverage() const { return gaps.empty() ? Coverage::complete : Coverage::partial; }
};

}  // namespace kelvane
