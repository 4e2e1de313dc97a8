// The data types of the server: what a declaration means, and how a column stores it.
//
// Pure functions and constant tables.
#pragma once

#include <optional>
#include <span>
#include <string_view>

#include "drivers/embedded/options.h"

namespace kelvane::embedded {

/// The built-in types as declared, whatever their nullability.
enum class TypeKind {
  Char,
  Varchar,
  Nchar,
  Nvarchar,
  Unichar,
  Univarchar,
  Sysname,
  Text,
  Unitext,
  Binary,
  Varbinary,
  Timestamp,
  Image,
  Bit,
  Tinyint,
  Smallint,
  Usmallint,
  Int,
  Uint,
  Bigint,
  Ubigint,
  Numeric,
  Decimal,
  Float,
  Real,
  Money,
  Smallmoney,
  Datetime,
  Smalldatetime,
  Date,
  Time,
  Bigdatetime,
  Bigtime,
};

/// A row of systypes that the server brings along. The nullable twins (intn, floatn, ...) are rows
/// too, without a kind: nothing can be declared with them.
struct SystemType {
  std::string_view name;
  int storageCode;
  int userType;
  int hierarchy;
  int length;
  std::optional<TypeKind> kind;
  int nullableCode;  ///< storage code of a column that accepts null
  Release since = Release::ase125;
};

/// Its place among all types, as releases from 15.0 number it: the lower one leads where two meet.
int fullHierarchy(const SystemType& type);

/// In order of user type number, those of later releases included.
std::span<const SystemType> systemTypes();

const SystemType& systemType(TypeKind kind);

/// By name or synonym (`integer`, `dec`, `double precision`, ...), in lower case; null if unknown.
/// `float` gives double precision; see declaredType for its precision.
const SystemType* findSystemType(std::string_view name);

/// The type of a column, parameter, variable or result. `length` is in bytes; precision and scale
/// are set for numeric and decimal only.
struct ColumnType {
  TypeKind kind = TypeKind::Int;
  int storageCode = 56;
  int userType = 7;
  int length = 4;
  std::optional<int> precision;
  std::optional<int> scale;
  bool nullable = false;
  bool identity = false;

  bool operator==(const ColumnType&) const = default;
};

/// `kind(first, second)` with the server's rules: character and binary types have length 1 unless
/// given, numeric is (18,0), float(p) below 16 is real. Lengths of national and Unicode types are
/// counted in characters of 1 and 2 bytes.
ColumnType declaredType(TypeKind kind, std::optional<int> first, std::optional<int> second,
                        bool nullable);

/// The same type with the other nullability; the storage code follows, the user type does not.
ColumnType withNullability(ColumnType type, bool nullable);

/// Bytes that a numeric or decimal of this precision takes (1 to 38).
int numericStorage(int precision);

/// The kind of a column stored with `storageCode` in `length` bytes: intn of 2 bytes is smallint.
TypeKind kindOfStorage(int storageCode, int length);

bool isCharacter(TypeKind kind);  ///< also text and unitext
bool isUnicode(TypeKind kind);    ///< 2 bytes a character
bool isBinary(TypeKind kind);     ///< also image and timestamp
bool isInteger(TypeKind kind);    ///< also bit
bool isTemporal(TypeKind kind);
bool isLong(TypeKind kind);            ///< text, unitext, image
bool isFixedWidthText(TypeKind kind);  ///< char, nchar, unichar: padded when not nullable

}  // namespace kelvane::embedded
