// A folder with a file for each object, which stays apart from what people write there.
//
// Lifetime: the script and the console outlive the call. Threading: one thread.
#pragma once

#include <string>

#include "cli/screen/console.h"
#include "inventory/ddl/script.h"

namespace kelvane::cli {

// Files that would be the same are left alone. `removesOthers`: files of ours that stand for
// nothing in the script are removed, and a line says so. Throws CommandError, for a file that
// somebody else wrote before anything is written.
void writeFolder(const inventory::Script& script, const std::string& folder, bool removesOthers,
                 const Console& console);

}  // namespace kelvane::cli
