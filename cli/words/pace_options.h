// How a comparison of rows that takes long is to go: as the command line says it.
//
// Lifetime: plain values. Threading: free functions without state.
#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "cli/words/arguments.h"
#include "rows/ranged_rows.h"

namespace kelvane::cli {

struct PaceOptions {
  std::optional<rows::RangePace> ranges;                    // none: one statement a table
  std::optional<std::chrono::duration<double>> secondLook;  // none: there is none
  std::optional<std::string> resume;
  std::size_t connections = 1;  // to each server
};

inline constexpr std::string_view kResume = "--resume", kRecheck = "--recheck", kExact = "--exact",
                                  kChecksums = "--checksums", kParallel = "--parallel";

OptionFamily paceOptionFamily();

// Whether one of them is on the command line itself; its name, else empty.
std::string_view givenPaceOption(const Arguments& arguments);

// Throws UsageError.
PaceOptions paceOptionsOf(const Arguments& arguments);

}  // namespace kelvane::cli
