// Values as T-SQL writes them, for columns of a declared type.
//
// Free functions without state.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "ado/value.h"
#include "inventory/records.h"

namespace kelvane::rows {

/// Which characters a server can have in texts that are not Unicode.
enum class CharacterSet : std::uint8_t {
  all,     ///< utf8, or all that come from a server with the same set
  latin1,  ///< iso_1
  ascii,   ///< those that every set has
};
CharacterSet characterSetOf(std::string_view name);

/// What a text is counted in where a type says how long it may be.
enum class TextUnit : std::uint8_t { bytes, characters };

/// What all releases take.
inline constexpr std::size_t kLongestLiteral = 16000;

struct LiteralColumn {
  inventory::DataType type;  ///< of the server, not a user-defined one
  CharacterSet characters = CharacterSet::all;
  TextUnit unit = TextUnit::bytes;
  std::size_t longest = kLongestLiteral;  ///< in bytes of the script
};

/// An expression that gives the value, in one line; or why there is none.
struct Literal {
  std::string text = {};
  std::string obstacle = {};

  bool isWritten() const { return obstacle.empty(); }
};

/// A value that the column would not keep as it is has no literal: one that is too long, has
/// another type, an empty text.
Literal literalOf(const ado::Value& value, const LiteralColumn& column);

}  // namespace kelvane::rows
