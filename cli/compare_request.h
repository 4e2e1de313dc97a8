// The command line of `kelvane compare`, understood but not yet acted upon.
//
// Lifetime: results own what they hold. Threading: free functions without state.
#pragma once

#include <array>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "cli/arguments.h"
#include "cli/place.h"

namespace kelvane::cli {

inline constexpr std::array<std::string_view, 2> kSideNames{"source", "target"};

struct CompareRequest {
  std::array<Place, 2> places;  // source and target
  std::optional<std::string> trace;
};

std::span<const Option> compareOptions();

// `words`: what stands behind "compare". Opens nothing and asks for no password. Throws UsageError.
CompareRequest parseCompare(std::span<const std::string> words);

}  // namespace kelvane::cli
