#include "cli/written_file.h"

#include <cerrno>
#include <cstring>
#include <utility>

#include "cli/console.h"

namespace kelvane::cli {

WrittenFile::WrittenFile(std::string what, std::string path)
    : what_(std::move(what)), path_(std::move(path)) {
  errno = 0;
  stream_.open(path_, std::ios::binary | std::ios::trunc);
  if (!stream_) refuse();
}

void WrittenFile::close() {
  errno = 0;
  stream_.close();
  if (!stream_) refuse();
}

void WrittenFile::refuse() const {
  throw CommandError({"cannot write " + what_ + " '" + path_ + "': " + std::strerror(errno)});
}

}  // namespace kelvane::cli
