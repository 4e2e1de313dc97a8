// Compares the rows of two streams by their keys.
//
// Lifetime: the observer outlives the call. Threading: everything but the streams' reading runs on
// the caller's thread.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "rows/row_stream.h"
#include "rows/unmatched_rows.h"

namespace kelvane::rows {

/// How the rows of two sides come together.
struct Pairing {
  /// Both streams come in the order of their keys' values, as orderOf() has it: what is missing on
  /// a side is known at once, and memory does not grow. Otherwise they may come in any order; the
  /// more alike the two orders are, the fewer rows wait.
  bool isOrdered = false;
  bool isUnique = true;        ///< no key comes twice on a side
  std::size_t keyColumns = 0;  ///< the first ones
  /// Of each column what does not count. Cells behind those are not compared.
  std::vector<Leniency> columns = {};
  std::size_t mostBytes = 64U << 20U;    ///< for rows that wait in memory
  std::int64_t rowsBetweenCalls = 8192;  ///< of the observer
};

struct RowCounts {
  std::array<std::int64_t, 2> rows{};            ///< of source and target
  std::int64_t equal = 0, changed = 0;           ///< pairs; equal: but for what does not count
  std::array<std::int64_t, 2> alone{};           ///< only in source, only in target
  std::vector<std::int64_t> changedValues = {};  ///< by column

  bool differ() const { return changed > 0 || alone[0] > 0 || alone[1] > 0; }
  void add(const RowCounts& more);
  /// Counts rows that were counted as `were` as `are`.
  void replace(const RowCounts& were, const RowCounts& are);
};

class RowObserver {
 public:
  virtual ~RowObserver() = default;
  virtual void rowsDiffer(const DifferingRows& rows) = 0;
  /// After each `rowsBetweenCalls` rows. False: the comparison ends with what it has.
  virtual bool goesOn(const RowCounts& counts) = 0;
  /// Whether isAt() is to be called, asked as often.
  virtual bool wantsPlace() { return false; }
  /// Of ordered rows exactly those are compared, and counted, whose first cell is before that one.
  virtual void isAt(std::string_view /*firstCell*/, const RowCounts& /*counts*/) {}
};

/// Throws what a stream throws, and std::runtime_error where ordered streams are not in order.
/// `isWhole`, where set, says whether the observer let it come to its end.
RowCounts compareRows(RowStream& source, RowStream& target, const Pairing& pairing,
                      RowObserver& observer, bool& isWhole);

}  // namespace kelvane::rows
