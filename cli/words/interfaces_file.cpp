#include "cli/words/interfaces_file.h"

#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <optional>
#include <sstream>
#include <string_view>

#include "cli/words/arguments.h"

namespace kelvane::cli {
namespace {

// \x0002PPPPAAAAAAAA...: the family, the port and the address, in hexadecimal digits.
std::optional<std::string> fromHexadecimal(std::string_view digits) {
  constexpr std::string_view kBegin = "\\x0002";
  if (!digits.starts_with(kBegin) || digits.size() < kBegin.size() + 12) return std::nullopt;
  std::uint32_t port = 0, address = 0;
  const char* const at = digits.data() + kBegin.size();
  if (std::from_chars(at, at + 4, port, 16).ptr != at + 4 ||
      std::from_chars(at + 4, at + 12, address, 16).ptr != at + 12)
    return std::nullopt;
  std::string server;
  for (const int shift : {24, 16, 8, 0})
    server += (server.empty() ? "" : ".") + std::to_string(address >> shift & 0xFF);
  return server + ":" + std::to_string(port);
}

// query tcp ether HOST PORT, query tli tcp /dev/tcp \x0002...
std::optional<std::string> serverOf(const std::string& line) {
  std::istringstream words(line);
  std::string service, protocol, network, host, port;
  words >> service >> protocol >> network >> host >> port;
  if (service != "query") return std::nullopt;
  if (protocol == "tli") return fromHexadecimal(port);
  if (port.empty()) return std::nullopt;
  return host + ":" + port;
}

}  // namespace

std::vector<InterfacesEntry> entriesOfInterfaces(const std::string& path) {
  errno = 0;
  std::ifstream file(path, std::ios::binary);
  if (!file) throw UsageError("'" + path + "' cannot be read: " + std::strerror(errno));
  std::vector<InterfacesEntry> entries;
  std::string name;
  for (std::string line; std::getline(file, line);) {
    if (line.empty() || line.front() == '#') continue;
    if (line.front() != ' ' && line.front() != '\t') {
      name = line.substr(0, line.find_first_of(" \t\r"));
      continue;
    }
    const auto server = serverOf(line);
    if (!server || name.empty()) continue;
    entries.push_back({std::move(name), *server});
    name.clear();
  }
  if (entries.empty()) throw UsageError("'" + path + "' has no entry of a server");
  return entries;
}

}  // namespace kelvane::cli
