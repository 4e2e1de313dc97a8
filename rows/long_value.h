// Values that are too long to be kept: what tells them from others, so that memory does not grow
// with the largest value of a table.
//
// Such a value is known by its length, by how it begins, and by the digest (SHA-256) of each of its
// pieces. It can be given in parts, of which nothing else is kept.
//
// Lifetime: a view refers to its cell. Threading: one thread uses a value.
#pragma once

#include <sha256.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "ado/value.h"
#include "rows/packed_row.h"

namespace kelvane::rows {

/// Texts of more UTF-16 units, and bytes of more than twice as many, are long.
inline constexpr std::size_t kLongestWhole = 200'000;

inline bool isLong(std::u16string_view text) { return text.size() > kLongestWhole; }
inline bool isLong(ado::Bytes bytes) { return bytes.size() > kLongestWhole * sizeof(char16_t); }

class LongValue {
 public:
  LongValue() { SHA256Init(&piece_); }
  /// What comes behind the parts before; all of one value are texts, or all are bytes.
  void add(std::u16string_view part);
  void add(ado::Bytes part);
  void appendTo(std::string& row) const;

  /// In bytes; of texts those of UTF-16.
  std::uint64_t size() const { return size_; }
  /// Of a text: surrogates are one together.
  std::uint64_t characters() const { return size_ / sizeof(char16_t) - trails_; }
  /// Of a text in UTF-8.
  std::uint64_t utf8Size() const { return utf8Size_; }

 private:
  void addBytes(ado::Bytes part);

  CellKind kind_ = CellKind::longText;
  std::uint64_t size_ = 0, trails_ = 0, utf8Size_ = 0;
  std::string beginning_, digests_;
  SHA256_CTX piece_{};  // that is not at its end
};

/// A cell of such a value.
struct LongView {
  bool isText = true;
  std::uint64_t size = 0;            ///< UTF-16 units, or bytes
  std::uint64_t characters = 0;      ///< of texts
  std::string_view beginning = {};   ///< packed, as of a short value
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
