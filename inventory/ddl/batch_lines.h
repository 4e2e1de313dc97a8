// Lines of a script that mean something between its batches.
//
// Free functions without state.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

#include "inventory/ddl/script.h"

namespace kelvane::inventory {

inline constexpr std::string_view kQuotedIdentifierOn = "set quoted_identifier on";
/// Stands before a text that has no line end of its own, but for the `go` behind it.
inline constexpr std::string_view kEndsWithinLine =
    "-- The text that follows ends without a line end.";

/// The line that begins there, without its end.
std::string_view lineAt(std::string_view text, std::size_t begin);
/// Where the next one begins.
std::size_t nextLine(std::string_view text, std::size_t begin);
/// go, GO 2
bool isBatchEnd(std::string_view line);
/// Also exit, quit, reset, :r and !!, with which isql does something else.
bool isCommand(std::string_view line);
/// Whether the text would not be one batch.
bool hasCommand(std::string_view text);

/// -- Phase: bindings
std::string_view headingOf(Phase phase);
std::optional<Phase> phaseOfHeading(std::string_view line);
/// The one that the file of such an object begins with, which has no heading.
Phase usualPhase(Kind kind);

}  // namespace kelvane::inventory
