// Converts values between the server's types, as convert() and assignments do.
//
// Numeric, decimal and money values are integers where they have no fraction, floating point up to
// 15 digits, and decimal texts where neither would be exact. Pure functions; refusals are
// ServerErrors.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "drivers/embedded/catalog/types.h"
#include "drivers/embedded/engine/decimal.h"
#include "drivers/embedded/engine/moment.h"
#include "drivers/embedded/store/cell.h"

namespace kelvane::embedded {

/// How a conversion comes about, which decides what becomes of digits behind the point that have no
/// room in an exact type.
enum class ConversionForm {
  Explicit,     ///< convert() and cast() cut them
  Implicit,     ///< an assignment refuses to lose them
  ImplicitCut,  ///< it does not after `set arithabort numeric_truncation off`
  Computed,     ///< the result of a function is rounded
};

struct ConversionRequest {
  ConversionForm form = ConversionForm::Explicit;
  int style = 0;
  std::uint32_t line = 0;
};

/// `value`, which is of type `from`, as `to`: cut to its length, checked for its range. Numbers of
/// floating point and money are rounded. Texts lose their trailing blanks, but for one when they
/// hold nothing else.
/// Throws 241 (digits would be lost), 247 (too big), 249 (no such value), 265 (number too long for
/// the text).
Cell convertCell(const Cell& value, const ColumnType& from, const ColumnType& to,
                 const ConversionRequest& request);

/// Whether an integer type other than unsigned bigint has the value.
bool isInRange(std::int64_t value, TypeKind kind);

/// Whether money, or smallmoney, has room for the amount, which has at most four digits behind the
/// point.
bool isMoney(const Decimal& amount, TypeKind kind);

/// Whether float, or real, has room for the number.
bool isReal(double number, TypeKind kind);

/// The moment as a type stores it: its day, its time of day, or rounded to what the type counts,
/// which never leads out of the type's range nor, for a time, out of the day. None for a moment
/// that the type does not have.
std::optional<Moment> storedMoment(Moment moment, TypeKind kind);

/// A number written out, as a value of an exact type is stored: digits, one point, a sign.
Cell exactNumber(std::string_view digits);

/// The same for a number of floating point, which may have an exponent.
Cell realNumber(const std::string& digits);

/// The least and the greatest value of an integer type that a Cell holds as an integer.
std::pair<std::int64_t, std::int64_t> integerRange(TypeKind kind);

/// How many digits a value of an exact type may have before its point.
int wholeDigits(const ColumnType& type);

/// An exact number with `scale` digits behind its point.
std::string exactText(const Cell& value, int scale);

/// The value as text, as convert(varchar, value, style) has it. Not for null.
std::string textOf(const Cell& value, const ColumnType& type, int style);

/// A varchar value without trailing blanks; one blank when there is nothing else.
std::string_view storedText(std::string_view text);

/// The first characters of UTF-8 text that fit in `bytes`.
std::string_view cutText(std::string_view text, std::size_t bytes);

/// The first characters of UTF-8 text that a column of this type has room for: the length of
/// unichar and univarchar is in bytes of UTF-16, that of the others in characters, whatever number
/// of bytes they have in UTF-8.
std::string_view cutText(std::string_view text, const ColumnType& type);

std::string hexDigits(const Blob& bytes);
Blob bytesOfHex(std::string_view digits);
Blob bytesOf(std::string_view text);

}  // namespace kelvane::embedded
