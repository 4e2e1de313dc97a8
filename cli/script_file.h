// Reads script files.
//
// Lifetime and threading: a free function; nothing is kept.
#pragma once

#include <string>

namespace kelvane::cli {

// The bytes of the file. Throws CommandError, with the path and the reason, for what cannot be read
// or holds nothing but blanks.
std::string readScriptFile(const std::string& path);

}  // namespace kelvane::cli
