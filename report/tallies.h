// How many objects of each kind differ, and how reports sum that up.
//
// Lifetime and threading: plain values and free functions.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "model/diff_schema.h"
#include "report/report_header.h"

namespace kelvane::report {

// What becomes of the objects of one kind.
struct KindCounts {
  std::int64_t differ = 0, onlyInSource = 0, onlyInTarget = 0, differences = 0;

  // An object with that many differences; `side`: of one that the other side lacks.
  void add(std::optional<enumLocation> side, std::int64_t itsDifferences);
  std::int64_t objects() const { return differ + onlyInSource + onlyInTarget; }
};

// "6 differ, 1 only in source"
std::u16string countsText(const KindCounts& counts);

struct KindTally {
  std::string_view singular, plural;
  KindCounts counts;
};
using Tallies = std::vector<KindTally>;  // in the order of the report, none without objects

// The counts of all differences and the notes.
std::u16string closingLine(const Tallies& tallies, const ReportHeader& header);

// Writes which side is which, a table of the counts, and the closing line, as UTF-8.
void writeSummary(const Tallies& tallies, const ReportHeader& header, std::ostream& out);

}  // namespace kelvane::report
