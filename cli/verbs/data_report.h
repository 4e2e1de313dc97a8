// What `kelvane data` found, and how it is written.
//
// Lifetime: plain values. Threading: free functions without state.
#pragma once

#include <array>
#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "cli/screen/console.h"
#include "cli/verbs/data_watch.h"

namespace kelvane::cli {

// How the comparison of a table ended: as TableEnd has it, or before it began.
enum class DataEnd {
  bothEnded,
  sourceEnded,
  targetEnded,
  rowLimit,
  differenceLimit,
  error,
  missingInSource,
  missingInTarget,
  notReached,
};

struct TableReport {
  std::u16string table;
  DataEnd ended = DataEnd::bothEnded;
  std::int64_t rowsCompared = 0;  // whole rows
  std::int64_t differences = 0;   // differing values, without those of `seen.nulls`
  std::u16string error = {};      // with DataEnd::error
  WatchedTable seen = {};

  bool differs() const;
  bool isCompared() const { return ended != DataEnd::error && ended != DataEnd::notReached; }
  bool isLimited() const { return ended == DataEnd::rowLimit || ended == DataEnd::differenceLimit; }
};

struct DataReport {
  std::array<std::string, 2> sides;  // as the user calls them
  std::vector<std::string> gaps;     // what could not be read besides, a line each
  std::vector<TableReport> tables;

  // An error or a gap is never outweighed by a difference; a limit is.
  ExitStatus status() const;
};

void writeText(const DataReport& report, std::ostream& out);
void writeJson(const DataReport& report, std::ostream& out);

}  // namespace kelvane::cli
