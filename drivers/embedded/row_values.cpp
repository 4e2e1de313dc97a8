#include "drivers/embedded/row_values.h"

#include <charconv>

#include "drivers/embedded/engine/convert.h"
#include "drivers/embedded/engine/moment.h"
#include "drivers/embedded/engine/typing.h"
#include "model/text.h"

namespace kelvane::embedded {
namespace {

ado::Decimal decimalOf(const Cell& cell, int scale) {
  ado::Decimal decimal;
  decimal.scale = static_cast<std::uint8_t>(scale);
  unsigned __int128 magnitude = 0;
  for (const char c : exactText(cell, scale)) {
    if (c == '-') decimal.negative = true;
    if (c >= '0' && c <= '9') magnitude = magnitude * 10 + static_cast<unsigned>(c - '0');
  }
  decimal.magnitude = {static_cast<std::uint64_t>(magnitude),
                       static_cast<std::uint64_t>(magnitude >> 64)};
  return decimal;
}

ado::DateTime dateTimeOf(Moment moment, TypeKind kind) {
  ado::DateTime result;
  result.days = static_cast<std::int32_t>(dayOf(moment));
  const std::int64_t microseconds = moment - dayOf(moment) * kMicrosecondsPerDay;
  // Clients see the ticks of datetime (1/300 second) in milliseconds.
  result.nanoseconds =
      kind == TypeKind::Datetime ? (microseconds + 500) / 1000 * 1'000'000 : microseconds * 1000;
  if (kind == TypeKind::Date) result.parts = ado::DateTime::Parts::dateOnly;
  if (kind == TypeKind::Time || kind == TypeKind::Bigtime) {
    result.parts = ado::DateTime::Parts::timeOnly;
  }
  return result;
}

double realOf(const Cell& cell) {
  const auto* number = std::get_if<std::int64_t>(&cell);
  return number != nullptr ? static_cast<double>(*number) : std::get<double>(cell);
}

std::int64_t integerOf(const Cell& cell) {
  const auto* real = std::get_if<double>(&cell);
  return real != nullptr ? static_cast<std::int64_t>(*real) : std::get<std::int64_t>(cell);
}

std::uint64_t naturalOf(const Cell& cell) {
  const auto* digits = std::get_if<std::string>(&cell);
  if (digits == nullptr) return static_cast<std::uint64_t>(integerOf(cell));
  std::uint64_t value = 0;
  std::from_chars(digits->data(), digits->data() + digits->size(), value);
  return value;
}

}  // namespace

ado::Value shownValue(Cell cell, const ColumnType& type, ValueBuffer& buffer) {
  buffer.cell = std::move(cell);
  if (isNull(buffer.cell)) return ado::Null{};
  if (const auto* text = std::get_if<std::string>(&buffer.cell);
      text != nullptr && isCharacter(type.kind)) {
    buffer.text = toUtf16(*text);
    if (isFixedWidthText(type.kind) && !type.nullable) {
      const auto width =
          static_cast<std::size_t>(isUnicode(type.kind) ? type.length / 2 : type.length);
      if (buffer.text.size() < width) buffer.text.resize(width, u' ');
    }
    return std::u16string_view(buffer.text);
  }
  if (const auto* bytes = std::get_if<Blob>(&buffer.cell)) return ado::Bytes(*bytes);
  if (isExactFraction(type.kind)) return decimalOf(buffer.cell, scaleOf(type));
  if (type.kind == TypeKind::Ubigint) return naturalOf(buffer.cell);
  if (std::holds_alternative<std::string>(buffer.cell)) {
    buffer.text = toUtf16(std::get<std::string>(buffer.cell));
    return std::u16string_view(buffer.text);
  }
  if (isTemporal(type.kind)) return dateTimeOf(integerOf(buffer.cell), type.kind);
  switch (type.kind) {
    case TypeKind::Float:
      return realOf(buffer.cell);
    case TypeKind::Real:
      return static_cast<float>(realOf(buffer.cell));
    case TypeKind::Bit:
      return integerOf(buffer.cell) != 0;
    default:
      return integerOf(buffer.cell);
  }
}

}  // namespace kelvane::embedded
