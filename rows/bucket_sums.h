// What two servers say of their rows without sending them: a count and two sums for each bucket of
// keys. Rows of buckets that are alike need not be fetched.
//
// The sums are of MD5 digests, and sums rather than their exclusive or: rows that come twice do not
// cancel out. They are no proof that rows are equal, so a result that rests on them has to say so.
//
// Lifetime: the plan outlives what is made of it. Threading: plain values and free functions.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "inventory/records.h"
#include "rows/row_stream.h"
#include "rows/table_plan.h"

namespace kelvane::rows {

/// Buckets by their numbers, both ends included.
struct BucketRange {
  std::int64_t first = 0, last = 0;

  bool operator==(const BucketRange&) const = default;
};

/// The leading column of the key counts in units: whole numbers; hours or days of moments. As many
/// of them as the width says are a bucket.
class BucketSums {
 public:
  struct Extent {
    std::int64_t least = 0, most = 0;  ///< units
  };

  using Servers = std::array<const inventory::Server*, 2>;

  /// Why servers cannot do it for these tables; empty: they can.
  static std::string obstacle(const TablePlan& plan, const Servers& servers);
  /// Where there is no obstacle.
  BucketSums(const TablePlan& plan, const Servers& servers);

  /// A statement that returns the extent of a side's keys: a row of two values, null without rows.
  std::u16string extentText(std::size_t side) const;
  std::optional<Extent> readExtent(ado::Connection& connection, std::size_t side) const;
  void setWidth(std::int64_t units) { width_ = units; }
  /// So that a bucket has about that many rows.
  static std::int64_t widthFor(const Extent& extent, std::int64_t rows, std::int64_t rowsOfBucket);

  /// A statement that returns the units of as many keys, each that many rows behind the one before
  /// it, the first one of the least key; a result each, the last ones alike where there are fewer.
  std::u16string marksText(std::size_t side, std::int64_t rowsBetween, std::size_t count) const;
  std::vector<std::int64_t> readMarks(ado::Connection& connection, std::size_t side,
                                      std::int64_t rowsBetween, std::size_t count) const;
  /// The same where most keys are that far apart: a few far away ones do not matter.
  static std::int64_t widthAmong(const std::vector<std::int64_t>& marks, std::int64_t rowsBetween,
                                 std::int64_t rowsOfBucket);
  std::int64_t bucketOf(std::int64_t unit) const { return unit / width_; }

  /// A statement that returns a row for each bucket: its number, in their order, the count of its
  /// rows, two sums. `range`: a condition besides; may be empty.
  std::u16string text(std::size_t side, const std::string& range = {}) const;
  static constexpr std::size_t kColumns = 4;
  static RowLayout layout();

  /// The condition that a row is in one of these buckets.
  std::string condition(std::size_t side, const BucketRange& range) const;

 private:
  enum class Unit : std::uint8_t { number, hour, day };
  // The end of a bucket may be no int64_t.
  using Wide = __int128;

  std::string digestOf(std::size_t side, bool isSameSet) const;
  std::string units(const std::string& value) const;
  /// "COLUMN >= UNIT"; empty where no value of the column reaches it.
  std::string bound(std::size_t side, std::string_view operation, Wide unit) const;

  const TablePlan* plan_;
  Unit unit_ = Unit::number;
  std::array<std::string, 2> digests_;
  std::int64_t width_ = 1;
};

struct DifferingBuckets {
  std::int64_t buckets = 0, differing = 0;  ///< that have rows on either side
  std::vector<BucketRange> ranges = {};     ///< of those that differ
  std::int64_t equalRows = 0;               ///< of each side, in the other ones
  bool isWhole = true;                      ///< false where `goesOn` ended it
};

/// Goes through the sums of both sides. `goesOn` is told how many rows more are in equal buckets.
/// Throws what a stream throws.
DifferingBuckets differingBuckets(RowStream& source, RowStream& target,
                                  const std::function<bool(std::int64_t)>& goesOn);

}  // namespace kelvane::rows
