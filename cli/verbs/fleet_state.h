// What a comparison of many databases found the last time, and what has changed since.
//
// Lifetime: plain values. Threading: free functions without state.
#pragma once

#include <map>
#include <ostream>
#include <string>
#include <vector>

#include "cli/screen/console.h"
#include "cli/verbs/fleet_result.h"

namespace kelvane::cli {

struct FleetState {
  struct Target {
    std::vector<std::string> differences = {};
    std::string digest = {};               // of all that differs; empty: nothing
    std::vector<std::string> causes = {};  // why it could not be read the last time
  };
  std::map<std::string, Target> targets;  // by name

  // Of a file that stateOf() was written to; nothing where there is none yet. Throws CommandError.
  static FleetState load(const std::string& path);
  void write(std::ostream& out) const;
};

// What is known behind a run: of a target that could not be read, what was known before.
FleetState stateAfter(const FleetState& before, const FleetResult& result);

// What is new and what is gone, by targets of which the same is to be said; nothing where nothing
// has changed. The status is that of the news.
ExitStatus writeNews(const FleetState& before, const FleetState& after, const FleetResult& result,
                     std::ostream& out);

}  // namespace kelvane::cli
