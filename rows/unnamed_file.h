// Files for what does not fit in memory: nobody else can open them, and they are gone when they are
// closed, however that happens.
//
// Lifetime: as the pointer. Threading: one thread.
#pragma once

#include <cstddef>
#include <cstdio>
#include <memory>

namespace kelvane::rows {

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using UnnamedFile = std::unique_ptr<std::FILE, CloseFile>;

/// In TMPDIR. Throws std::system_error, as all below.
UnnamedFile unnamedFile();

void writeTo(std::FILE* file, const void* data, std::size_t size);
/// False at the end.
bool readFrom(std::FILE* file, void* data, std::size_t size);
/// To read from the beginning what was written.
void rewindWritten(std::FILE* file);

}  // namespace kelvane::rows
