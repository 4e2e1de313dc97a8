#include "rows/row_sorter.h"

#include <algorithm>
#include <compare>
#include <cstdint>
#include <queue>
#include <utility>

#include "rows/packed_row.h"

namespace kelvane::rows {
namespace {

// What a row costs beside its bytes.
constexpr std::size_t kOverhead = 48;
// Files that are open at the same time.
constexpr std::size_t kMostRuns = 64;

void writeRow(std::FILE* file, std::string_view row) {
  const auto size = static_cast<std::uint32_t>(row.size());
  write(file, &size, sizeof(size));
  write(file, row.data(), row.size());
}

/// The row that a run is at.
struct Front {
  std::FILE* file;
  std::string row = {};

  bool next() {
    std::uint32_t size = 0;
    if (!read(file, &size, sizeof(size))) return false;
    row.resize(size);
    return read(file, row.data(), row.size());
  }
};

}  // namespace

void RowSorter::add(std::string_view cells) {
  bytes_ += cells.size() + kOverhead;
  rows_.emplace_back(cells);
  if (bytes_ > mostBytes_) spill();
}

void RowSorter::sort() {
  std::ranges::sort(rows_, [](const std::string& one, const std::string& other) {
    return std::is_lt(orderOf(one, other));
  });
}

void RowSorter::spill() {
  if (runs_.size() == kMostRuns) {
    UnnamedFile all = unnamedFile();
    mergeRuns([&](std::string_view row) { writeRow(all.get(), row); });
    runs_.push_back(std::move(all));
  }
  sort();
  runs_.push_back(unnamedFile());
  for (const std::string& row : rows_) writeRow(runs_.back().get(), row);
  rows_.clear();
  bytes_ = 0;
}

void RowSorter::mergeRuns(const std::function<void(std::string_view)>& show) {
  std::vector<Front> fronts;
  for (const UnnamedFile& run : runs_) {
    rewindFile(run.get());
    fronts.push_back({run.get()});
  }
  const auto isBehind = [](const Front* one, const Front* other) {
    return std::is_gt(orderOf(one->row, other->row));
  };
  std::priority_queue<Front*, std::vector<Front*>, decltype(isBehind)> queue(isBehind);
  for (Front& front : fronts) {
    if (front.next()) queue.push(&front);
  }
  while (!queue.empty()) {
    Front* const first = queue.top();
    queue.pop();
    show(first->row);
    if (first->next()) queue.push(first);
  }
  runs_.clear();
}

void RowSorter::forEach(const std::function<void(std::string_view)>& show) {
  if (!runs_.empty()) {
    spill();
    return mergeRuns(show);
  }
  sort();
  for (const std::string& row : rows_) show(row);
  rows_.clear();
  bytes_ = 0;
}

}  // namespace kelvane::rows
