// The names of files that have the rows of a table.
//
// Lifetime and threading: free functions without state.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "inventory/records.h"

namespace kelvane::cli {

// Without an ending, one for each of the tables, as files of `kelvane ddl` are named: tables of dbo
// by their name, others by owner.name.
std::vector<std::string> rowFileNames(const std::vector<inventory::QualifiedName>& tables);
// Back again, as far as a name tells.
inventory::QualifiedName tableOfFile(std::string_view name);

}  // namespace kelvane::cli
