// A file in a folder of many that are written together.
//
// Lifetime: owns what it writes to. Threading: one thread.
#pragma once

#include <filesystem>
#include <fstream>
#include <ostream>
#include <string>
#include <string_view>

namespace kelvane::cli {

// Throws CommandError: cannot WHAT 'PATH': REASON.
[[noreturn]] void refuseFile(std::string_view what, const std::filesystem::path& path,
                             const std::string& reason);

// The file is there as a whole or as it was, and left alone where it would be the same. That the
// disk has it is not waited for: that takes long for many small files, and they can be written
// again. Folders are made as needed.
class FolderFile {
 public:
  // Throws CommandError, as close() does.
  explicit FolderFile(std::filesystem::path path);
  // What was not closed is not there.
  ~FolderFile();
  FolderFile(const FolderFile&) = delete;
  FolderFile& operator=(const FolderFile&) = delete;

  std::ostream& stream() { return stream_; }
  void close();

 private:
  std::filesystem::path path_, beside_;
  std::ofstream stream_;
  bool isOpen_ = true;
};

}  // namespace kelvane::cli
