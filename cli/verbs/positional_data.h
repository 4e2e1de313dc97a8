// kelvane data SOURCE TARGET --by-position: rows in the order in which the servers return them
//
// Lifetime and threading: free functions; nothing is kept.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "cli/screen/console.h"
#include "cli/sides/side.h"
#include "cli/verbs/data_report.h"
#include "cli/words/two_sides.h"
#include "host/host.h"

namespace kelvane::cli {

struct PositionalRequest {
  const TwoSides& sides;
  const AppPreferences& limits;
  const std::vector<std::u16string>& patterns;  // of tables; none: all
  std::size_t shown = 0;                        // differing values of each table
  std::optional<std::string> trace = {};
};

// Compares the tables of two open sides. Throws CommandError for patterns that match no table.
DataReport compareByPosition(const PositionalRequest& request,
                             std::span<const std::unique_ptr<Side>> sides, const Console& console);

}  // namespace kelvane::cli
