#include "inventory/publish/types.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>

namespace kelvane::inventory {
namespace {

/// What a length of a declaration counts.
enum class Unit : std::uint8_t { fixed, byte, national, unicode, digit };

struct TypeRow {
  std::string_view declared;
  std::string_view described;
  std::string_view nullableStorage;  ///< the name that systypes has for one that accepts null
  Unit unit = Unit::fixed;
  std::int32_t length = 0;     ///< of a fixed one, in bytes
  std::int32_t precision = 0;  ///< 0: the length, or the declared one
  std::int16_t scale = 0;
};

constexpr std::int32_t kLongPrecision = std::numeric_limits<std::int32_t>::max();

constexpr TypeRow kTypes[] = {
    {"char", "char", "varchar", Unit::byte},
    {"nchar", "char", "varchar", Unit::national},
    {"varchar", "varchar", "varchar", Unit::byte},
    {"nvarchar", "varchar", "varchar", Unit::national},
    {"sysname", "varchar", "varchar", Unit::fixed, 30},
    {"longsysname", "varchar", "varchar", Unit::fixed, 255},
    {"unichar", "unichar", "univarchar", Unit::unicode},
    {"univarchar", "univarchar", "univarchar", Unit::unicode},
    {"text", "text", "text", Unit::fixed, 16, kLongPrecision},
    {"unitext", "unitext", "unitext", Unit::fixed, 16, kLongPrecision},
    {"image", "image", "image", Unit::fixed, 16, kLongPrecision},
    {"binary", "binary", "varbinary", Unit::byte},
    {"varbinary", "varbinary", "varbinary", Unit::byte},
    {"timestamp", "varbinary", "varbinary", Unit::fixed, 8},
    {"bit", "bit", "bit", Unit::fixed, 1, 1},
    {"tinyint", "tinyint", "intn", Unit::fixed, 1, 3},
    {"smallint", "smallint", "intn", Unit::fixed, 2, 5},
    {"unsigned smallint", "usmallint", "uintn", Unit::fixed, 2, 5},
    {"int", "int", "intn", Unit::fixed, 4, 10},
    {"unsigned int", "uint", "uintn", Unit::fixed, 4, 10},
    {"bigint", "bigint", "intn", Unit::fixed, 8, 19},
    {"unsigned bigint", "ubigint", "uintn", Unit::fixed, 8, 20},
    {"numeric", "numeric", "numericn", Unit::digit},
    {"decimal", "decimal", "decimaln", Unit::digit},
    {"float", "float", "floatn", Unit::fixed, 8, 15},
    {"real", "real", "floatn", Unit::fixed, 4, 7},
    {"money", "money", "moneyn", Unit::fixed, 8, 19, 4},
    {"smallmoney", "smallmoney", "moneyn", Unit::fixed, 4, 10, 4},
    {"datetime", "datetime", "datetimn", Unit::fixed, 8, 23, 3},
    {"smalldatetime", "smalldatetime", "datetimn", Unit::fixed, 4, 16},
    {"date", "date", "daten", Unit::fixed, 4, 10},
    {"time", "time", "timen", Unit::fixed, 4, 16},
    {"bigdatetime", "bigdatetime", "bigdatetime", Unit::fixed, 8, 26, 6},
    {"bigtime", "bigtime", "bigtime", Unit::fixed, 8, 15, 6},
};

const TypeRow* rowOf(std::string_view declared) {
  const auto* found = std::ranges::find(kTypes, declared, &TypeRow::declared);
  return found == std::end(kTypes) ? nullptr : found;
}

/// A sign and as many whole bytes as the digits take.
std::int32_t bytesOfDigits(std::int32_t precision) {
  constexpr int kBits = 8;
  return 1 + static_cast<std::int32_t>(std::ceil(precision * std::log2(10.0) / kBits));
}

std::int32_t bytesOf(const TypeRow& row, const DataType& type, std::int32_t ncharSize) {
  constexpr std::int32_t kUnicharBytes = 2;
  switch (row.unit) {
    case Unit::fixed:
      return row.length;
    case Unit::byte:
      return type.length.value_or(1);
    case Unit::national:
      return type.length.value_or(1) * ncharSize;
    case Unit::unicode:
      return type.length.value_or(1) * kUnicharBytes;
    case Unit::digit:
      break;
  }
  return bytesOfDigits(type.precision.value_or(0));
}

}  // namespace

DescribedType describe(const DataType& type, std::int32_t ncharSize) {
  const TypeRow* row = rowOf(type.name);
  if (row == nullptr) return {type.name};
  DescribedType described{std::string(row->described), bytesOf(*row, type, ncharSize),
                          row->precision, row->scale};
  if (described.precision == 0)
    described.precision = type.precision ? *type.precision : described.length;
  if (type.scale) described.scale = *type.scale;
  return described;
}

DescribedType describeBased(const ColumnType& base, std::int32_t ncharSize) {
  DescribedType described = describe(base.type, ncharSize);
  // Where the storage of a type that accepts null is that of another type, it passes for that one.
  const TypeRow* row = rowOf(base.type.name);
  if (base.nullable && row && rowOf(row->nullableStorage)) described.name = row->nullableStorage;
  return described;
}

DescribedType describeBase(const ColumnType& base, std::int32_t ncharSize) {
  DescribedType described = describe(base.type, ncharSize);
  const TypeRow* row = rowOf(base.type.name);
  if (row && base.nullable) described.name = row->nullableStorage;
  if (row == nullptr || row->unit != Unit::digit) described.precision = described.scale = 0;
  return described;
}

}  // namespace kelvane::inventory
