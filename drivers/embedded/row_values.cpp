#include "drivers/embedded/row_values.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <type_traits>

#include "drivers/embedded/engine/convert.h"
#include "drivers/embedded/engine/moment.h"
#include "drivers/embedded/engine/typing.h"
#include "model/text.h"

namespace kelvane::embedded {
namespace {

// Below this, numbers of as many digits have a floating point number each.
constexpr double kExactEnd = 1e15;
constexpr int kMostExactScale = 15;

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

ado::Decimal decimalOf(std::int64_t units, int scale) {
  ado::Decimal decimal;
  decimal.scale = static_cast<std::uint8_t>(scale);
  decimal.negative = units < 0;
  decimal.magnitude[0] = static_cast<std::uint64_t>(units < 0 ? -units : units);
  return decimal;
}

ado::DateTime dateTimeOf(Moment moment, TypeKind kind) {
  ado::DateTime result;
  const std::int64_t day = dayOf(moment);
  result.days = static_cast<std::int32_t>(day);
  const std::int64_t microseconds = moment - day * kMicrosecondsPerDay;
  // Clients see the ticks of datetime and time (1/300 second) in milliseconds.
  const bool isTicks = kind == TypeKind::Datetime || kind == TypeKind::Time;
  result.nanoseconds = isTicks ? (microseconds + 500) / 1000 * 1'000'000 : microseconds * 1000;
  if (kind == TypeKind::Date) result.parts = ado::DateTime::Parts::dateOnly;
  if (kind == TypeKind::Time || kind == TypeKind::Bigtime) {
    result.parts = ado::DateTime::Parts::timeOnly;
  }
  return result;
}

}  // namespace

ShownColumn::ShownColumn(const ColumnType& type) : way_(Way::Integer), kind_(type.kind) {
  if (isCharacter(kind_)) {
    way_ = Way::Text;
    if (isFixedWidthText(kind_) && !type.nullable) {
      width_ = static_cast<std::size_t>(isUnicode(kind_) ? type.length / 2 : type.length);
    }
  } else if (isExactFraction(kind_)) {
    way_ = Way::Exact;
    scale_ = scaleOf(type);
    power_ = scale_ <= kMostExactScale ? std::pow(10, scale_) : 0;
  } else if (kind_ == TypeKind::Ubigint) {
    way_ = Way::Natural;
  } else if (isTemporal(kind_)) {
    way_ = Way::Moment;
  } else if (isApproximate(kind_)) {
    way_ = kind_ == TypeKind::Real ? Way::Real : Way::Float;
  } else if (kind_ == TypeKind::Bit) {
    way_ = Way::Bit;
  }
}

ado::Value ShownColumn::show(ValueView value) {
  switch (value.kind()) {
    case ValueView::Kind::Integer:
      return shown(value.integer());
    case ValueView::Kind::Real:
      return shown(value.real());
    case ValueView::Kind::Text:
      return shown(value.text());
    case ValueView::Kind::Blob:
      return value.bytes();
    default:
      return ado::Null{};
  }
}

ado::Value ShownColumn::show(const Cell& cell) {
  return std::visit(
      [this](const auto& content) -> ado::Value {
        using Content = std::decay_t<decltype(content)>;
        if constexpr (std::is_same_v<Content, Null>) {
          return ado::Null{};
        } else if constexpr (std::is_same_v<Content, Blob>) {
          return ado::Bytes(content);
        } else {
          return shown(content);
        }
      },
      cell);
}

ado::Value ShownColumn::shown(std::int64_t number) const {
  switch (way_) {
    case Way::Exact:
      if (power_ != 0 && std::abs(static_cast<double>(number)) * power_ < kExactEnd) {
        return decimalOf(number * static_cast<std::int64_t>(power_), scale_);
      }
      return decimalOf(Cell(number), scale_);
    case Way::Natural:
      return static_cast<std::uint64_t>(number);
    case Way::Moment:
      return dateTimeOf(number, kind_);
    case Way::Float:
      return static_cast<double>(number);
    case Way::Real:
      return static_cast<float>(number);
    case Way::Bit:
      return number != 0;
    default:
      return number;
  }
}

ado::Value ShownColumn::shown(double number) const {
  switch (way_) {
    case Way::Exact: {
      const double units = std::round(number * power_);
      // Others have more digits than the scale, or none that are known exactly.
      const bool isStored = power_ != 0 && std::abs(units) < kExactEnd && units / power_ == number;
      return isStored ? decimalOf(static_cast<std::int64_t>(units), scale_)
                      : decimalOf(Cell(number), scale_);
    }
    case Way::Float:
      return number;
    case Way::Real:
      return static_cast<float>(number);
    default:
      return shown(static_cast<std::int64_t>(number));
  }
}

ado::Value ShownColumn::shown(std::string_view text) {
  if (way_ == Way::Exact) return decimalOf(Cell(std::string(text)), scale_);
  if (way_ == Way::Natural) {
    std::uint64_t value = 0;
    std::from_chars(text.data(), text.data() + text.size(), value);
    return value;
  }
  return widened(text);
}

std::u16string_view ShownColumn::widened(std::string_view utf8) {
  const std::size_t most = std::max(utf8.size(), width_);
  if (buffer_.size() < most) buffer_.resize(most);
  // Nearly all texts are ASCII alone, which needs no decoding.
  unsigned bits = 0;
  char16_t* const units = buffer_.data();
  for (std::size_t i = 0; i < utf8.size(); ++i) {
    const auto byte = static_cast<unsigned char>(utf8[i]);
    bits |= byte;
    units[i] = byte;
  }
  std::size_t size = utf8.size();
  constexpr unsigned kAsciiEnd = 0x80;
  if (bits >= kAsciiEnd) {
    const std::u16string decoded = toUtf16(utf8);
    size = decoded.size();
    std::ranges::copy(decoded, buffer_.begin());
  }
  // The width of unichar counts characters, that of the others bytes.
  const std::size_t used = isUnicode(kind_) ? size : utf8.size();
  for (std::size_t filled = used; filled < width_; ++filled) buffer_[size++] = u' ';
  return {buffer_.data(), size};
}

}  // namespace kelvane::embedded
