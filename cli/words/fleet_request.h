// The command line of `kelvane fleet`, understood but not yet acted upon.
//
// Lifetime: results own what they hold. Threading: free functions without state.
#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "cli/words/arguments.h"
#include "cli/words/compare_request.h"
#include "cli/words/place.h"
#include "cli/words/result_files.h"
#include "cli/words/script_request.h"

namespace kelvane::cli {

struct FleetPlace {
  std::string name;  // how the user calls it, without secrets
  Place place;
  std::vector<std::string> accepts = {};  // files of known differences of this one
};

enum class FleetFormat { text, json };

struct FleetRequest {
  FleetPlace reference;
  std::vector<FleetPlace> targets;  // each once
  CompareRequest comparing;         // but for the sides
  std::size_t jobs = 8;             // targets that are read at the same time
  std::optional<std::chrono::seconds> targetLimit;
  bool failsFast = false;
  FleetFormat format = FleetFormat::text;
  std::optional<std::string> output;
  ResultFiles results;
  std::optional<std::string> pages, scripts;  // folders for a file of each group
  std::optional<ScriptRequest> scripting;     // where there are scripts
  std::optional<std::string> state;           // the file that keeps what was found
};

std::vector<OptionFamily> fleetOptions();
// Opens nothing and asks for no password. Throws UsageError.
FleetRequest fleetRequest(const Arguments& arguments);

}  // namespace kelvane::cli
