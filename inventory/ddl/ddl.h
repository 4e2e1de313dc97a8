// A database as T-SQL that makes it again.
//
// Free functions. Threading: none; the database is only read.
#pragma once

#include <cstdint>
#include <optional>

#include "inventory/ddl/script.h"
#include "inventory/records.h"

namespace kelvane::inventory {

/// Those that differ in what can be declared.
enum class TargetRelease : std::uint8_t { ase125, ase15, ase16 };

/// What the server says that it is; none if it does not say.
std::optional<TargetRelease> releaseOf(const Server& server);

/// For a server of the release; none: of a release that has everything. What cannot be written is
/// a comment in its place, and an omission. `whole` has all that texts may name, where the database
/// is a part of it.
Script scriptOf(const Database& database, std::optional<TargetRelease> release,
                const Database& whole);
inline Script scriptOf(const Database& database, std::optional<TargetRelease> release) {
  return scriptOf(database, release, database);
}

}  // namespace kelvane::inventory
