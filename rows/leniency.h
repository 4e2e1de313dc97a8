// What about two values does not count when they are compared.
//
// Free functions without state.
#pragma once

#include <cstdint>
#include <string>

#include "ado/value.h"
#include "rows/packed_row.h"

namespace kelvane::rows {

/// Of texts, bytes where it says so, numbers and moments: what else they are does not matter.
struct Leniency {
  bool trims = false;        ///< blanks at both ends of a text do not count
  bool emptyIsNull = false;  ///< null, and a text or bytes without anything but blanks, are equal
  bool ignoresCase = false;
  double tolerance = 0;              ///< between approximate numbers
  ado::Decimal exactTolerance = {};  ///< the same between exact numbers
  std::int64_t nanoseconds = 0;      ///< between moments

  /// Whether values become others before they are compared. Within a tolerance they do not: equal
  /// would not be transitive.
  bool folds() const { return trims || emptyIsNull || ignoresCase; }
  bool tolerates() const { return tolerance > 0 || nanoseconds > 0; }
};

/// The value that all have that are equal but for what folds; may refer to `storage`.
ado::Value folded(const ado::Value& value, const Leniency& leniency, std::u16string& storage);

bool isSame(const Cell& one, const Cell& other, const Leniency& leniency);

}  // namespace kelvane::rows
