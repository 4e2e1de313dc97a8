#include "rows/unmatched_rows.h"

#include <algorithm>
#include <compare>
#include <utility>

namespace kelvane::rows {
namespace {

// What a row costs beside its bytes.
constexpr std::size_t kOverhead = 96;

// Each depth takes other bits of the hash. Rows that are in one file at the last one have one key.
constexpr unsigned kBitsOfDepth = 4, kMostDepth = 8;

std::uint64_t hashOf(std::string_view bytes) { return std::hash<std::string_view>{}(bytes); }

struct SpilledHead {
  std::int64_t count = 0;
  std::uint32_t keySize = 0, size = 0;
  Side side = Side::source;
};

}  // namespace

void UnmatchedRows::keep(std::uint64_t hash, Side side, const Row& row, std::uint64_t keyHash) {
  bytes_ += row.cells.size() + kOverhead;
  rows_.emplace(hash, Kept{std::string(row.cells), static_cast<std::uint32_t>(row.key.size()), side,
                           1, keyHash});
  if (bytes_ > mostBytes_ && depth_ < kMostDepth) spill();
}

Meeting UnmatchedRows::meet(Side side, const Row& row) {
  const std::uint64_t keyHash = hashOf(row.key), hash = isUnique_ ? keyHash : hashOf(row.cells);
  const auto [begin, end] = rows_.equal_range(hash);
  for (auto kept = begin; kept != end; ++kept) {
    Kept& other = kept->second;
    const bool isEqual = other.cells == row.cells;
    if (isEqual && other.side == side) {
      ++other.count;
      return Meeting::none;
    }
    if (!isEqual && (!isUnique_ || other.side == side || other.key() != row.key)) continue;
    if (!isEqual) namesake_ = other.cells;
    if (--other.count == 0) {
      bytes_ -= other.cells.size() + kOverhead;
      rows_.erase(kept);
    }
    return isEqual ? Meeting::equal : Meeting::namesake;
  }
  keep(hash, side, row, keyHash);
  return Meeting::none;
}

void UnmatchedRows::spill() {
  if (!isSpilled()) {
    for (UnnamedFile& file : files_) file = unnamedFile();
  }
  for (const auto& [hash, kept] : rows_) {
    std::FILE* const file = files_[kept.keyHash >> (kBitsOfDepth * depth_) & (kFiles - 1)].get();
    const SpilledHead head{kept.count, kept.keySize, static_cast<std::uint32_t>(kept.cells.size()),
                           kept.side};
    write(file, &head, sizeof(head));
    write(file, kept.cells.data(), kept.cells.size());
  }
  rows_.clear();
  bytes_ = 0;
}

std::int64_t UnmatchedRows::settleFile(std::FILE* file,
                                       const std::function<void(const DifferingRows&)>& show) {
  UnmatchedRows part(mostBytes_);
  part.depth_ = depth_ + 1;
  rewindFile(file);
  std::int64_t equal = 0;
  std::string cells;
  for (SpilledHead head; read(file, &head, sizeof(head));) {
    cells.resize(head.size);
    if (!read(file, cells.data(), cells.size())) break;
    const Row row{std::string_view(cells).substr(0, head.keySize), cells};
    for (; head.count > 0; --head.count)
      equal += part.meet(head.side, row) == Meeting::equal ? 1 : 0;
  }
  return equal + part.settle(show);
}

void UnmatchedRows::show(const std::function<void(const DifferingRows&)>& show) {
  std::vector<const Kept*> left;
  left.reserve(rows_.size());
  for (const auto& [hash, kept] : rows_) left.push_back(&kept);
  std::ranges::sort(left, [](const Kept* one, const Kept* other) {
    const auto order = orderOf(one->key(), other->key());
    if (std::is_neq(order)) return std::is_lt(order);
    if (one->side != other->side) return one->side < other->side;
    return std::is_lt(orderOf(one->cells, other->cells));
  });
  for (auto begin = left.begin(); begin != left.end();) {
    const auto end = std::find_if(begin, left.end(),
                                  [&](const Kept* kept) { return kept->key() != (*begin)->key(); });
    std::array<std::vector<std::string_view>, 2> sides;
    for (const Kept* kept : std::vector(begin, end))
      sides[static_cast<std::size_t>(kept->side)].insert(
          sides[static_cast<std::size_t>(kept->side)].end(), static_cast<std::size_t>(kept->count),
          kept->cells);
    const auto& [source, target] = sides;
    for (std::size_t at = 0; at < std::max(source.size(), target.size()); ++at) {
      show({at < source.size() ? source[at] : std::string_view(),
            at < target.size() ? target[at] : std::string_view(), (*begin)->keySize});
    }
    begin = end;
  }
  rows_.clear();
  bytes_ = 0;
}

std::int64_t UnmatchedRows::settle(const std::function<void(const DifferingRows&)>& show) {
  if (!isSpilled()) {
    this->show(show);
    return 0;
  }
  spill();
  std::array<UnnamedFile, kFiles> files = std::exchange(files_, {});
  std::int64_t equal = 0;
  for (UnnamedFile& file : files) {
    equal += settleFile(file.get(), show);
    file.reset();
  }
  return equal;
}

}  // namespace kelvane::rows
