// Reads the schema of one side through the component and finds out what is missing from it.
//
// Lifetime: results own what they hold. Threading: one thread.
#pragma once

#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

#include "ado/ado.h"
#include "cli/screen/status_line.h"
#include "cli/sides/trace.h"
#include "cli/words/read_extent.h"
#include "cli/words/selection.h"
#include "model/schema.h"
#include "settings/comparison_options.h"

namespace kelvane::cli {

struct SideReading {
  Schema schema;
  bool caseSensitive = false;
  std::vector<std::string> gaps;     // what could not be read, a line each; empty: all was read
  std::optional<ReadExtent> extent;  // where the reading ended too early
  bool complete = true;              // false when something of the side was not even loaded
  std::vector<std::string> viewsWithoutColumns;  // which nobody knows
  Selection::Tally selected;
};

// Reads the objects that `selection` does not leave unread, until a stop is requested or the server
// does not answer any more. `side`
// ("source") goes before progress and gaps; `trace` may be null.
SideReading readSide(ado::Connection& connection, std::string_view side,
                     const std::shared_ptr<cComparisonOptions>& options, StatusLine& line,
                     Trace* trace, const std::stop_token& stop = {},
                     const Selection& selection = {});

}  // namespace kelvane::cli
