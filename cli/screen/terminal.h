// Asks for a secret on the terminal.
//
// Lifetime and threading: a free function; the program's first thread, before it starts others.
#pragma once

#include <optional>
#include <string>

namespace kelvane::cli {

// What the user types, without showing it; none when the process has no terminal or the user ends
// the input. However it ends, by a signal too, the terminal shows again what is typed.
std::optional<std::string> askOnTerminal(const std::string& question);

}  // namespace kelvane::cli
