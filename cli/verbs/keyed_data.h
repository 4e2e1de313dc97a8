// kelvane data SOURCE TARGET, rows by their keys
//
// Lifetime and threading: free functions; nothing is kept.
#pragma once

#include <array>
#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "cli/screen/console.h"
#include "cli/sides/side.h"
#include "cli/verbs/keyed_report.h"

namespace kelvane::cli {

struct KeyedRequest {
  std::vector<std::u16string> patterns;                  // of tables; none: all
  std::map<std::string, std::vector<std::string>> keys;  // asked for, by the name of the table
  rows::PlanOptions comparing = {};                      // but for the key
  std::size_t shown = 0;                                 // rows of each table
  std::optional<std::string> trace;
};

// Compares the tables of two open sides. Throws CommandError for patterns and keys that match no
// table.
KeyedReport compareByKey(const KeyedRequest& request, std::span<const std::unique_ptr<Side>> sides,
                         const std::array<std::string, 2>& shown, const Console& console);

}  // namespace kelvane::cli
