// The files of a database's objects: what stands in them, and the order in which they run.
//
// A file holds one object, in phases. In a folder of such files a phase of all of them comes before
// the next one, and texts that use others come behind those.
//
// Free functions without state.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "inventory/ddl/script.h"

namespace kelvane::inventory {

/// The first line of each file begins with it.
inline constexpr std::string_view kFileMark = "-- Written by kelvane ddl: ";

/// A comment in a batch of its own, so that it is not kept as a part of what follows.
std::string fileHead(std::string_view of);
std::string fileText(const ScriptedObject& object);

/// A script of its own.
struct FilePart {
  std::size_t file = 0;   ///< the number of the file
  std::string text = {};  ///< with its lines where they are in the file
};

/// The texts of files in the order of their names, as they run. Those that were written by hand
/// come before or behind the others, as their names do.
std::vector<FilePart> inRunningOrder(std::span<const std::string> texts, bool ignoresCase);

}  // namespace kelvane::inventory
