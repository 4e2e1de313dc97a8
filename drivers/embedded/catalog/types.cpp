#include "drivers/embedded/catalog/types.h"

#include <algorithm>
#include <array>
#include <iterator>

namespace kelvane::embedded {

namespace {

using enum TypeKind;

constexpr SystemType kSystemTypes[] = {
    {"char", 47, 1, 23, 255, Char, 39},
    {"varchar", 39, 2, 22, 255, Varchar, 39},
    {"binary", 45, 3, 25, 255, Binary, 37},
    {"varbinary", 37, 4, 24, 255, Varbinary, 37},
    {"tinyint", 48, 5, 17, 1, Tinyint, 38},
    {"smallint", 52, 6, 16, 2, Smallint, 38},
    {"int", 56, 7, 15, 4, Int, 38},
    {"float", 62, 8, 2, 8, Float, 109},
    {"numeric", 63, 10, 7, 17, Numeric, 108},
    {"money", 60, 11, 11, 8, Money, 110},
    {"datetime", 61, 12, 4, 8, Datetime, 111},
    {"intn", 38, 13, 14, 4, {}, 38},
    {"floatn", 109, 14, 1, 8, {}, 109},
    {"datetimn", 111, 15, 3, 8, {}, 111},
    {"bit", 50, 16, 18, 1, Bit, 50},
    {"moneyn", 110, 17, 10, 8, {}, 110},
    {"sysname", 39, 18, 22, 30, Sysname, 39},
    {"text", 35, 19, 26, 16, Text, 35},
    {"image", 34, 20, 27, 16, Image, 34},
    {"smallmoney", 122, 21, 12, 4, Smallmoney, 110},
    {"smalldatetime", 58, 22, 13, 4, Smalldatetime, 111},
    {"real", 59, 23, 5, 4, Real, 109},
    {"nchar", 47, 24, 23, 255, Nchar, 39},
    {"nvarchar", 39, 25, 22, 255, Nvarchar, 39},
    {"decimal", 55, 26, 9, 17, Decimal, 106},
    {"decimaln", 106, 27, 8, 17, {}, 106},
    {"numericn", 108, 28, 6, 17, {}, 108},
    {"unichar", 135, 34, 20, 2, Unichar, 155},
    {"univarchar", 155, 35, 19, 2, Univarchar, 155},
    {"unitext", 174, 36, 26, 16, Unitext, 174, Release::ase15},
    {"date", 49, 37, 33, 4, Date, 123},
    {"time", 51, 38, 34, 4, Time, 147},
    {"daten", 123, 39, 35, 4, {}, 123},
    {"timen", 147, 40, 36, 4, {}, 147},
    {"bigint", 191, 43, 16, 8, Bigint, 38, Release::ase15},
    {"usmallint", 65, 44, 21, 2, Usmallint, 68, Release::ase15},
    {"uint", 66, 45, 19, 4, Uint, 68, Release::ase15},
    {"ubigint", 67, 46, 17, 8, Ubigint, 68, Release::ase15},
    {"uintn", 68, 47, 15, 8, {}, 68, Release::ase15},
    {"bigdatetime", 189, 50, 37, 8, Bigdatetime, 187, Release::ase15},
    {"bigtime", 190, 51, 38, 8, Bigtime, 188, Release::ase15},
    {"timestamp", 37, 80, 24, 8, Timestamp, 37},
};

struct Synonym {
  std::string_view name;
  TypeKind kind;
};

constexpr Synonym kSynonyms[] = {
    {"integer", Int},
    {"dec", Decimal},
    {"double precision", Float},
    {"character", Char},
    {"char varying", Varchar},
    {"character varying", Varchar},
    {"national char", Nchar},
    {"national character", Nchar},
    {"nchar varying", Nvarchar},
    {"national char varying", Nvarchar},
    {"national character varying", Nvarchar},
    {"unsigned tinyint", Tinyint},
    {"unsigned smallint", Usmallint},
    {"unsigned int", Uint},
    {"unsigned integer", Uint},
    {"unsigned bigint", Ubigint},
};

/// What a nullable code means by the length of the column.
struct SizedStorage {
  int storageCode;
  int length;
  TypeKind kind;
};

constexpr SizedStorage kSizedStorages[] = {
    {38, 1, Tinyint},   {38, 2, Smallint},    {38, 4, Int},     {38, 8, Bigint},
    {68, 2, Usmallint}, {68, 4, Uint},        {68, 8, Ubigint}, {109, 4, Real},
    {109, 8, Float},    {110, 4, Smallmoney}, {110, 8, Money},  {111, 4, Smalldatetime},
    {111, 8, Datetime},
};

template <class... Kinds>
constexpr bool isOneOf(TypeKind kind, Kinds... kinds) {
  return ((kind == kinds) || ...);
}

constexpr int kDefaultPrecision = 18;
constexpr int kFirstDoublePrecision = 16;

}  // namespace

int fullHierarchy(const SystemType& type) {
  // The integers of 15.0 stand between those that were there before; what came behind them moved.
  constexpr std::pair<TypeKind, int> kIntegers[] = {{Int, 18}, {Smallint, 20}, {Tinyint, 22}};
  for (const auto& [kind, place] : kIntegers) {
    if (type.kind == kind) return place;
  }
  constexpr int kLastUnmoved = 14, kMovedBy = 5, kUnitextUserType = 36, kBigtimeUserType = 51;
  const bool isNew = type.userType >= kUnitextUserType && type.userType <= kBigtimeUserType;
  return type.hierarchy <= kLastUnmoved || isNew ? type.hierarchy : type.hierarchy + kMovedBy;
}

std::span<const SystemType> systemTypes() { return kSystemTypes; }

const SystemType& systemType(TypeKind kind) {
  return *std::ranges::find(kSystemTypes, std::optional(kind), &SystemType::kind);
}

const SystemType* findSystemType(std::string_view name) {
  const auto* type = std::ranges::find(kSystemTypes, name, &SystemType::name);
  if (type != std::end(kSystemTypes)) return type->kind ? type : nullptr;
  const auto* synonym = std::ranges::find(kSynonyms, name, &Synonym::name);
  return synonym == std::end(kSynonyms) ? nullptr : &systemType(synonym->kind);
}

int numericStorage(int precision) {
  constexpr std::array kLargestPrecision = {2,  4,  7,  9,  12, 14, 16, 19,
                                            21, 24, 26, 28, 31, 33, 36, 38};
  const auto* found = std::ranges::lower_bound(kLargestPrecision, precision);
  return static_cast<int>(found - kLargestPrecision.begin()) + 2;
}

ColumnType declaredType(TypeKind kind, std::optional<int> first, std::optional<int> second,
                        bool nullable) {
  if (kind == Float && first.value_or(kFirstDoublePrecision) < kFirstDoublePrecision) kind = Real;
  const SystemType& system = systemType(kind);
  ColumnType type;
  type.kind = kind;
  type.userType = system.userType;
  type.length = system.length;
  if (isOneOf(kind, Numeric, Decimal)) {
    type.precision = first.value_or(kDefaultPrecision);
    type.scale = second.value_or(0);
    type.length = numericStorage(*type.precision);
  } else if (isOneOf(kind, Char, Varchar, Nchar, Nvarchar, Binary, Varbinary)) {
    type.length = first.value_or(1);
  } else if (isOneOf(kind, Unichar, Univarchar)) {
    type.length = first.value_or(1) * 2;
  }
  return withNullability(type, nullable);
}

ColumnType withNullability(ColumnType type, bool nullable) {
  const SystemType& system = systemType(type.kind);
  type.nullable = nullable;
  type.storageCode = nullable ? system.nullableCode : system.storageCode;
  return type;
}

TypeKind kindOfStorage(int storageCode, int length) {
  for (const SizedStorage& sized : kSizedStorages) {
    if (sized.storageCode == storageCode && sized.length == length) return sized.kind;
  }
  for (const SystemType& type : kSystemTypes) {
    if (type.kind && type.storageCode == storageCode) return *type.kind;
  }
  for (const SystemType& type : kSystemTypes) {
    if (type.kind && type.nullableCode == storageCode) return *type.kind;
  }
  return Varbinary;
}

bool isCharacter(TypeKind kind) { return kind >= Char && kind <= Unitext; }
bool isUnicode(TypeKind kind) { return isOneOf(kind, Unichar, Univarchar, Unitext); }
bool isBinary(TypeKind kind) { return kind >= Binary && kind <= Image; }
bool isInteger(TypeKind kind) { return kind >= Bit && kind <= Ubigint; }
bool isTemporal(TypeKind kind) { return kind >= Datetime; }
bool isLong(TypeKind kind) { return isOneOf(kind, Text, Unitext, Image); }
bool isFixedWidthText(TypeKind kind) { return isOneOf(kind, Char, Nchar, Unichar); }

}  // namespace kelvane::embedded
