// Reads the databases that a command works on: opens them, asks for passwords, shows progress,
// takes Ctrl-C, keeps a trace.
//
// Lifetime: results own what they hold. Threading: one thread calls; sides are opened and read in
// threads of their own.
#pragma once

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "cli/screen/console.h"
#include "cli/screen/interruption.h"
#include "cli/screen/status_line.h"
#include "cli/sides/side.h"
#include "cli/sides/side_reader.h"
#include "cli/words/place.h"
#include "settings/comparison_options.h"

namespace kelvane::cli {

// A side and what it is called in messages: "source".
struct NamedPlace {
  std::string_view name;
  Place place;
};

struct Readings {
  std::vector<SideReading> sides;    // as the places
  cComparisonOptions switches;       // those of the wanted ones that all sides were read under
  std::vector<std::string> missing;  // a line for each side and wanted switch that it lacks
};

inline constexpr std::string_view kNothingRead = "interrupted while loading: there is no result";

// Asks for the passwords that are wanting and opens the places, two at the same time; nothing for a
// snapshot and for files of rows. Throws CommandError.
std::vector<std::unique_ptr<Side>> openSides(std::span<NamedPlace> places, const Console& console,
                                             const OpenSide& open);

// What ends the reading of databases in an orderly way after Ctrl-C. Sides and line outlive it.
Interruption interruptionOf(std::span<const std::unique_ptr<Side>> sides, StatusLine& line);

// Reads one or two places, two at the same time (in turn with a trace: it tells what happened in
// its order). Snapshots are not read anew: the others are read under the switches that they have.
// What `selection` leaves out is not read from databases; from snapshots it is not taken yet.
// Throws CommandError.
Readings readPlaces(std::vector<NamedPlace> places, const cComparisonOptions& wanted,
                    const std::optional<std::string>& trace, const Console& console,
                    const OpenSide& open, const Selection& selection = {});

}  // namespace kelvane::cli
