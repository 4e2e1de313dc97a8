#include "bench/live_bytes.h"

#include <cstdlib>
#include <malloc.h>
#include <new>

namespace {

std::size_t live = 0;  // the benchmarks run on one thread

}  // namespace

void* operator new(std::size_t size) {
  void* memory = std::malloc(size);
  if (!memory) throw std::bad_alloc();
  live += malloc_usable_size(memory);
  return memory;
}
void operator delete(void* memory) noexcept {
  if (memory) live -= malloc_usable_size(memory);
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept { ::operator delete(memory); }

std::size_t kelvane::bench::liveBytes() { return live; }
