#include "cli/screen/destination.h"

#include <charconv>
#include <system_error>
#include <unistd.h>

namespace kelvane::cli {
namespace {

namespace fs = std::filesystem;

constexpr int kMostLinks = 40;

// /proc/PID/fd holds links whose targets are no paths that could be opened instead.
std::optional<int> ownDescriptor(const fs::path& folder, const std::string& name) {
  if (folder != "/proc/" + std::to_string(getpid()) + "/fd") return std::nullopt;
  int number = -1;
  const char* const end = name.data() + name.size();
  const auto [stop, error] = std::from_chars(name.data(), end, number);
  return error == std::errc() && stop == end ? std::optional(number) : std::nullopt;
}

}  // namespace

Destination destinationOf(const std::string& path) {
  fs::path at = path;
  for (int links = 0; links < kMostLinks; ++links) {
    std::error_code failed;
    const fs::path folder = fs::canonical(at.has_parent_path() ? at.parent_path() : ".", failed);
    if (failed) break;
    at = folder / at.filename();
    if (const auto descriptor = ownDescriptor(folder, at.filename().string()))
      return {at, descriptor};
    const fs::path target = fs::read_symlink(at, failed);
    if (failed) break;
    at = folder / target;
  }
  return {at, std::nullopt};
}

}  // namespace kelvane::cli
