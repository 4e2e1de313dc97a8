// Pairs of scripts that differ in one thing, from the files of the folder contract/:
//
//   # what it is, the release that has it
//     a line of both scripts
//   - a line of the source
//   + a line of the target
//   = a difference
#pragma once

#include <fstream>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "tests/inventory_read/support.h"

namespace kelvane::inventory {

struct Pair {
  std::string about;
  Release since = Release::ase125;
  std::string source, target;
  Lines expected;
};

inline void PrintTo(const Pair& pair, std::ostream* out) { *out << pair.about; }

inline Release contractRelease(std::string_view name) {
  return name == "16" ? Release::ase16 : name == "15" ? Release::ase15 : Release::ase125;
}

inline std::string unescaped(std::string line) {
  for (std::size_t at = 0; (at = line.find("\\n", at)) != std::string::npos;)
    line.replace(at, 2, "\n");
  return line;
}

inline std::vector<Pair> pairsIn(const std::string& path) {
  std::ifstream file(path);
  std::vector<Pair> pairs;
  for (std::string line; std::getline(file, line);) {
    if (line.empty()) continue;
    const std::string text = line.substr(2) + "\n";
    if (line[0] == '#') {
      const std::size_t comma = line.rfind(", ");
      pairs.push_back(
          {line.substr(2, comma - 2), contractRelease(line.substr(comma + 2)), {}, {}, {}});
    } else if (line[0] == '=') {
      pairs.back().expected.push_back(unescaped(line.substr(2)));
    } else {
      if (line[0] != '+') pairs.back().source += text;
      if (line[0] != '-') pairs.back().target += text;
    }
  }
  return pairs;
}

inline std::vector<Pair> pairsOf(const std::string& name) {
  return pairsIn(std::string(KELVANE_CONTRACT) + "/" + name + ".txt");
}

}  // namespace kelvane::inventory
