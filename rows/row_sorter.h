// Sorts packed rows, however many: what does not fit in memory waits in files without names.
//
// Lifetime: owns its rows. Threading: one thread.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "rows/unnamed_file.h"

namespace kelvane::rows {

class RowSorter {
 public:
  explicit RowSorter(std::size_t mostBytes) : mostBytes_(mostBytes) {}

  /// Throws std::system_error, as all below.
  void add(std::string_view cells);
  /// In the order of orderOf(), equal rows as often as they were added. Once, behind the last one.
  void forEach(const std::function<void(std::string_view)>& show);

 private:
  void sort();
  void spill();
  void mergeRuns(const std::function<void(std::string_view)>& show);

  std::size_t mostBytes_, bytes_ = 0;
  std::vector<std::string> rows_;
  std::vector<UnnamedFile> runs_;  // each sorted
};

}  // namespace kelvane::rows
