// What a comparison of rows by their keys found, and how it is written.
//
// Lifetime: plain values. Threading: free functions without state.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "cli/screen/console.h"
#include "rows/compare_rows.h"
#include "rows/table_plan.h"

namespace kelvane::cli {

enum class KeyedEnd : std::uint8_t { whole, error, missingInSource, missingInTarget, notReached };

// A row that differs, packed; a side without it is empty.
struct RowSample {
  std::array<std::string, 2> cells;
  std::size_t keySize = 0;

  std::string_view key() const {
    return std::string_view(cells[cells[0].empty() ? 1 : 0]).substr(0, keySize);
  }
};

// What equality of rows rests on that were not read: buckets of rows whose sums are equal.
struct Checksums {
  std::int64_t buckets = 0, differing = 0;
};

struct KeyedTable {
  std::string name;
  KeyedEnd ended = KeyedEnd::notReached;
  std::string error = {};  // with KeyedEnd::error
  rows::TablePlan plan = {};
  rows::RowCounts counts = {};
  std::optional<Checksums> checksums = {};  // none: each row was read
  std::vector<std::string> remarks = {};    // what was not done as it was asked for, a line each
  std::vector<RowSample> samples = {};      // those with the smallest keys, in their order

  bool differs() const;
  bool isCompared() const { return ended != KeyedEnd::error && ended != KeyedEnd::notReached; }
};

struct KeyedReport {
  std::array<std::string, 2> sides;  // as the user calls them
  std::vector<std::string> options;  // what is left out, or does not count
  std::vector<std::string> gaps;     // what could not be read besides, a line each
  std::vector<KeyedTable> tables;

  // A gap or an error is never outweighed by a difference.
  ExitStatus status() const;
};

void writeText(const KeyedReport& report, std::ostream& out);
// The tables that differ or were not compared, without those that are equal.
void writeTree(const KeyedReport& report, std::ostream& out);
void writeJson(const KeyedReport& report, std::ostream& out);

}  // namespace kelvane::cli
