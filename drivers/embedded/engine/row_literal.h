// A literal among the values of `insert ... values`.
//
// A plain value; its bytes are those of the batch.
#pragma once

#include <cstdint>
#include <string_view>

namespace kelvane::embedded {

/// The bytes [begin, end) of the batch: the literal without quotes, sign and prefix.
struct RowLiteral {
  enum class Kind : std::uint8_t { Null, Integer, Decimal, Money, Float, Text, QuotedText, Binary };
  std::uint32_t begin = 0;
  std::uint32_t end = 0;
  Kind kind = Kind::Null;  ///< QuotedText: a text with doubled quotes in it
  bool isNegative = false;

  std::string_view in(std::string_view batch) const { return batch.substr(begin, end - begin); }
};

}  // namespace kelvane::embedded
