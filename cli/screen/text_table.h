// Rows of texts, written in columns as wide as their widest cell.
//
// Lifetime: owns its cells. Threading: one thread.
#pragma once

#include <cstddef>
#include <ostream>
#include <string>
#include <vector>

namespace kelvane::cli {

class TextTable {
 public:
  enum class Align { left, right };

  // One for each column; texts beyond them stand to the left.
  explicit TextTable(std::vector<Align> alignments = {}) : alignments_(std::move(alignments)) {}

  // Cells as a line can show them.
  void add(std::vector<std::u16string> cells) { rows_.push_back({std::move(cells), {}}); }
  // Lines below the last row, written as they stand.
  void addBelow(std::u16string line) { rows_.back().below.push_back(std::move(line)); }
  // As UTF-8, a line a row, each behind `indent` blanks.
  void write(std::ostream& out, std::size_t indent = 0) const;

 private:
  struct Row {
    std::vector<std::u16string> cells, below;
  };

  std::vector<Align> alignments_;
  std::vector<Row> rows_;
};

}  // namespace kelvane::cli
