// What a comparison of many databases with one reference found, and how it is written.
//
// Lifetime: plain values. Threading: free functions without state.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "cli/screen/console.h"
#include "inventory/kinds.h"

namespace kelvane::cli {

enum class FleetOutcome : std::uint8_t {
  equal,
  differs,
  unread,    // not, or not to its end
  notBegun,  // after Ctrl-C, or after another one with --fail-fast
};

// A difference in a line, and the object whose it is.
struct FleetDifference {
  inventory::Kind kind;
  std::string object, line;
  enum class Where : std::uint8_t { reference, target, both } where;
};

struct FleetTarget {
  std::string name;
  FleetOutcome outcome = FleetOutcome::notBegun;
  std::vector<std::string> causes = {};           // of FleetOutcome::unread, a line each
  std::vector<std::string> notes = {};            // what was left out, a line each
  std::vector<FleetDifference> differences = {};  // of what was read
  // The same of targets with the same differences, to the last letter of each definition.
  std::string signature = {};
  double seconds = 0;

  ExitStatus status() const;
};

struct FleetGroup {
  std::vector<std::size_t> targets;  // places in FleetResult::targets
};

struct FleetResult {
  std::string reference;
  std::vector<FleetTarget> targets;  // as on the command line
  bool wasInterrupted = false;

  // Those that differ, by what differs: the largest first.
  std::vector<FleetGroup> groups() const;
  // The worst of all: an error, then what is not proven, then differences.
  ExitStatus status() const;
};

void writeText(const FleetResult& result, std::ostream& out);
void writeJson(const FleetResult& result, std::ostream& out);

}  // namespace kelvane::cli
