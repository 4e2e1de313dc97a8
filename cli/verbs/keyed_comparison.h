// Pairs the tables of two sides and compares their rows by their keys.
//
// Lifetime: sides and sinks outlive the call; plans in the result refer to the sides' tables.
// Threading: a free function; sides are read by threads of their own.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "cli/screen/status_line.h"
#include "cli/verbs/keyed_report.h"
#include "cli/verbs/row_piece.h"
#include "cli/verbs/row_sink.h"
#include "cli/verbs/summed_rows.h"
#include "cli/words/row_options.h"

namespace kelvane::cli {

struct KeyedRequest {
  std::vector<std::u16string> patterns;  // of tables; none: all
  std::vector<std::string> selects;      // what is compared instead: one for both sides, or two
  RowOptions rows;
  std::vector<std::string> optionsInEffect;  // as the report names them
  std::size_t shown = 0;                     // rows of each table
  std::optional<std::string> trace;
  std::optional<rows::RangePace> ranges;
  // How long to wait before rows that differ are read once more; none: they are not.
  std::optional<std::chrono::duration<double>> secondLook;
  std::optional<std::string> resume;           // the file that says how far it came
  std::string comparison;                      // what that file knows it by
  ChecksumUse checksums = ChecksumUse::never;  // not beside ranges or resume
  std::int64_t rowsOfPiece = 50'000;           // about, that one of several pairs of sides compares
  bool readsConstraints = false;  // besides tables and types, what makes tables again needs
  std::vector<RowSink*> sinks;    // all of which get the rows that differ
};

// Several pairs of sides compare several tables, and ranges of large ones, at the same time; the
// first one does what is done once, and there is one. Throws CommandError for patterns and keys
// that match no table or no column.
std::vector<KeyedTable> compareTables(const KeyedRequest& request, std::vector<RowLane> lanes,
                                      StatusLine& line, const std::stop_token& stop);

}  // namespace kelvane::cli
