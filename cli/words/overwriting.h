// No file that a command writes may be one that it reads, or one that it also writes otherwise.
//
// Lifetime and threading: a free function; it asks the file system and opens no file.
#pragma once

#include <span>
#include <string_view>
#include <vector>

#include "cli/words/arguments.h"
#include "cli/words/place.h"

namespace kelvane::cli {

// Options with files, by Option::name.
struct FileOptions {
  std::vector<std::string_view> written;
  std::string_view read = {};
  std::string_view updates = {};  // one of `written`, which may name the file of `read`
};

// Files are told apart by what they are, not by what they are called. Throws UsageError. The
// configuration file is among those that are read, and a file that would become a script of a
// folder that is a side is refused like one that is.
void refuseOverwriting(const Arguments& arguments, std::span<const Place> places,
                       const FileOptions& options);

}  // namespace kelvane::cli
