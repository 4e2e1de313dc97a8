// Scripts of a revision in a git repository, read from its object store: nothing is checked out and
// no file is written. The `git` command of the machine does it, so that it works wherever that does
// (work trees, partial clones, settings of the user).
//
// Lifetime: results own what they hold. Threading: free functions without state.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "cli/screen/console.h"
#include "drivers/embedded/script.h"

namespace kelvane::cli {

// The scripts that files and folders stand for, in the order in which they run: those that
// embedded::scriptsOf would find in a work tree. Each is called "REVISION:path from the root of the
// repository". Symbolic links and submodules are left out, which the console is told. Throws
// CommandError.
std::vector<embedded::ScriptText> scriptsOfRevision(const std::string& revision,
                                                    const std::vector<std::string>& paths,
                                                    const Console& console);

// The best common ancestor of two revisions. Throws CommandError.
std::string mergeBaseOf(const std::string& one, const std::string& other, const std::string& path);

}  // namespace kelvane::cli
