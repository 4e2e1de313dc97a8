#include "cli/sides/snapshot_file.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "cli/screen/console.h"
#include "inventory/store/snapshot.h"

namespace kelvane::cli {

inventory::Database loadSnapshot(const SnapshotPlace& place) {
  const auto refusal = [&](const std::string& reason) {
    return CommandError({place.path + ": " + reason});
  };
  errno = 0;
  std::ifstream file(place.path, std::ios::binary);
  if (!file || std::filesystem::is_directory(place.path))
    throw refusal(errno != 0 ? std::strerror(errno) : "is not a file");
  std::ostringstream text;
  text << file.rdbuf();
  try {
    return inventory::readSnapshot(text.view()).database;
  } catch (const inventory::SnapshotError& error) {
    throw refusal(error.what());
  }
}

}  // namespace kelvane::cli
