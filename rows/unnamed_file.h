// Temporary files that no other program can open.
//
// Lifetime: gone as soon as they are closed, however that happens. Threading: one thread a file.
#pragma once

#include <cstddef>
#include <cstdio>
#include <memory>

namespace kelvane::rows {

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using UnnamedFile = std::unique_ptr<std::FILE, CloseFile>;

/// In TMPDIR, or in /tmp. Throws std::system_error, as all of these do.
UnnamedFile unnamedFile();

void write(std::FILE* file, const void* data, std::size_t size);
/// To the first byte, for reading or writing again.
void rewindFile(std::FILE* file);
/// False at the end.
bool read(std::FILE* file, void* data, std::size_t size);

}  // namespace kelvane::rows
