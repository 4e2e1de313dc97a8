// Rows of both sides that have not met what they belong to. They stay in memory up to a limit;
// beyond it they wait in files without a name until all rows have come.
//
// Lifetime: rows are copied. Threading: one thread.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "rows/row_stream.h"
#include "rows/unnamed_file.h"

namespace kelvane::rows {

enum class Side : std::uint8_t { source, target };

/// Rows that differ: of one key, or only one that has no other. A side without a row is empty.
struct DifferingRows {
  std::string_view source = {}, target = {};
  std::size_t keySize = 0;  ///< in bytes, of either
};

/// What a row found among those of the other side: nothing, so that it stays; an equal one; or one
/// of its key.
enum class Meeting : std::uint8_t { none, equal, namesake };

class UnmatchedRows {
 public:
  /// `mostBytes`: that are kept in memory. `isUnique`: no key comes twice on a side, so that the
  /// first row of a key is the one that belongs to another.
  explicit UnmatchedRows(std::size_t mostBytes, bool isUnique = false)
      : mostBytes_(mostBytes), isUnique_(isUnique) {}

  /// A row comes. The one that it meets goes.
  Meeting meet(Side side, const Row& row);
  /// The row that the last one met, if its meeting was Meeting::namesake. Until the next call.
  std::string_view namesake() const { return namesake_; }

  /// No row comes any more: all that are left are shown, in the order of their keys where all of
  /// them fit in memory, and gone. Returns how many have met an equal one meanwhile.
  /// Of a key that comes several times, the rows are paired in their own order.
  std::int64_t settle(const std::function<void(const DifferingRows&)>& show);

 private:
  static constexpr std::size_t kFiles = 16;

  /// Equal rows of one side.
  struct Kept {
    std::string cells;
    std::uint32_t keySize = 0;
    Side side = Side::source;
    std::int64_t count = 1;
    std::uint64_t keyHash = 0;

    std::string_view key() const { return std::string_view(cells).substr(0, keySize); }
  };

  bool isSpilled() const { return files_[0] != nullptr; }
  void keep(std::uint64_t hash, Side side, const Row& row, std::uint64_t keyHash);
  void spill();
  void show(const std::function<void(const DifferingRows&)>& show);
  std::int64_t settleFile(std::FILE* file, const std::function<void(const DifferingRows&)>& show);

  std::size_t mostBytes_;
  bool isUnique_;
  std::string namesake_;
  // By the hash of what they meet by: their keys, or all of them, where only equal rows meet.
  std::unordered_multimap<std::uint64_t, Kept> rows_;
  std::size_t bytes_ = 0;
  std::array<UnnamedFile, kFiles> files_;
  unsigned depth_ = 0;  // files of files
};

}  // namespace kelvane::rows
