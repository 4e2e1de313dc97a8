#include "bench/live_bytes.h"

#include <atomic>
#include <cstdlib>
#include <malloc.h>
#include <new>

namespace {

// Some benchmarks read in threads of their own.
std::atomic<std::size_t> live = 0;

}  // namespace

void* operator new(std::size_t size) {
  void* memory = std::malloc(size);
  if (!memory) throw std::bad_alloc();
  live.fetch_add(malloc_usable_size(memory), std::memory_order_relaxed);
  return memory;
}
void operator delete(void* memory) noexcept {
  if (memory) live.fetch_sub(malloc_usable_size(memory), std::memory_order_relaxed);
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept { ::operator delete(memory); }

std::size_t kelvane::bench::liveBytes() { return live.load(); }
