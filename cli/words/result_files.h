// Which files a command writes for programs that collect results.
//
// Lifetime: results own what they hold. Threading: free functions without state.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/words/arguments.h"

namespace kelvane::cli {

inline constexpr std::string_view kJunit = "--junit", kMarkdown = "--markdown",
                                  kOpenMetrics = "--openmetrics", kSarif = "--sarif";
inline constexpr std::array kResultFiles{kJunit, kMarkdown, kOpenMetrics, kSarif};

struct ResultFiles {
  std::optional<std::string> junit, markdown, openMetrics, sarif;

  bool isEmpty() const { return !junit && !markdown && !openMetrics && !sarif; }
};

OptionFamily resultFileOptions();
ResultFiles resultFiles(const Arguments& arguments);

}  // namespace kelvane::cli
