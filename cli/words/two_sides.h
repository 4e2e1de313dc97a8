// The command lines of the commands that read two databases.
//
// Lifetime: results own what they hold. Threading: free functions without state.
#pragma once

#include <array>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "cli/words/arguments.h"
#include "cli/words/place.h"
#include "cli/words/side_arguments.h"

namespace kelvane::cli {

inline constexpr std::array<SideOptions, 2> kTwoSides{{
    {"--source-server", "--source-user", "--source-database", "--source-password-file"},
    {"--target-server", "--target-user", "--target-database", "--target-password-file"},
}};

// The options of kTwoSides.
OptionFamily twoSidesOptions();

struct TwoSides {
  std::array<Place, 2> places;         // source and target
  std::array<std::string, 2> shown{};  // how the user calls them, without secrets
};

// `command` is what it is called in complaints; `rowFiles` says how files of rows are read, where
// it takes them. Throws UsageError.
TwoSides twoSides(const Arguments& arguments, std::string_view command,
                  const std::optional<rows::RowFileForm>& rowFiles = {});

}  // namespace kelvane::cli
