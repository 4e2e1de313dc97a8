// Where the passwords of servers come from: never from the command line, which everybody on the
// machine can read.
//
// Lifetime and threading: free functions without state; one thread, for they read the environment
// and talk to the terminal.
#pragma once

#include <string_view>

#include "cli/screen/console.h"
#include "cli/words/place.h"

namespace kelvane::cli {

// Completes the address with the password, and with the user where only the data source tells it.
// The first of these gives it: the side's file, KELVANE_SOURCE_PASSWORD (for `side` "source"), the
// data source, KELVANE_PASSWORD where the user is known, and, where the place names a user, the
// console. Throws CommandError when none does although the place names a user, and for what the
// record of a login cannot hold. No text of it holds the password.
void givePassword(ServerPlace& place, std::string_view side, const Console& console);

}  // namespace kelvane::cli
