// What is fuzzed: any bytes, taken for a snapshot. What is read is written so that the same is read
// again.
#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string_view>

#include "inventory/store/snapshot.h"

namespace kelvane::inventory {
namespace {

void read(std::string_view text) {
  Snapshot snapshot;
  try {
    snapshot = readSnapshot(text);
  } catch (const SnapshotError&) {
    return;
  }
  std::ostringstream written;
  writeSnapshot(snapshot, written);
  if (readSnapshot(written.view()) != snapshot) __builtin_trap();
}

}  // namespace
}  // namespace kelvane::inventory

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  kelvane::inventory::read({reinterpret_cast<const char*>(data), size});
  return 0;
}
