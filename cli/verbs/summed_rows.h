// Which rows of a table have to be read, where its servers can sum them.
//
// Lifetime: sides outlive it. Threading: one thread; sides are read by threads of their own.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "cli/verbs/keyed_report.h"
#include "cli/verbs/row_side.h"
#include "rows/bucket_sums.h"

namespace kelvane::cli {

enum class ChecksumUse : std::uint8_t {
  never,
  whereTheyPay,  // as a sample says, for large tables of servers
  wherePossible,
};

struct SummedRows {
  Checksums checksums;
  std::int64_t equalRows = 0;  // of each side, which need not be read
  // By side, that rows are in a bucket that differs; the same number of each. None: all are equal.
  std::array<std::vector<std::string>, 2> conditions;
};

class RowSums {
 public:
  RowSums(ChecksumUse use, std::array<RowSide*, 2> sides, std::stop_token stop)
      : use_(use), sides_(sides), stop_(std::move(stop)) {}

  // None: all rows have to be read; where that is not what was to be expected, the table's remarks
  // say why. `rows`: about how many there are. `passed` is told of rows that are equal.
  // Throws what a lost connection throws.
  std::optional<SummedRows> sum(KeyedTable& table, std::optional<std::int64_t> rows,
                                const std::function<void(std::int64_t)>& passed);

 private:
  using Ranges = std::vector<rows::BucketRange>;

  std::optional<SummedRows> sumOf(KeyedTable& table, rows::BucketSums& sums,
                                  std::optional<std::int64_t> rows,
                                  const std::function<void(std::int64_t)>& passed);
  rows::DifferingBuckets differing(const rows::BucketSums& sums, const Ranges& ranges,
                                   const std::function<bool(std::int64_t)>& goesOn);
  bool paysFor(const rows::TablePlan& plan, const rows::BucketSums& sums, const Ranges& sample);

  ChecksumUse use_;
  std::array<RowSide*, 2> sides_;
  std::stop_token stop_;
};

}  // namespace kelvane::cli
