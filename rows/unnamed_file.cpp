#include "rows/unnamed_file.h"

#include <cerrno>
#include <cstdlib>
#include <string>
#include <system_error>
#include <unistd.h>

namespace kelvane::rows {
namespace {

[[noreturn]] void throwErrno(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

}  // namespace

UnnamedFile unnamedFile() {
  const char* const folder = std::getenv("TMPDIR");
  std::string path = std::string(folder == nullptr || *folder == 0 ? "/tmp" : folder);
  path += "/kelvane.XXXXXX";
  const int descriptor = mkstemp(path.data());
  if (descriptor < 0) throwErrno("rows do not fit in memory, and no temporary file could be made");
  unlink(path.c_str());
  UnnamedFile file(fdopen(descriptor, "w+b"));
  if (!file) throwErrno("a temporary file could not be opened");
  return file;
}

void writeTo(std::FILE* file, const void* data, std::size_t size) {
  if (std::fwrite(data, 1, size, file) != size) throwErrno("a temporary file could not be written");
}

bool readFrom(std::FILE* file, void* data, std::size_t size) {
  if (std::fread(data, 1, size, file) == size) return true;
  if (std::ferror(file) != 0) throwErrno("a temporary file could not be read");
  return false;
}

void rewindWritten(std::FILE* file) {
  if (std::fflush(file) != 0) throwErrno("a temporary file could not be written");
  std::rewind(file);
}

}  // namespace kelvane::rows
