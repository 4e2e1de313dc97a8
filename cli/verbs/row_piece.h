// Rows of a table that are compared in one go.
//
// Lifetime: what a piece refers to outlives it. Threading: one thread compares a piece, reading its
// sides by threads of their own; it may be another one than has made it or takes it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <stop_token>
#include <string>

#include "cli/verbs/keyed_report.h"
#include "cli/verbs/row_side.h"
#include "cli/verbs/summed_rows.h"
#include "model/text.h"
#include "rows/compare_rows.h"

namespace kelvane::cli {

using RowLane = std::array<RowSide*, 2>;

struct RowPiece {
  std::size_t number = 0;  // of its table, 0-based
  KeyedTable* table = nullptr;
  std::optional<std::int64_t> expected = {};  // rows of the table, about
  std::array<RowWish, 2> wishes = {};
  ChecksumUse checksums = ChecksumUse::never;  // not of a part of a table
  bool isKnown = false;                        // from another run: nothing is compared
  // The packed value of the key's first column that the table goes on with behind the piece; empty:
  // nothing is left of it.
  std::string end = {};

  KeyedEnd ended = KeyedEnd::notReached;
  std::string error = {};
  rows::RowCounts counts = {};  // also where the comparison breaks off
};

// Failures after a stop was requested are none of the server's.
template <class Result>
void failWith(Result& result, const std::string& reason, const std::stop_token& stop) {
  result.ended = stop.stop_requested() ? KeyedEnd::notReached : KeyedEnd::error;
  if (result.ended == KeyedEnd::error) result.error = reason;
}

// What reading throws becomes the result's error.
template <class Result, class Work>
void tryOn(Result& result, const std::stop_token& stop, Work work) {
  try {
    work();
  } catch (const RuntimeError& error) {
    failWith(result, toUtf8(error.Description()), stop);
  } catch (const std::runtime_error& error) {
    failWith(result, error.what(), stop);
  }
}

// Keeps the counts of a piece, and tells how many rows have passed.
class PieceWatch : public rows::RowObserver {
 public:
  PieceWatch(RowPiece& piece, std::function<void(std::int64_t rows)> passed, std::stop_token stop)
      : piece_(piece), passed_(std::move(passed)), stop_(std::move(stop)) {}

  bool goesOn(const rows::RowCounts& counts) override;
  void passed(std::int64_t rows) const { passed_(rows); }
  const std::stop_token& stop() const { return stop_; }

 private:
  RowPiece& piece_;
  std::function<void(std::int64_t)> passed_;
  std::stop_token stop_;
  std::int64_t rows_ = 0;
};

void comparePiece(RowPiece& piece, const RowLane& lane, PieceWatch& watch);

}  // namespace kelvane::cli
