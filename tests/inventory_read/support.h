// Scripts loaded into the embedded catalog, and what the reader finds there.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ado/ado.h"
#include "drivers/embedded/connection.h"
#include "inventory/compare/compare.h"
#include "inventory/read/reader.h"

namespace kelvane::inventory {

using embedded::Release;
using Lines = std::vector<std::string>;

/// A catalog with a script, each line of which is a batch. A statement that fails fails the test.
embedded::EmbeddedCatalog catalogOf(std::string_view script, std::optional<Release> release);

Database readAll(ado::Connection& connection, const ReadOptions& options = {});
/// What the catalog of a script declares. Gaps fail the test.
Database databaseOf(std::string_view script, std::optional<Release> release);

/// Calls test(release) for 12.5, 15 and 16 from `since` on.
template <class Test>
void onReleases(Release since, Test test) {
  for (const Release release : {Release::ase125, Release::ase15, Release::ase16}) {
    if (release >= since) test(release);
  }
}

}  // namespace kelvane::inventory
