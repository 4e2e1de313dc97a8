#include "bench/live_bytes.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <malloc.h>
#include <new>

namespace {

// What a thread has not told yet: telling each allocation would make threads wait for each other.
constexpr std::int64_t kMostUntold = 16 << 10;
std::atomic<std::int64_t> live = 0;
thread_local std::int64_t untold = 0;

void count(std::int64_t bytes) {
  untold += bytes;
  if (untold > -kMostUntold && untold < kMostUntold) return;
  live.fetch_add(untold, std::memory_order_relaxed);
  untold = 0;
}

std::int64_t sizeOf(void* memory) { return static_cast<std::int64_t>(malloc_usable_size(memory)); }

}  // namespace

void* operator new(std::size_t size) {
  void* memory = std::malloc(size);
  if (!memory) throw std::bad_alloc();
  count(sizeOf(memory));
  return memory;
}
void operator delete(void* memory) noexcept {
  if (memory) count(-sizeOf(memory));
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept { ::operator delete(memory); }

std::size_t kelvane::bench::liveBytes() { return static_cast<std::size_t>(live + untold); }
