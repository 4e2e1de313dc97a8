// Rows in files: CSV (RFC 4180), JSON lines, and what bcp writes in character mode. All are UTF-8.
//
// A null is an empty field without quotes (CSV), an empty field (bcp) or null (JSON); an empty text
// is "" or, with bcp, a NUL character.
//
// Lifetime: sources own their file. Threading: as RowSource.
#pragma once

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "rows/column_value.h"
#include "rows/row_source.h"

namespace kelvane::rows {

enum class RowFormat : std::uint8_t { csv, jsonLines, bcp };

struct RowFileForm {
  RowFormat format = RowFormat::csv;
  bool hasHeader = true;  ///< of CSV: names of columns in its first row
  std::string fieldTerminator = "\t",
              rowTerminator = "\n";  ///< of bcp; none has the other in it
};

/// FILE:LINE:COLUMN: what is wrong there, and what to do. Lines and columns count from 1, columns
/// in characters.
class RowFileError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// What the beginning of a file says of its rows.
struct RowFileHead {
  std::vector<std::string> names;  ///< of the header, or the members of the first row
  std::size_t fields = 0;          ///< of the first row; 0: there is none
};

struct FileColumn {
  std::string name;
  ValueType type;
};

/// Throws RowFileError.
RowFileHead headOf(const std::string& path, const RowFileForm& form);

/// `columns`: all that the file may have, in the order of its fields; those of JSON are found by
/// name. `wanted`: which of them are the columns of the source. Throws RowFileError, as the source
/// does.
std::unique_ptr<RowSource> openRowFile(const std::string& path, const RowFileForm& form,
                                       std::vector<FileColumn> columns,
                                       std::vector<std::size_t> wanted);

}  // namespace kelvane::rows
