#include "cli/verbs/summed_rows.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "model/text.h"

namespace kelvane::cli {
namespace {

using Clock = std::chrono::steady_clock;

// What differs is scattered: buckets are small, so that few rows are read for each that differs.
constexpr std::int64_t kRowsOfBucket = 1000;
// Below that a sample costs too large a part of what it may save: its rows are read once and summed
// twice.
constexpr std::int64_t kLeastRows = 200'000;

// Keys with as many rows between them.
constexpr std::size_t kMarks = 17;
// Of one bucket each, at every other mark.
constexpr std::size_t kBetweenSamples = 2;

std::vector<rows::BucketRange> sampleOf(const rows::BucketSums& sums,
                                        const std::vector<std::int64_t>& marks) {
  std::vector<rows::BucketRange> sample;
  for (std::size_t at = 0; at < marks.size(); at += kBetweenSamples) {
    const std::int64_t bucket = sums.bucketOf(marks[at]);
    if (sample.empty() || sample.back().last < bucket) sample.push_back({bucket, bucket});
  }
  return sample;
}

std::vector<std::string> conditionsOf(const rows::BucketSums& sums, std::size_t side,
                                      const std::vector<rows::BucketRange>& ranges) {
  std::vector<std::string> conditions;
  conditions.reserve(ranges.size());
  for (const rows::BucketRange& range : ranges) conditions.push_back(sums.condition(side, range));
  return conditions;
}

template <class Work>
Clock::duration timeOf(const Work& work) {
  const auto begin = Clock::now();
  work();
  return Clock::now() - begin;
}

}  // namespace

std::optional<SummedRows> RowSums::sum(KeyedTable& table, std::optional<std::int64_t> rows,
                                       const std::function<void(std::int64_t)>& passed) {
  if (use_ == ChecksumUse::never || sides_[0]->connection() == nullptr ||
      sides_[1]->connection() == nullptr)
    return std::nullopt;
  const bool isChosen = use_ == ChecksumUse::whereTheyPay;
  if (isChosen && rows.value_or(0) < kLeastRows) return std::nullopt;
  const rows::BucketSums::Servers servers{&sides_[0]->database().server,
                                          &sides_[1]->database().server};
  if (const std::string obstacle = rows::BucketSums::obstacle(table.plan, servers);
      !obstacle.empty()) {
    if (!isChosen) table.remarks.push_back("all rows were read, no checksums: " + obstacle);
    return std::nullopt;
  }
  rows::BucketSums sums(table.plan, servers);
  try {
    return sumOf(table, sums, rows, passed);
  } catch (const RuntimeError& error) {
    if (stop_.stop_requested() || sides_[0]->isOver() || sides_[1]->isOver()) throw;
    table.remarks.push_back("all rows were read, no checksums: " + toUtf8(error.Description()));
    return std::nullopt;
  }
}

std::optional<SummedRows> RowSums::sumOf(KeyedTable& table, rows::BucketSums& sums,
                                         std::optional<std::int64_t> rows,
                                         const std::function<void(std::int64_t)>& passed) {
  std::size_t side = 0;
  auto extent = sums.readExtent(*sides_[0]->connection(), side);
  if (!extent) extent = sums.readExtent(*sides_[1]->connection(), ++side);
  if (!extent) return std::nullopt;
  std::vector<std::int64_t> marks;
  const auto rowsBetween = rows.value_or(0) / static_cast<std::int64_t>(kMarks - 1);
  if (rowsBetween >= kRowsOfBucket)
    marks = sums.readMarks(*sides_[side]->connection(), side, rowsBetween, kMarks);
  sums.setWidth(!marks.empty() ? rows::BucketSums::widthAmong(marks, rowsBetween, kRowsOfBucket)
                : rows         ? rows::BucketSums::widthFor(*extent, *rows, kRowsOfBucket)
                               : kRowsOfBucket);
  if (use_ == ChecksumUse::whereTheyPay && !paysFor(table.plan, sums, sampleOf(sums, marks))) {
    table.remarks.emplace_back("all rows were read: a sample takes as long with checksums");
    return std::nullopt;
  }
  std::int64_t equal = 0;
  const rows::DifferingBuckets found = differing(sums, {}, [&](std::int64_t count) {
    passed(count);
    equal += count;
    return !stop_.stop_requested();
  });
  SummedRows result{{found.buckets, found.differing}, found.equalRows, {}};
  if (!found.isWhole) return result;
  if (2 * found.differing > found.buckets) {
    passed(-equal);
    table.remarks.emplace_back("all rows were read: most checksums differ");
    return std::nullopt;
  }
  for (const std::size_t side : {0U, 1U})
    result.conditions[side] = conditionsOf(sums, side, found.ranges);
  return result;
}

rows::DifferingBuckets RowSums::differing(const rows::BucketSums& sums, const Ranges& ranges,
                                          const std::function<bool(std::int64_t)>& goesOn) {
  const auto streamOf = [&](std::size_t side) -> rows::OpenRows {
    std::vector<std::u16string> statements;
    for (const std::string& condition : conditionsOf(sums, side, ranges))
      statements.push_back(sums.text(side, condition));
    if (ranges.empty()) statements.push_back(sums.text(side));
    return [connection = sides_[side]->connection(), statements = std::move(statements)] {
      return rows::openStatements(*connection, statements, rows::BucketSums::kColumns);
    };
  };
  rows::RowStream source(streamOf(0), rows::BucketSums::layout(), [this] { sides_[0]->cancel(); });
  rows::RowStream target(streamOf(1), rows::BucketSums::layout(), [this] { sides_[1]->cancel(); });
  return rows::differingBuckets(source, target, goesOn);
}

// Where the time for the sums, and for rows whose sums differ, is clearly less than that for all
// rows. Both are measured when the servers have read the rows once.
bool RowSums::paysFor(const rows::TablePlan& plan, const rows::BucketSums& sums,
                      const Ranges& sample) {
  if (sample.empty()) return false;
  const auto goesOn = [&](std::int64_t) { return !stop_.stop_requested(); };
  const rows::DifferingBuckets found = differing(sums, sample, goesOn);
  if (found.buckets == 0 || !found.isWhole) return false;
  const auto fetching = timeOf([&] {
    const RowWish one{.conditions = conditionsOf(sums, 0, sample)},
        other{.conditions = conditionsOf(sums, 1, sample)};
    rows::RowStream source(sides_[0]->rowsOf(plan, 0, one), plan.layout(),
                           [this] { sides_[0]->cancel(); });
    rows::RowStream target(sides_[1]->rowsOf(plan, 1, other), plan.layout(),
                           [this] { sides_[1]->cancel(); });
    while (source.next() && goesOn(0)) continue;
    while (target.next() && goesOn(0)) continue;
  });
  const auto summing = timeOf([&] { differing(sums, sample, goesOn); });
  const double share = static_cast<double>(found.differing) / static_cast<double>(found.buckets);
  constexpr double kClearly = .9;
  return summing + share * fetching < kClearly * fetching;
}

}  // namespace kelvane::cli
