// One value of a result row.
//
// Lifetime: text and bytes are views into the recordset that the value came from; they end when
// that recordset moves, is sorted, or closes. Threading: as the recordset.
#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <variant>

#include "model/runtime_error.h"

namespace kelvane::ado {

struct Null {
  bool operator==(const Null&) const = default;
};

// An exact number: magnitude (low word first) divided by 10^scale. Holds numeric(38), decimal,
// money.
struct Decimal {
  std::array<std::uint64_t, 2> magnitude{};
  std::uint8_t scale = 0;
  bool negative = false;

  // With the stored number of decimals: 150 at scale 2 is "1.50".
  std::u16string text() const;
  // By value: 1.5 equals 1.50, and minus zero equals zero.
  friend bool operator==(const Decimal& a, const Decimal& b);
};

// A day and a time of day. Holds datetime, smalldatetime, date (no time of day), time (no day) and
// the types of higher precision.
struct DateTime {
  enum class Parts : std::uint8_t { both, dateOnly, timeOnly };
  std::int32_t days = 0;         // since 1900-01-01, in the proleptic Gregorian calendar
  std::int64_t nanoseconds = 0;  // since midnight
  Parts parts = Parts::both;

  // "2024-02-29 13:05:00.123", the fraction only where there is one.
  std::u16string text() const;
  bool operator==(const DateTime&) const = default;
};

using Bytes = std::span<const std::byte>;

// Integers narrower than 64 bits come as std::int64_t; std::uint64_t is for unsigned bigint alone.
using ValueBase = std::variant<Null, bool, std::int64_t, std::uint64_t, float, double, Decimal,
                               DateTime, std::u16string_view, Bytes>;
class Value : public ValueBase {
 public:
  using ValueBase::ValueBase;
  Value() = default;

  bool isNull() const { return std::holds_alternative<Null>(*this); }

  // The ordinary conversions. Each raises RuntimeError(invalidNull) for a null and
  // RuntimeError(typeMismatch) for a value that has no such form: text that is no number, a number
  // outside the 32 bits. Numbers become decimal digits, bits "True" or "False", bytes "0x" and
  // hexadecimal digits.
  std::u16string toText() const;
  // Fractions are rounded to the nearest integer, halves to the even one, without loss of digits
  // before; true is -1.
  std::int32_t toLong() const;
  // A number other than 0 is true, and so is the text "True".
  bool toBoolean() const;
};

// "" for a null, otherwise the value's text.
std::u16string NullToString(const Value& value);
// 0 for a null, otherwise the value as a 32-bit integer.
std::int32_t NullToLong(const Value& value);
// The same for 16 bits; RuntimeError(typeMismatch) for a number that does not fit.
std::int16_t NullToShort(const Value& value);

// Whether two values are different, as automation hosts compare two variants:
// - anything with a null is never different;
// - text differs from everything but the same text, bytes from everything but the same bytes;
// - exact numbers are compared exactly, true being -1;
// - against a float the other number is rounded to a float first, otherwise against a double to a
//   double, so that 0.1 is equal in all types; what the type cannot hold is different;
// - a date is the beginning of its day, a time without a day is one of 1899-12-30, and beside a
//   number either is the number of days since then.
bool different(const Value& a, const Value& b);

}  // namespace kelvane::ado
