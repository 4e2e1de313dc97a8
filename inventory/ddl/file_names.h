// Names of objects as names of files, on any file system.
//
// Free functions without state.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "inventory/ddl/script.h"

namespace kelvane::inventory {

/// customer, my%20table. Letters other than those of ASCII, and all that a file system may give a
/// meaning to, stand as %XX.
std::string fileName(const std::vector<std::string>& parts);

/// Names that differ in letter case alone would be one file on some systems: of those the capital
/// letters stand as %XX too.
void tellApart(std::vector<ScriptedObject>& objects);

}  // namespace kelvane::inventory
