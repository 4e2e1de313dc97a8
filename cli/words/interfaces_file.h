// The file in which clients of ASE look up servers:
//
//   PROD
//       master tcp ether db1.example.com 5000
//       query tcp ether db1.example.com 5000
//
// Lifetime: results own what they hold. Threading: a free function without state.
#pragma once

#include <string>
#include <vector>

namespace kelvane::cli {

struct InterfacesEntry {
  std::string name;
  std::string server;  // host:port, of its first query line
};

// In the order of the file; entries without a line that a client would use are left out. Addresses
// may also be hexadecimal digits, as System V had them. Throws UsageError for a file that cannot be
// read or has no entry.
std::vector<InterfacesEntry> entriesOfInterfaces(const std::string& path);

}  // namespace kelvane::cli
