// A folder with a file of rows for each table, which stays apart from what people write there.
//
// Which files an export wrote is told by a list in the folder: such files have no place for a mark.
//
// Lifetime: the console outlives it. Threading: one thread.
#pragma once

#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "cli/screen/console.h"

namespace kelvane::cli {

class RowFolder {
 public:
  // `names`: of the files that are to be written. Throws CommandError, as all below, for a file
  // that somebody else wrote before anything is written.
  RowFolder(std::string folder, const std::vector<std::string>& names);

  std::filesystem::path path(const std::string& name) const { return folder_ / name; }
  // All has been written. `removesOthers`: files of former exports that are not among the names
  // are removed, and a line says so.
  void finish(bool removesOthers, const Console& console);

 private:
  void writeList() const;

  std::filesystem::path folder_;
  std::set<std::string> wanted_, listed_;
};

}  // namespace kelvane::cli
