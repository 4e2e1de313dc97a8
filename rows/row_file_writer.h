// Writes rows to a file, the same bytes for equal values.
//
// Lifetime: the stream outlives it. Threading: one thread.
#pragma once

#include <ostream>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "rows/packed_row.h"
#include "rows/row_files.h"

namespace kelvane::rows {

class RowFileWriter {
 public:
  /// Writes the header, where the form has one.
  RowFileWriter(std::ostream& out, RowFileForm form, std::vector<FileColumn> columns);

  /// A cell for each of the columns. Throws BadValue, having written nothing, for a value that the
  /// format cannot hold.
  void write(std::span<const Cell> cells);

 private:
  void addCsv(std::string_view text);
  void addBcp(const FileColumn& column, std::string_view text);
  void addJson(std::string_view text);
  void addNamed(const FileColumn& column, const Cell& cell);
  std::string textOf(const FileColumn& column, const Cell& cell);

  std::ostream& out_;
  const RowFileForm form_;
  const std::vector<FileColumn> columns_;
  std::string row_;
  std::u16string storage_;
};

}  // namespace kelvane::rows
