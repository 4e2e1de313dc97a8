// Scripts of which some are in folders that kelvane ddl wrote.
//
// Free functions.
#pragma once

#include <filesystem>
#include <optional>
#include <span>
#include <vector>

#include "drivers/embedded/script.h"

namespace kelvane::cli {

// In the order in which they run. None if no folder was written by kelvane ddl, and if something
// cannot be read, which the loader says.
std::optional<std::vector<embedded::ScriptText>> textsInOrder(
    std::span<const std::filesystem::path> places);

// The scripts of one folder, sorted by their paths: as they are, but for a folder of kelvane ddl.
std::vector<embedded::ScriptText> inRunningOrder(std::vector<embedded::ScriptText> texts);

}  // namespace kelvane::cli
