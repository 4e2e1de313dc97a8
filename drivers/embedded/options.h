// What may be chosen about an embedded catalog before anything is in it.
//
// Plain values.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

namespace kelvane::embedded {

/// Which releases of the server the catalog can be, where they differ.
enum class Release { ase125, ase15, ase16 };

struct CatalogOptions {
  /// None: a 12.5 that also takes the long names of later releases.
  std::optional<Release> release;
  /// Columns that say neither `null` nor `not null` take null, in every database until
  /// sp_dboption says otherwise.
  bool allowNullsByDefault = false;
  /// How much a batch and its repetitions may do before they end with an error, so that an endless
  /// loop does. One step is a statement that runs, a row that a cursor or an insert keeps, or a
  /// thousand instructions of the store; the default is a minute of work or two.
  std::uint64_t mostSteps = 10'000'000;

  /// Whether what came with the release is there: a catalog of no particular one knows everything.
  bool has(Release since) const { return !release || *release >= since; }
  bool isAtLeast15() const { return release && *release != Release::ase125; }
  /// The release whose statements are understood.
  int grammar() const {
    if (release == Release::ase125) return 12;
    return release == Release::ase15 ? 15 : 16;
  }
  /// In bytes.
  std::size_t longestName() const { return release == Release::ase125 ? 30 : 255; }
};

}  // namespace kelvane::embedded
