// Decimal numbers of any length, for what a floating point number cannot hold.
//
// Plain values. A number is stored as a Cell in one form only, so that equal numbers are equal
// cells: an integer where there is no fraction, floating point up to 15 digits, else its digits as
// text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "drivers/embedded/store/cell.h"

namespace kelvane::embedded {

/// Sign, digits before and behind the point, without idle zeros.
struct Decimal {
  bool negative = false;
  std::string whole;
  std::string fraction;

  std::string text() const;
  void normalize();
  /// Half away from zero.
  void round(std::size_t scale);
  void truncate(std::size_t scale);
};

/// Blanks around and after the sign are allowed; none for anything but a number.
std::optional<Decimal> parseDecimal(std::string_view text);
/// The number in a cell, whatever form it has; none for what is no number, or too large.
std::optional<Decimal> decimalOf(const Cell& value);
Cell cellOf(const Decimal& value);
Cell cellOfNatural(std::uint64_t value);

/// `op` is one of + - * / %. The quotient is cut to `scale`, everything else is exact. The divisor
/// must not be zero; the remainder has the sign of `a`.
Decimal calculated(char op, const Decimal& a, const Decimal& b, std::size_t scale);

/// A text that sorts as the number does, for up to 38 digits on each side of the point.
std::string sortKey(const Decimal& value);

}  // namespace kelvane::embedded
