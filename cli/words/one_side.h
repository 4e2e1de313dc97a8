// The command lines of the commands that read one database.
//
// Lifetime: results own what they hold. Threading: free functions without state.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "cli/words/arguments.h"
#include "cli/words/place.h"
#include "cli/words/side_arguments.h"

namespace kelvane::cli {

inline constexpr SideOptions kOneSide{"--server", "--user", "--database", "--password-file"};

// The options of kOneSide.
OptionFamily oneSideOptions();

// What `COMMAND SIDE [FURTHER]` was given.
struct OneSide {
  Place place;
  std::string shown;                   // as the user calls it
  std::optional<std::string> further;  // the operand behind the side
};

// A side of several scripts is parted from what follows by "--". Throws UsageError, in which
// `command` and `further` are what they are called.
OneSide oneSide(const Arguments& arguments, std::string_view command, std::string_view further);

}  // namespace kelvane::cli
