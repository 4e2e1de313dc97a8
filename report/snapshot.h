// A schema as text to keep: JSON in which nothing but the schema changes the text, an attribute a
// line, and from which the very same schema is read again.
//
// Lifetime and threading: plain values and free functions; nothing is kept.
#pragma once

#include <iosfwd>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "model/schema.h"

namespace kelvane {

// What is written into every snapshot; a reader knows this one and those before it.
inline constexpr int kSnapshotFormat = 1;

struct Snapshot {
  Schema schema = {};
  bool caseSensitive = false;              // whether the database tells names apart by case
  std::vector<std::string> switches = {};  // those that were on when it was read, by name
  std::vector<std::string> gaps = {};      // what could not be read (UTF-8); empty: all was read
  std::string taken = {};                  // when, where that is to be kept; else empty
  bool operator==(const Snapshot&) const = default;
};

// The text is no snapshot that can be read: what is wrong, and in which line (1-based) or record.
struct SnapshotError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Writes UTF-8. Equal snapshots give equal texts.
void writeSnapshot(const Snapshot& snapshot, std::ostream& out);

// Throws SnapshotError for anything that writeSnapshot does not write.
Snapshot readSnapshot(std::string_view text);

}  // namespace kelvane
