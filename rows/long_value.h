// Values that are too long to be kept: what tells them from others, so that memory does not grow
// with the largest value of a table.
//
// Such a value is known by its length, by how it begins, and by the digest (SHA-256) of each of its
// pieces. It can be given in parts, of which nothing else is kept.
//
// Lifetime: a view refers to its cell. Threading: one thread uses a value.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <sha256.h>
#include <span>
#include <string>
#include <string_view>

#include "ado/value.h"
#include "rows/packed_row.h"

namespace kelvane::rows {

/// Texts of more UTF-16 units, and bytes of more than twice as many, are long.
inline constexpr std::size_t kLongestWhole = 200'000;
bool isLong(const ado::Value& value);

/// A value of a column without a limit, long or not.
class LargeValue {
 public:
  /// What comes behind the parts before: texts or bytes. Anything else is the whole value.
  void add(const ado::Value& part);
  /// As a cell, which is one of a long value only where this is one.
  void appendTo(std::string& row) const;

 private:
  void addBytes(ado::Bytes part);
  void digest(std::string_view part);

  bool isText_ = true;
  std::string other_;  // a cell that is neither text nor bytes
  std::uint64_t size_ = 0, trails_ = 0;
  std::string beginning_;  // all of it, as long as it is not long
  std::string digests_;    // of the whole pieces of a long value
  SHA256_CTX piece_{};     // that is not at its end
};

/// A cell of such a value.
struct LongView {
  bool isText = true;
  std::uint64_t size = 0;           ///< UTF-16 units, or bytes
  std::uint64_t characters = 0;     ///< of texts
  std::string_view beginning = {};  ///< packed, as of a short value
  std::string_view digests = {};

  /// As a value that refers to the cell or to `storage`.
  ado::Value begins(std::u16string& storage) const;
};

/// None for other cells.
std::optional<LongView> longValueIn(const Cell& cell);

/// Two long values differ between these places, in UTF-16 units or bytes; 1-based, inclusive.
struct DifferentPart {
  std::uint64_t first = 0, last = 0;
};
DifferentPart firstDifferentPart(const LongView& one, const LongView& other);

}  // namespace kelvane::rows
