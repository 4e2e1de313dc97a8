#include "rows/packed_row.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <span>
#include <tuple>
#include <utility>
#include <variant>

#include "rows/long_value.h"

namespace kelvane::rows {
namespace {

template <class Plain>
void append(std::string& row, const Plain& value) {
  const auto bytes = std::bit_cast<std::array<char, sizeof(Plain)>>(value);
  row.append(bytes.data(), bytes.size());
}

template <class Plain>
Plain plainIn(std::string_view content) {
  std::array<char, sizeof(Plain)> bytes{};
  std::memcpy(bytes.data(), content.data(), bytes.size());
  return std::bit_cast<Plain>(bytes);
}

template <class Plain>
void appendPlain(std::string& row, CellKind kind, const Plain& value) {
  row.push_back(static_cast<char>(kind));
  append(row, value);
}

void appendBytes(std::string& row, CellKind kind, const void* data, std::size_t size) {
  appendPlain(row, kind, static_cast<std::uint32_t>(size));
  row.append(static_cast<const char*>(data), size);
}

/// A decimal without zeros at its end; the words are those of its magnitude, low first.
struct PackedDecimal {
  std::array<std::uint64_t, 2> magnitude;
  std::uint64_t scale : 8, negative : 1, unused : 55;
};
static_assert(sizeof(PackedDecimal) == 24);

/// Divides in place by ten; whether nothing was left over.
bool endsWithZero(std::array<std::uint64_t, 2>& magnitude) {
  if (magnitude[1] == 0) {
    if (magnitude[0] % 10 != 0) return false;
    magnitude[0] /= 10;
    return true;
  }
  using Wide = unsigned __int128;
  const Wide whole = static_cast<Wide>(magnitude[1]) << 64 | magnitude[0];
  if (whole % 10 != 0) return false;
  const Wide quotient = whole / 10;
  magnitude = {static_cast<std::uint64_t>(quotient), static_cast<std::uint64_t>(quotient >> 64)};
  return true;
}

void packExact(ado::Decimal number, std::string& row) {
  while (number.scale > 0 && endsWithZero(number.magnitude)) --number.scale;
  const auto [low, high] = number.magnitude;
  constexpr auto kMost = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
  // The least integer has no positive one beside it.
  const std::uint64_t most = kMost + (number.negative ? 1U : 0U);
  if (number.scale == 0 && high == 0 && low <= most) {
    const auto integer = static_cast<std::int64_t>(number.negative ? 0 - low : low);
    return appendPlain(row, CellKind::integer, integer);
  }
  appendPlain(row, CellKind::decimal,
              PackedDecimal{number.magnitude, number.scale, number.negative ? 1U : 0U, 0});
}

ado::Decimal decimalIn(std::string_view content) {
  const auto packed = plainIn<PackedDecimal>(content);
  return {packed.magnitude, static_cast<std::uint8_t>(packed.scale), packed.negative != 0};
}

// Zero has one representation.
template <class Float>
void packFloat(Float number, CellKind kind, std::string& row) {
  appendPlain(row, kind, number == 0 ? Float{0} : number);
}

struct Packer {
  Form form;
  std::string& row;

  void operator()(ado::Null) const { row.push_back(static_cast<char>(CellKind::null)); }
  void operator()(bool flag) const { (*this)(std::int64_t{flag}); }
  void operator()(std::int64_t number) const {
    if (form == Form::asItIs) return appendPlain(row, CellKind::integer, number);
    if (!packApproximate(number)) appendPlain(row, CellKind::integer, number);
  }
  void operator()(std::uint64_t number) const {
    if (!packApproximate(number)) packExact({{number, 0}, 0, false}, row);
  }
  void operator()(float number) const {
    if (form == Form::approximate) return packFloat(double{number}, CellKind::approximate, row);
    packFloat(number, CellKind::single, row);
  }
  void operator()(double number) const {
    if (form == Form::single) return packFloat(static_cast<float>(number), CellKind::single, row);
    packFloat(number, CellKind::approximate, row);
  }
  void operator()(const ado::Decimal& number) const {
    if (!packApproximate(number)) packExact(number, row);
  }
  void operator()(const ado::DateTime& moment) const {
    const bool isWhole = form == Form::moment;
    const auto parts = isWhole ? ado::DateTime::Parts::both : moment.parts;
    // A time alone is one of the server's first day.
    const bool hasDay = moment.parts != ado::DateTime::Parts::timeOnly;
    const bool hasTime = moment.parts != ado::DateTime::Parts::dateOnly;
    row.push_back(static_cast<char>(CellKind::moment));
    row.push_back(static_cast<char>(parts));
    append(row, hasDay ? moment.days : 0);
    append(row, hasTime ? moment.nanoseconds : 0);
  }
  void operator()(std::u16string_view text) const {
    if (form == Form::padded) text = text.substr(0, text.find_last_not_of(u' ') + 1);
    appendBytes(row, CellKind::text, text.data(), text.size() * sizeof(char16_t));
  }
  void operator()(ado::Bytes bytes) const {
    std::size_t size = bytes.size();
    while (form == Form::padded && size > 1 && bytes[size - 1] == std::byte{}) --size;
    appendBytes(row, CellKind::bytes, bytes.data(), size);
  }

 private:
  template <class Number>
  bool packApproximate(const Number& number) const {
    if (form != Form::approximate && form != Form::single) return false;
    double value = 0;
    if constexpr (std::is_arithmetic_v<Number>) {
      value = static_cast<double>(number);
    } else {
      const std::u16string text = number.text();
      value = std::strtod(std::string(text.begin(), text.end()).c_str(), nullptr);
    }
    (*this)(value);
    return true;
  }
};

std::size_t sizeOf(CellKind kind) {
  switch (kind) {
    case CellKind::null:
      return 0;
    case CellKind::integer:
    case CellKind::approximate:
      return 8;
    case CellKind::single:
      return 4;
    case CellKind::decimal:
      return sizeof(PackedDecimal);
    case CellKind::moment:
      return 1 + sizeof(std::int32_t) + sizeof(std::int64_t);
    default:
      return 0;
  }
}

bool hasLength(CellKind kind) { return kind >= CellKind::text; }

std::strong_ordering reversed(std::strong_ordering order) {
  if (std::is_eq(order)) return order;
  return std::is_lt(order) ? std::strong_ordering::greater : std::strong_ordering::less;
}

/// Both have the same sign; digits beside digits.
std::strong_ordering orderOfMagnitudes(const ado::Decimal& one, const ado::Decimal& other) {
  const auto partsOf = [](const ado::Decimal& number) {
    std::u16string digits = ado::Decimal{number.magnitude, number.scale, false}.text();
    const std::size_t point = std::min(digits.find(u'.'), digits.size());
    return std::pair(digits.substr(0, point), digits.substr(std::min(point + 1, digits.size())));
  };
  const auto [whole, fraction] = partsOf(one);
  const auto [otherWhole, otherFraction] = partsOf(other);
  if (whole.size() != otherWhole.size()) return whole.size() <=> otherWhole.size();
  // A shorter fraction is the smaller one where it is the beginning of the other.
  return std::pair(whole, fraction) <=> std::pair(otherWhole, otherFraction);
}

ado::Decimal exactIn(const Cell& cell) {
  if (cell.kind == CellKind::decimal) return decimalIn(cell.content);
  const auto number = plainIn<std::int64_t>(cell.content);
  const auto bits = static_cast<std::uint64_t>(number);
  return {{number < 0 ? 0 - bits : bits, 0}, 0, number < 0};
}

std::strong_ordering orderOfExact(const Cell& one, const Cell& other) {
  if (one.kind == CellKind::integer && other.kind == CellKind::integer)
    return plainIn<std::int64_t>(one.content) <=> plainIn<std::int64_t>(other.content);
  const ado::Decimal left = exactIn(one), right = exactIn(other);
  if (left.negative != right.negative)
    return left.negative ? std::strong_ordering::less : std::strong_ordering::greater;
  const auto order = orderOfMagnitudes(left, right);
  return left.negative ? reversed(order) : order;
}

bool isExact(CellKind kind) { return kind == CellKind::integer || kind == CellKind::decimal; }

std::strong_ordering orderOfTexts(std::string_view one, std::string_view other) {
  const std::size_t common = std::min(one.size(), other.size());
  for (std::size_t at = 0; at < common; at += sizeof(char16_t)) {
    const auto left = plainIn<char16_t>(one.substr(at)),
               right = plainIn<char16_t>(other.substr(at));
    if (left != right) return left <=> right;
  }
  return one.size() <=> other.size();
}

std::strong_ordering orderOfMoments(std::string_view one, std::string_view other) {
  const auto partsOf = [](std::string_view content) {
    return std::tuple(plainIn<std::int32_t>(content.substr(1)),
                      plainIn<std::int64_t>(content.substr(1 + sizeof(std::int32_t))), content[0]);
  };
  return partsOf(one) <=> partsOf(other);
}

std::strong_ordering orderOf(const Cell& one, const Cell& other) {
  if (isExact(one.kind) && isExact(other.kind)) return orderOfExact(one, other);
  if (one.kind != other.kind) return one.kind <=> other.kind;
  switch (one.kind) {
    case CellKind::single:
      return std::strong_order(plainIn<float>(one.content), plainIn<float>(other.content));
    case CellKind::approximate:
      return std::strong_order(plainIn<double>(one.content), plainIn<double>(other.content));
    case CellKind::moment:
      return orderOfMoments(one.content, other.content);
    case CellKind::text:
      return orderOfTexts(one.content, other.content);
    default:
      return one.content <=> other.content;
  }
}

}  // namespace

void pack(const ado::Value& value, Form form, std::string& row) {
  if (form == Form::large && isLong(value)) {
    LargeValue large;
    large.add(value);
    return large.appendTo(row);
  }
  std::visit(Packer{form, row}, static_cast<const ado::ValueBase&>(value));
}

void appendCell(std::string& row, CellKind kind, std::string_view content) {
  appendBytes(row, kind, content.data(), content.size());
}

Cell takeCell(std::string_view& cells) {
  const auto kind = static_cast<CellKind>(cells.front());
  cells.remove_prefix(1);
  std::size_t size = sizeOf(kind);
  if (hasLength(kind)) {
    size = plainIn<std::uint32_t>(cells);
    cells.remove_prefix(sizeof(std::uint32_t));
  }
  const Cell cell{kind, cells.substr(0, size)};
  cells.remove_prefix(size);
  return cell;
}

ado::Value valueOf(const Cell& cell, std::u16string& storage) {
  switch (cell.kind) {
    case CellKind::null:
      return {};
    case CellKind::integer:
      return plainIn<std::int64_t>(cell.content);
    case CellKind::decimal:
      return decimalIn(cell.content);
    case CellKind::single:
      return plainIn<float>(cell.content);
    case CellKind::approximate:
      return plainIn<double>(cell.content);
    case CellKind::moment:
      return ado::DateTime{plainIn<std::int32_t>(cell.content.substr(1)),
                           plainIn<std::int64_t>(cell.content.substr(1 + sizeof(std::int32_t))),
                           static_cast<ado::DateTime::Parts>(cell.content[0])};
    case CellKind::text:
      storage.resize(cell.content.size() / sizeof(char16_t));
      std::memcpy(storage.data(), cell.content.data(), cell.content.size());
      return std::u16string_view(storage);
    case CellKind::bytes:
      return std::as_bytes(std::span(cell.content));
    case CellKind::longText:
    case CellKind::longBytes:
      return longValueIn(cell)->begins(storage);
  }
  return {};
}

std::strong_ordering orderOf(std::string_view key, std::string_view other) {
  while (!key.empty() && !other.empty()) {
    const auto order = orderOf(takeCell(key), takeCell(other));
    if (std::is_neq(order)) return order;
  }
  return key.size() <=> other.size();
}

}  // namespace kelvane::rows
