// Files of rows as a side whose tables are compared row by row.
//
// Lifetime: a side owns what it knows of its files, which are opened for reading each time.
// Threading: as RowSide.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "cli/verbs/row_side.h"
#include "cli/words/place.h"
#include "rows/row_files.h"

namespace kelvane::cli {

struct RowFile {
  std::string path;
  inventory::QualifiedName name;  // of the table
  rows::RowFileForm form;
  rows::RowFileHead head;
  std::string fault = {};  // why there is none
};

// The files of a place, with the names of their tables; where `other` has a table of which an
// export would write such a file, it is that. Reads how the files begin; one that cannot be read
// has a fault. Throws CommandError.
std::vector<RowFile> rowFilesOf(const RowFilesPlace& place, const inventory::Database* other);

// What files say themselves of their tables: columns without types.
inventory::Database untypedDatabase(const std::vector<RowFile>& files);

// `other`, the other side, says the types of columns and the keys of tables; `isTyped` is false
// where it is an untypedDatabase(). It outlives the call.
std::unique_ptr<RowSide> rowFileSide(std::vector<RowFile> files, const inventory::Database& other,
                                     bool isTyped);

}  // namespace kelvane::cli
