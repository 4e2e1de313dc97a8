#include "cli/verbs/row_piece.h"

#include <algorithm>

#include "rows/row_stream.h"

namespace kelvane::cli {
namespace {

// What servers have summed need not be read: `counts` are those of equal rows. False where nothing
// is left.
bool sum(RowPiece& piece, const RowLane& lane, const PieceWatch& watch, rows::RowCounts& counts) {
  RowSums sums(piece.checksums, lane, watch.stop());
  const auto summed =
      sums.sum(*piece.table, piece.expected, [&](std::int64_t rows) { watch.passed(rows); });
  if (!summed) return true;
  piece.table->checksums = summed->checksums;
  counts.rows = {summed->equalRows, summed->equalRows};
  counts.equal = summed->equalRows;
  counts.changedValues.resize(piece.table->plan.columns.size());
  for (const std::size_t side : {0U, 1U}) piece.wishes[side].conditions = summed->conditions[side];
  if (!piece.wishes[0].conditions.empty()) return true;
  piece.ended = watch.stop().stop_requested() ? KeyedEnd::notReached : KeyedEnd::whole;
  return false;
}

}  // namespace

bool PieceWatch::goesOn(const rows::RowCounts& counts) {
  const std::int64_t rows = std::max(counts.rows[0], counts.rows[1]);
  passed_(rows - rows_);
  rows_ = rows;
  piece_.counts = counts;
  return !stop_.stop_requested();
}

void comparePiece(RowPiece& piece, const RowLane& lane, PieceWatch& watch) {
  rows::RowCounts summed;
  tryOn(piece, watch.stop(), [&] {
    const rows::TablePlan& plan = piece.table->plan;
    for (const std::size_t side : {0U, 1U}) lane[side]->prepare(plan.selects[side]);
    if (!sum(piece, lane, watch, summed)) return;
    rows::RowStream source(lane[0]->rowsOf(plan, 0, piece.wishes[0]), plan.layout(),
                           [&] { lane[0]->cancel(); });
    rows::RowStream target(lane[1]->rowsOf(plan, 1, piece.wishes[1]), plan.layout(),
                           [&] { lane[1]->cancel(); });
    bool isWhole = false;
    piece.counts = rows::compareRows(source, target, plan.pairing, watch, isWhole);
    piece.ended = isWhole ? KeyedEnd::whole : KeyedEnd::notReached;
  });
  piece.counts.add(summed);
}

}  // namespace kelvane::cli
