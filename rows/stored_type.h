// What the types of the server hold: one row for each.
//
// Free functions without state.
#pragma once

#include <cstdint>
#include <string_view>

#include "ado/value.h"

namespace kelvane::rows {

enum class TypeFamily : std::uint8_t {
  exact,  ///< numbers, bits among them
  single,
  approximate,
  moment,
  text,     ///< of the server's character set
  unicode,  ///< texts of UTF-16
  bytes,
};

inline bool isNumber(TypeFamily family) { return family <= TypeFamily::approximate; }
inline bool isText(TypeFamily family) {
  return family == TypeFamily::text || family == TypeFamily::unicode;
}

struct StoredType {
  std::string_view name;
  TypeFamily family;
  bool isPadded = false;  ///< with blanks or zeros, to its length
  bool isLarge = false;   ///< no limit of its length, and no key
  /// Of exact numbers: where the declaration says nothing, or can say nothing.
  int precision = 0, scale = 0;
  /// All digits of the least and the greatest number; none: those of the precision. Of moments the
  /// first and the last day.
  std::string_view least = {}, most = {};
  ado::DateTime::Parts parts = ado::DateTime::Parts::both;
  std::int64_t unit = 0;  ///< of moments in nanoseconds; 0: a 300th of a second
};

/// Null for a name that is not of the server's types.
const StoredType* storedTypeNamed(std::string_view name);

}  // namespace kelvane::rows
