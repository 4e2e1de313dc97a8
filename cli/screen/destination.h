// Where a file that is to be written ends up, once links are followed.
//
// Lifetime: plain values. Threading: free functions; they ask the file system.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <sys/stat.h>

namespace kelvane::cli {

struct Destination {
  std::filesystem::path path;  // behind all links, also behind those that lead to no file yet
  // One that is open in this process and that the path stands for, as /dev/stdout does.
  std::optional<int> descriptor;
};

Destination destinationOf(const std::string& path);

}  // namespace kelvane::cli
