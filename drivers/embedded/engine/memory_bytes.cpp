#include "drivers/embedded/engine/memory_bytes.h"

#include <algorithm>
#include <bit>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <string>

#include "drivers/embedded/engine/convert.h"
#include "drivers/embedded/engine/decimal.h"
#include "drivers/embedded/engine/moment.h"
#include "drivers/embedded/engine/typing.h"
#include "model/text.h"

namespace kelvane::embedded {
namespace {

constexpr std::int64_t kTicksPerSecond = 300, kDaysBefore1900 = 693'961;
constexpr std::int64_t kTicksPerDay = kTicksPerSecond * 3600 * 24;

std::int64_t wholeOf(const Cell& value) {
  if (const auto* number = std::get_if<std::int64_t>(&value)) return *number;
  if (const auto* text = std::get_if<std::string>(&value)) {
    std::uint64_t number = 0;
    std::from_chars(text->data(), text->data() + text->size(), number);
    return static_cast<std::int64_t>(number);
  }
  const auto* real = std::get_if<double>(&value);
  return real == nullptr ? 0 : static_cast<std::int64_t>(*real);
}

double realOf(const Cell& value) {
  const auto* real = std::get_if<double>(&value);
  return real != nullptr ? *real : static_cast<double>(wholeOf(value));
}

class BytesWriter {
 public:
  explicit BytesWriter(ByteOrder order) : order_(order) {}

  void add(std::int64_t value, int width) { add(static_cast<std::uint64_t>(value), width); }
  void add(std::uint64_t value, int width) {
    for (int i = 0; i < width; ++i) {
      const int shift = 8 * (order_ == ByteOrder::LowFirst ? i : width - 1 - i);
      bytes_.push_back(static_cast<std::byte>(value >> shift & 0xFF));
    }
  }
  Blob take() { return std::move(bytes_); }

 private:
  ByteOrder order_;
  Blob bytes_;
};

class BytesReader {
 public:
  explicit BytesReader(const Blob& bytes) : bytes_(bytes) {}

  std::uint64_t natural(int width) {
    std::uint64_t value = 0;
    for (int i = 0; i < width; ++i, ++at_) {
      if (at_ < bytes_.size()) value |= std::to_integer<std::uint64_t>(bytes_[at_]) << (8 * i);
    }
    return value;
  }
  std::int64_t whole(int width) {
    const std::uint64_t value = natural(width);
    const int idle = 64 - 8 * width;
    return static_cast<std::int64_t>(value << idle) >> idle;
  }

 private:
  const Blob& bytes_;
  std::size_t at_ = 0;
};

Blob numericBytes(const Cell& value, const ColumnType& type) {
  const std::string digits = exactText(value, scaleOf(type));
  Blob bytes(static_cast<std::size_t>(numericStorage(precisionOf(type))));
  bytes[0] = std::byte{digits.starts_with('-')};
  for (const char c : digits) {
    if (std::isdigit(static_cast<unsigned char>(c)) == 0) continue;
    unsigned carry = static_cast<unsigned>(c - '0');
    for (std::size_t at = bytes.size() - 1; at > 0; --at) {
      carry += std::to_integer<unsigned>(bytes[at]) * 10;
      bytes[at] = static_cast<std::byte>(carry & 0xFF);
      carry >>= 8;
    }
  }
  return bytes;
}

std::optional<Cell> numericOf(const Blob& bytes, const ColumnType& type) {
  Blob magnitude(static_cast<std::size_t>(numericStorage(precisionOf(type))));
  std::copy_n(bytes.begin(), std::min(bytes.size(), magnitude.size()), magnitude.begin());
  if (magnitude[0] > std::byte{1}) return std::nullopt;
  Decimal number{magnitude[0] == std::byte{1}, {}, {}};
  magnitude[0] = std::byte{0};
  // Divided by ten until nothing is left: the remainders are the digits, the last one first.
  const auto isZero = [](std::byte b) { return b == std::byte{0}; };
  while (!std::ranges::all_of(magnitude, isZero)) {
    unsigned rest = 0;
    for (std::byte& b : magnitude) {
      rest = rest << 8 | std::to_integer<unsigned>(b);
      b = static_cast<std::byte>(rest / 10);
      rest %= 10;
    }
    number.whole += static_cast<char>('0' + rest);
  }
  const auto scale = static_cast<std::size_t>(scaleOf(type));
  if (number.whole.size() < scale) number.whole.resize(scale, '0');
  std::ranges::reverse(number.whole);
  if (static_cast<int>(number.whole.size()) > precisionOf(type)) return std::nullopt;
  number.fraction = number.whole.substr(number.whole.size() - scale);
  number.whole.resize(number.whole.size() - scale);
  number.normalize();
  return cellOf(number);
}

// Of money and smallmoney, which count ten-thousandths.
std::int64_t moneyUnits(const Cell& value) {
  std::string digits = exactText(value, 4);
  std::erase(digits, '.');
  return std::strtoll(digits.c_str(), nullptr, 10);
}

Cell moneyOf(std::int64_t units) {
  const Decimal count{units < 0, std::to_string(units).substr(units < 0 ? 1 : 0), {}};
  constexpr std::size_t kScale = 4;
  return cellOf(calculated('/', count, Decimal{false, "10000", {}}, kScale));
}

void addMoment(BytesWriter& bytes, Moment moment, TypeKind kind) {
  const std::int64_t day = dayOf(moment);
  const Moment time = moment - day * kMicrosecondsPerDay;
  const std::int64_t ticks =
      (time * kTicksPerSecond + kMicrosecondsPerSecond / 2) / kMicrosecondsPerSecond;
  switch (kind) {
    case TypeKind::Smalldatetime:
      bytes.add(day, 2);
      return bytes.add(time / kMicrosecondsPerMinute, 2);
    case TypeKind::Date:
      return bytes.add(day, 4);
    case TypeKind::Time:
      return bytes.add(ticks, 4);
    case TypeKind::Bigtime:
      return bytes.add(time, 8);
    case TypeKind::Bigdatetime:
      return bytes.add(moment + kDaysBefore1900 * kMicrosecondsPerDay, 8);
    default:
      bytes.add(day, 4);
      bytes.add(ticks, 4);
  }
}

std::optional<Cell> momentIn(BytesReader& bytes, TypeKind kind) {
  const auto onDay = [&](std::int64_t day, std::int64_t time) -> std::optional<Cell> {
    if (time < 0 || time >= kMicrosecondsPerDay) return std::nullopt;
    // Four bytes count more days than a moment has microseconds for.
    if (day < dayOf(momentOf({.year = 1})) || day >= dayOf(momentOf({.year = 10000})))
      return std::nullopt;
    const auto stored = storedMoment(day * kMicrosecondsPerDay + time, kind);
    if (!stored) return std::nullopt;
    return Cell(*stored);
  };
  // A count of ticks out of its range is one as microseconds too.
  const auto ticks = [](std::int64_t count) {
    return std::clamp<std::int64_t>(count, -1, kTicksPerDay) * kMicrosecondsPerSecond /
           kTicksPerSecond;
  };
  switch (kind) {
    case TypeKind::Smalldatetime: {
      const auto day = static_cast<std::int64_t>(bytes.natural(2));
      return onDay(day, static_cast<std::int64_t>(bytes.natural(2)) * kMicrosecondsPerMinute);
    }
    case TypeKind::Date:
      return onDay(bytes.whole(4), 0);
    case TypeKind::Time:
      return onDay(0, ticks(bytes.whole(4)));
    case TypeKind::Bigtime:
      return onDay(0, bytes.whole(8));
    case TypeKind::Bigdatetime: {
      const auto count = static_cast<std::uint64_t>(bytes.whole(8));
      constexpr auto kFirst = static_cast<std::uint64_t>(kDaysBefore1900 * kMicrosecondsPerDay);
      const auto moment = static_cast<Moment>(count - kFirst);
      if (moment < momentOf({.year = 1}) || moment >= momentOf({.year = 10000}))
        return std::nullopt;
      return Cell(moment);
    }
    default: {
      const std::int64_t day = bytes.whole(4);
      return onDay(day, ticks(bytes.whole(4)));
    }
  }
}

std::string unicodeText(const Blob& bytes) {
  BytesReader reader(bytes);
  std::u16string text;
  for (std::size_t at = 0; at + 1 < bytes.size(); at += 2) {
    text += static_cast<char16_t>(reader.natural(2));
  }
  return toUtf8(text);
}

}  // namespace

Blob memoryBytes(const Cell& value, const ColumnType& type, ByteOrder order) {
  if (const auto* blob = std::get_if<Blob>(&value)) {
    Blob bytes = *blob;
    if (type.kind == TypeKind::Binary) bytes.resize(static_cast<std::size_t>(type.length));
    return bytes;
  }
  BytesWriter bytes(order);
  if (isCharacter(type.kind)) {
    const std::string_view text = std::get<std::string>(value);
    if (!isUnicode(type.kind)) return bytesOf(text);
    for (const char16_t unit : toUtf16(text)) bytes.add(std::uint64_t{unit}, 2);
    return bytes.take();
  }
  if (type.precision) return numericBytes(value, type);
  if (isTemporal(type.kind)) {
    addMoment(bytes, std::get<std::int64_t>(value), type.kind);
    return bytes.take();
  }
  switch (type.kind) {
    case TypeKind::Real:
      bytes.add(std::uint64_t{std::bit_cast<std::uint32_t>(static_cast<float>(realOf(value)))}, 4);
      break;
    case TypeKind::Float:
      bytes.add(std::bit_cast<std::uint64_t>(realOf(value)), 8);
      break;
    case TypeKind::Money:
      bytes.add(moneyUnits(value) >> 32, 4);
      bytes.add(moneyUnits(value), 4);
      break;
    case TypeKind::Smallmoney:
      bytes.add(moneyUnits(value), 4);
      break;
    default:
      bytes.add(wholeOf(value), systemType(type.kind).length);
  }
  return bytes.take();
}

std::optional<Cell> valueInMemory(const Blob& bytes, const ColumnType& type) {
  BytesReader reader(bytes);
  if (isUnicode(type.kind)) return std::optional<Cell>(std::in_place, unicodeText(bytes));
  if (type.precision) return numericOf(bytes, type);
  if (isTemporal(type.kind)) return momentIn(reader, type.kind);
  const auto real = [](double number) -> std::optional<Cell> {
    if (!std::isfinite(number)) return std::nullopt;
    return Cell(number);
  };
  switch (type.kind) {
    case TypeKind::Real:
      return real(std::bit_cast<float>(static_cast<std::uint32_t>(reader.natural(4))));
    case TypeKind::Float:
      return real(std::bit_cast<double>(reader.natural(8)));
    case TypeKind::Money: {
      const std::uint64_t high = reader.natural(4);
      return moneyOf(static_cast<std::int64_t>(high << 32 | reader.natural(4)));
    }
    case TypeKind::Smallmoney:
      return moneyOf(reader.whole(4));
    case TypeKind::Bit:
      return Cell(std::int64_t{reader.natural(1) != 0});
    case TypeKind::Ubigint:
      return cellOfNatural(reader.natural(8));
    case TypeKind::Int:
    case TypeKind::Smallint:
    case TypeKind::Bigint:
      return Cell(reader.whole(systemType(type.kind).length));
    default:
      return Cell(static_cast<std::int64_t>(reader.natural(systemType(type.kind).length)));
  }
}

}  // namespace kelvane::embedded
