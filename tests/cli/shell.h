// Runs a line of a shell.
//
// Lifetime and threading: a free function without state.
#pragma once

#include <array>
#include <cstdio>
#include <string>

namespace kelvane::testing {

// What a command writes, standard error included.
inline std::string outputOf(const std::string& command) {
  std::FILE* const pipe = popen(("{ " + command + "; } 2>&1").c_str(), "r");
  std::string text;
  std::array<char, 4096> bytes{};
  while (const std::size_t read = std::fread(bytes.data(), 1, bytes.size(), pipe))
    text.append(bytes.data(), read);
  pclose(pipe);
  return text;
}

}  // namespace kelvane::testing
