#include "cli/screen/folder_file.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <system_error>
#include <unistd.h>
#include <utility>

#include "cli/screen/console.h"

namespace kelvane::cli {
namespace {

namespace fs = std::filesystem;

bool isSame(const fs::path& one, const fs::path& other) {
  std::error_code failed;
  if (fs::file_size(one, failed) != fs::file_size(other, failed) || failed) return false;
  std::ifstream left(one, std::ios::binary), right(other, std::ios::binary);
  using Bytes = std::istreambuf_iterator<char>;
  return left && right && std::equal(Bytes(left), Bytes(), Bytes(right));
}

}  // namespace

void refuseFile(std::string_view what, const fs::path& path, const std::string& reason) {
  throw CommandError({"cannot " + std::string(what) + " '" + path.string() + "': " + reason});
}

FolderFile::FolderFile(fs::path path) : path_(std::move(path)) {
  std::error_code failed;
  fs::create_directories(path_.parent_path(), failed);
  if (failed) refuseFile("create", path_.parent_path(), failed.message());
  beside_ = path_.parent_path() / (".kelvane-" + std::to_string(getpid()));
  errno = 0;
  stream_.open(beside_, std::ios::binary | std::ios::trunc);
  if (!stream_) refuseFile("write", path_, std::strerror(errno));
}

FolderFile::~FolderFile() {
  if (!isOpen_) return;
  stream_.close();
  std::error_code none;
  fs::remove(beside_, none);
}

void FolderFile::close() {
  errno = 0;
  stream_.close();
  if (!stream_) refuseFile("write", path_, std::strerror(errno));
  if (isSame(beside_, path_)) return;
  std::error_code none;
  if (const fs::perms kept = fs::status(path_, none).permissions(); !none)
    fs::permissions(beside_, kept, none);
  std::error_code failed;
  fs::rename(beside_, path_, failed);
  if (failed) refuseFile("write", path_, failed.message());
  isOpen_ = false;
}

}  // namespace kelvane::cli
