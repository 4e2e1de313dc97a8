// Tries a change script on a copy of the target in the embedded catalog.
//
// Lifetime: results own what they hold, but for the changes, which refer to both databases.
// Threading: free functions.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "change_script/steps.h"
#include "drivers/embedded/options.h"
#include "inventory/compare/changes.h"
#include "inventory/ddl/ddl.h"
#include "inventory/records.h"

namespace kelvane::cli {

// The release of a catalog that stands for such a server.
std::optional<embedded::Release> embeddedRelease(std::optional<inventory::TargetRelease> release);

struct Trial {
  const inventory::Database& target;
  const std::vector<inventory::Change>& changes;  // that the script ends
  const std::string& script;                      // the text that would be handed out
  std::optional<inventory::TargetRelease> release;
  std::vector<inventory::Role> roles;  // of the server, that `target` lacks and that it names
};

struct Proof {
  std::vector<std::string> obstacles;  // why nothing is proved, a line each
  inventory::Database result;          // what the target is after the script
};

Proof prove(const Trial& trial);

}  // namespace kelvane::cli
