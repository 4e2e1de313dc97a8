// What a command line says about the script that makes the rows of the target like the source's.
//
// Lifetime: results own what they hold. Threading: free functions without state.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "cli/words/arguments.h"
#include "inventory/ddl/ddl.h"

namespace kelvane::cli {

inline constexpr std::string_view kRowScript = "--script", kRowAllow = "--allow",
                                  kRowBatch = "--batch", kRowNoProof = "--no-proof",
                                  kRowDelete = "delete";  // of --allow

struct RowScriptRequest {
  std::string path;
  bool allowsDelete = false;
  std::size_t batchRows = 100;                           ///< in one transaction
  bool isTried = true;                                   ///< on a copy of the target
  std::optional<inventory::TargetRelease> release = {};  ///< that of --ase; servers say theirs
};

std::span<const Option> rowScriptOptions();
/// None where no script is asked for. Throws UsageError.
std::optional<RowScriptRequest> rowScriptRequest(const Arguments& arguments);
/// Of rows behind a script for the schema, whose --allow has words of its own. Throws UsageError.
RowScriptRequest rowsOfScript(const Arguments& arguments);

}  // namespace kelvane::cli
