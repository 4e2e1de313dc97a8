#include "support/tds_server/columns.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>

#include "drivers/embedded/engine/convert.h"
#include "drivers/embedded/row_values.h"
#include "model/text.h"

namespace kelvane::tds {

using namespace embedded;

namespace {

enum class Layout {
  fixed,      // the value alone
  counted,    // one byte of length; 0 is null
  longValue,  // four bytes of length; 0 is null
  number,     // as counted, with precision and scale in the format
  bigMoment,  // as counted, with a precision in the format
  blob,       // behind a text pointer
};

struct WireType {
  int code;
  Layout layout;
};

constexpr int kRowFormat = 0xEE, kWideRowFormat = 0x61, kRow = 0xD1;
constexpr int kParameterFormat = 0xEC, kParameters = 0xD7, kIsOutput = 0x01;
constexpr int kNullsAllowed = 0x20, kIdentity = 0x40;
constexpr int kLongChar = 0xAF, kLongBinary = 0xE1;
constexpr int kLongestCounted = 255;
constexpr std::int32_t kLongest = 0x7FFFFFFF;
constexpr int kMicrosecondPrecision = 6;
constexpr std::int64_t kDaysFromYear0To1900 = 693'961;

WireType wireType(const ColumnType& type, bool unitexts) {
  // A client that does not know unitext understands a long univarchar.
  if (isUnicode(type.kind) && !(isLong(type.kind) && unitexts))
    return {kLongBinary, Layout::longValue};
  if (isLong(type.kind)) return {type.storageCode, Layout::blob};
  if (isCharacter(type.kind) || isBinary(type.kind)) {
    if (type.length <= kLongestCounted) return {type.storageCode, Layout::counted};
    return {isBinary(type.kind) ? kLongBinary : kLongChar, Layout::longValue};
  }
  const int nullableCode = systemType(type.kind).nullableCode;
  if (type.precision) return {nullableCode, Layout::number};
  if (type.kind == TypeKind::Bigdatetime || type.kind == TypeKind::Bigtime) {
    return {nullableCode, Layout::bigMoment};
  }
  // A null without a type is a nullable int stored as one that takes no null.
  if (type.nullable && type.kind != TypeKind::Bit) return {nullableCode, Layout::counted};
  return {type.storageCode, Layout::fixed};
}

// The most bytes of a value, as the format states it.
int widthOf(const ColumnType& type) {
  if (isLong(type.kind)) return kLongest;
  // The catalog has names longer than the type that it declares for them.
  return type.kind == TypeKind::Sysname ? kLongestCounted : type.length;
}

// User type, data type, and what belongs to it.
void writeType(TokenBytes& out, const ColumnType& type, bool unitexts) {
  const WireType wire = wireType(type, unitexts);
  // Clients know Unicode text from bytes by this alone.
  const TypeKind unicodeKind = type.kind == TypeKind::Unichar ? type.kind : TypeKind::Univarchar;
  const bool isUnicodeBytes = isUnicode(type.kind) && wire.layout == Layout::longValue;
  out.number(isUnicodeBytes ? systemType(unicodeKind).userType : type.userType);
  out.byte(wire.code);
  switch (wire.layout) {
    case Layout::fixed:
      break;
    case Layout::counted:
      out.byte(widthOf(type));
      break;
    case Layout::longValue:
      out.number(widthOf(type));
      break;
    case Layout::number:
      out.byte(type.length);
      out.byte(*type.precision);
      out.byte(type.scale.value_or(0));
      break;
    case Layout::bigMoment:
      out.byte(type.length);
      out.byte(kMicrosecondPrecision);
      break;
    case Layout::blob:
      out.number(kLongest);
      out.word(0);  // no name of a table
      break;
  }
  out.byte(0);  // no locale
}

int statusOf(const ColumnType& type) {
  return (type.nullable ? kNullsAllowed : 0) | (type.identity ? kIdentity : 0);
}

std::string decimalBytes(const ado::Decimal& value, int length) {
  std::string bytes(static_cast<std::size_t>(length), '\0');
  bytes[0] = value.negative ? 1 : 0;
  for (std::size_t i = 0; i < bytes.size() - 1 && i < 16; ++i) {
    bytes[bytes.size() - 1 - i] = static_cast<char>(value.magnitude[i / 8] >> (8 * (i % 8)) & 0xFF);
  }
  return bytes;
}

std::int64_t moneyOf(const ado::Decimal& value) {
  // The least money is one further from zero than the greatest.
  const std::uint64_t magnitude = value.magnitude[0];
  return static_cast<std::int64_t>(value.negative ? 0 - magnitude : magnitude);
}

std::int32_t ticksOf(const ado::DateTime& value) {
  constexpr std::int64_t kTicks = 300, kNanoseconds = 1'000'000'000;
  return static_cast<std::int32_t>((value.nanoseconds * kTicks + kNanoseconds / 2) / kNanoseconds);
}

void writeMoment(TokenBytes& out, const ado::DateTime& value, TypeKind kind) {
  constexpr std::int64_t kNanosecondsPerMinute = 60'000'000'000,
                         kMicrosecondsPerDay = 86'400'000'000;
  switch (kind) {
    case TypeKind::Datetime:
      out.number(value.days);
      out.number(ticksOf(value));
      break;
    case TypeKind::Smalldatetime:
      out.number(static_cast<std::uint16_t>(value.days));
      out.number(static_cast<std::uint16_t>(value.nanoseconds / kNanosecondsPerMinute));
      break;
    case TypeKind::Date:
      out.number(value.days);
      break;
    case TypeKind::Time:
      out.number(ticksOf(value));
      break;
    case TypeKind::Bigtime:
      out.number(value.nanoseconds / 1000);
      break;
    default:
      out.number((value.days + kDaysFromYear0To1900) * kMicrosecondsPerDay +
                 value.nanoseconds / 1000);
      break;
  }
}

void writeInteger(TokenBytes& out, std::int64_t value, int length) {
  TokenBytes whole;
  whole.number(value);
  out.bytes += std::string_view(whole.bytes).substr(0, static_cast<std::size_t>(length));
}

// The bytes of a value, without their length.
std::string valueBytes(const Cell& cell, const ColumnType& type, CharacterSet set) {
  const auto width = static_cast<std::size_t>(type.length);
  const bool padded = isFixedWidthText(type.kind) && !type.nullable;
  TokenBytes out;
  if (const auto* text = std::get_if<std::string>(&cell); text && isUnicode(type.kind)) {
    std::u16string units = toUtf16(*text);
    if (padded && units.size() < width / 2) units.resize(width / 2, u' ');
    for (const char16_t unit : units) out.word(unit);
    return out.bytes;
  }
  if (const auto* text = std::get_if<std::string>(&cell); text && isCharacter(type.kind)) {
    out.bytes = encoded(*text, set);
    if (padded && out.bytes.size() < width) out.bytes.resize(width, ' ');
    return out.bytes;
  }
  ShownColumn column(type);
  const ado::Value value = column.show(cell);
  if (const auto* bytes = std::get_if<ado::Bytes>(&value)) {
    out.bytes.assign(reinterpret_cast<const char*>(bytes->data()), bytes->size());
  } else if (const auto* decimal = std::get_if<ado::Decimal>(&value)) {
    if (type.precision) {
      out.bytes = decimalBytes(*decimal, type.length);
    } else if (type.kind == TypeKind::Money) {
      const std::int64_t money = moneyOf(*decimal);
      out.number(static_cast<std::int32_t>(money >> 32));
      out.number(static_cast<std::uint32_t>(money & 0xFFFFFFFF));
    } else {
      out.number(static_cast<std::int32_t>(moneyOf(*decimal)));
    }
  } else if (const auto* moment = std::get_if<ado::DateTime>(&value)) {
    writeMoment(out, *moment, type.kind);
  } else if (const auto* single = std::get_if<float>(&value)) {
    out.number(*single);
  } else if (const auto* real = std::get_if<double>(&value)) {
    out.number(*real);
  } else if (const auto* bit = std::get_if<bool>(&value)) {
    out.byte(*bit ? 1 : 0);
  } else if (const auto* natural = std::get_if<std::uint64_t>(&value)) {
    out.number(*natural);
  } else if (const auto* integer = std::get_if<std::int64_t>(&value)) {
    writeInteger(out, *integer, type.length);
  } else {
    throw std::runtime_error("The value is not of type " + std::string(systemType(type.kind).name) +
                             ".");
  }
  return out.bytes;
}

void writeNull(TokenBytes& out, Layout layout, const ResultColumn& column) {
  switch (layout) {
    case Layout::fixed:
      throw std::runtime_error("Column '" + column.name +
                               "' does not allow null but contains null.");
    case Layout::longValue:
      out.doubleWord(0);
      break;
    default:
      out.byte(0);
      break;
  }
}

void writeValue(TokenBytes& out, const ResultColumn& column, const Cell& cell, CharacterSet set,
                bool unitexts, std::size_t textSize = kLongest) {
  constexpr std::size_t kPointer = 16, kStamp = 8;
  const Layout layout = wireType(column.type, unitexts).layout;
  if (isNull(cell)) return writeNull(out, layout, column);
  std::string bytes = valueBytes(cell, column.type, set);
  // In the middle of a character, where it comes so.
  if (isLong(column.type.kind) && bytes.size() > textSize) bytes.resize(textSize);
  if (layout == Layout::blob) {
    out.byte(kPointer);
    out.bytes.append(kPointer + kStamp, '\1');
    out.doubleWord(bytes.size());
  } else if (layout != Layout::fixed) {
    // No bytes would be a null; what is empty has a blank, or a zero.
    if (bytes.empty()) {
      bytes.assign(isUnicode(column.type.kind) ? 2 : 1, '\0');
      if (isCharacter(column.type.kind)) bytes[0] = ' ';
    }
    // Clients cut what is longer than the format says, without a word.
    if (bytes.size() > static_cast<std::size_t>(widthOf(column.type))) {
      throw std::length_error("Column '" + column.name + "' takes " +
                              std::to_string(widthOf(column.type)) + " bytes but contains " +
                              std::to_string(bytes.size()) + ".");
    }
    if (layout == Layout::longValue) {
      out.doubleWord(bytes.size());
    } else {
      return out.shortText(bytes);
    }
  }
  out.bytes += bytes;
}

}  // namespace

void writeFormat(TokenBytes& out, const std::vector<ResultColumn>& columns, CharacterSet set,
                 const Abilities& abilities) {
  constexpr std::size_t kMostBytes = 0xFFFF;
  TokenBytes narrow, wide;
  narrow.word(columns.size());
  wide.word(columns.size());
  for (const ResultColumn& column : columns) {
    const std::string name = encoded(column.name, set);
    narrow.shortText(name);
    narrow.byte(statusOf(column.type));
    writeType(narrow, column.type, abilities.unitexts);
    wide.shortText(name);
    wide.bytes.append(3, '\0');  // catalog, owner, table
    wide.shortText(name);
    wide.number(std::int32_t{statusOf(column.type)});
    writeType(wide, column.type, abilities.unitexts);
  }
  if (narrow.bytes.size() <= kMostBytes || !abilities.wideFormats)
    return out.counted(kRowFormat, narrow.bytes);
  out.byte(kWideRowFormat);
  out.doubleWord(wide.bytes.size());
  out.bytes += wide.bytes;
}

void writeRow(TokenBytes& out, const std::vector<ResultColumn>& columns, const Row& row,
              CharacterSet set, const Abilities& abilities, std::size_t textSize) {
  out.byte(kRow);
  for (std::size_t i = 0; i < columns.size(); ++i)
    writeValue(out, columns[i], row[i], set, abilities.unitexts, textSize);
}

void writeParameters(TokenBytes& out, const std::vector<ResultColumn>& columns, const Row& row,
                     CharacterSet set, const Abilities& abilities) {
  TokenBytes format;
  format.word(columns.size());
  for (const ResultColumn& column : columns) {
    format.shortText(encoded(column.name, set));
    format.byte(statusOf(column.type) | kIsOutput);
    writeType(format, column.type, abilities.unitexts);
  }
  out.counted(kParameterFormat, format.bytes);
  out.byte(kParameters);
  for (std::size_t i = 0; i < columns.size(); ++i)
    writeValue(out, columns[i], row[i], set, abilities.unitexts);
}

}  // namespace kelvane::tds
