// Tries a change script on a copy of the target in the embedded catalog.
//
// Lifetime: results own what they hold, but for the changes, which refer to both databases.
// Threading: free functions.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "change_script/steps.h"
#include "inventory/compare/compare.h"
#include "inventory/ddl/ddl.h"
#include "inventory/records.h"

namespace kelvane::cli {

struct Proof {
  std::vector<std::string> obstacles;  // why nothing is proved, a line each
  inventory::Database result;          // what the target is after the script
};

// `script` is the text that would be handed out.
Proof prove(const inventory::Database& target, std::optional<inventory::TargetRelease> release,
            const std::string& script);

}  // namespace kelvane::cli
