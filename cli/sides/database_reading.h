// Reads what the databases that a command works on declare: scripts and servers with the
// statements of inventory/read, snapshots from their files.
//
// Lifetime: results own what they hold. Threading: one thread calls; sides are read in threads of
// their own.
#pragma once

#include <functional>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "cli/screen/console.h"
#include "cli/screen/status_line.h"
#include "cli/sides/reading.h"
#include "cli/sides/side.h"
#include "cli/sides/trace.h"
#include "cli/words/place.h"
#include "inventory/kinds.h"
#include "inventory/records.h"
#include "inventory/selection.h"

namespace kelvane::cli {

struct DatabaseReading {
  inventory::Database database;
  std::vector<std::string> gaps;  // of the whole side; those of the database are in its record
  std::string gapsBegin;          // what the user knows those by: "source: "
  bool wasRead = true;            // false when the reading broke off: the database is empty then
  std::vector<inventory::Selection::Unread> leftUnread;  // by the patterns
  std::vector<embedded::MadeObject> made;  // by scripts, where LoadSettings asked for it
  bool complete = true;                    // false when something of the side was not even loaded
};

struct ReadingWish {
  bool rowCounts = false;
  std::optional<std::string> trace;
  std::function<bool(inventory::Kind)> kinds = {};  // which to read; none: all
  // What it leaves out need not be read from servers.
  const inventory::Selection* selection = nullptr;
  std::optional<std::size_t> whole = {};  // the place of which all is read nevertheless
};

// What could not be read, a line each; empty: all was read. `concerns` chooses among the gaps of
// the database; none: all.
std::vector<std::string> gapsOf(const DatabaseReading& reading, const inventory::Database& database,
                                const std::function<bool(const inventory::Gap&)>& concerns = {});

// A side that is open. `wish.trace` is not looked at: `trace` may be null.
DatabaseReading readSide(Side& side, std::string_view name, const ReadingWish& wish,
                         const inventory::Selection* selection, StatusLine& line, Trace* trace,
                         const std::stop_token& stop);

// One or two places, two at the same time (in turn with a trace: it tells what happened in its
// order). Throws CommandError.
std::vector<DatabaseReading> readDatabases(std::vector<NamedPlace> places, const ReadingWish& wish,
                                           const Console& console, const OpenSide& open);

}  // namespace kelvane::cli
