// What a command line says about the script that makes the target like the source.
//
// Lifetime: results own what they hold. Threading: free functions without state.
#pragma once

#include <string_view>

#include "change_script/plan.h"
#include "cli/words/arguments.h"

namespace kelvane::cli {

inline constexpr std::string_view kAllow = "--allow", kNoProof = "--no-proof", kRename = "--rename",
                                  kScriptData = "--data";

struct ScriptRequest {
  change_script::PlanOptions plan;  // its release: that of --ase; servers say theirs
  bool isTried = true;              // on a copy of the target
  bool checksDatabase = true;       // that it runs in one of the target's name
};
// Throws UsageError.
ScriptRequest scriptRequest(const Arguments& arguments);

}  // namespace kelvane::cli
