// A database's inventory as text to keep: JSON in which nothing but the database changes the text,
// an attribute a line, and from which the very same inventory is read again.
//
// Free functions. Threading: none of their own.
#pragma once

#include <iosfwd>
#include <stdexcept>
#include <string>
#include <string_view>

#include "inventory/records.h"

namespace kelvane::inventory {

/// What is written into every snapshot, and the only one that is read.
inline constexpr int kSnapshotFormat = 2;

struct Snapshot {
  Database database = {};
  std::string taken = {};  ///< when, where that is to be kept; else empty
  bool operator==(const Snapshot&) const = default;
};

/// The text is no snapshot that can be read: what is wrong, and in which line (1-based) or record.
struct SnapshotError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// Writes UTF-8; what is not declared is left out. Equal snapshots give equal texts. A text of the
/// database that is no UTF-8 is written as bytes.
void writeSnapshot(const Snapshot& snapshot, std::ostream& out);

/// Throws SnapshotError for anything that writeSnapshot does not write.
Snapshot readSnapshot(std::string_view text);

}  // namespace kelvane::inventory
