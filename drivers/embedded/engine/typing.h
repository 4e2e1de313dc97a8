// How types meet: in arithmetic, comparisons, unions and assignments.
//
// Pure functions.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "drivers/embedded/catalog/types.h"
#include "drivers/embedded/tsql/error.h"

namespace kelvane::embedded {

/// Types of one family convert to each other freely.
enum class TypeFamily { Character, Binary, Number, Temporal };
TypeFamily familyOf(TypeKind kind);

/// Numeric, decimal and money: exact numbers with a fraction.
bool isExactFraction(TypeKind kind);
bool isApproximate(TypeKind kind);
/// Whether values may be texts in the store: exact ones with more digits than floating point holds,
/// and unsigned integers above the signed ones.
bool isWide(const ColumnType& type);
/// Whether its values are filled up with zeros to their full length.
bool isZeroFilled(const ColumnType& type);
/// Whether zeros at the end of its values are not stored.
bool isWithoutZeros(const ColumnType& type);
int precisionOf(const ColumnType& type);
int scaleOf(const ColumnType& type);

/// The name as messages show it: `VARCHAR`, `INT`, ...
std::string shownName(TypeKind kind);

ColumnType intType(bool nullable = false);
ColumnType floatType(bool nullable = true);
ColumnType varcharType(int length, bool nullable = true);
ColumnType varbinaryType(int length, bool nullable = true);
ColumnType numericType(int precision, int scale, bool nullable = true);
ColumnType plainType(TypeKind kind, bool nullable = true);

/// Whether a value of the one type may become the other without convert().
bool convertsImplicitly(TypeKind from, TypeKind to);
/// Whether convert() has a way from the one type to the other.
bool convertsExplicitly(TypeKind from, TypeKind to);
/// Throws 257 when it may not.
void requireImplicit(TypeKind from, TypeKind to, std::uint32_t line);

/// The type that both sides become in a comparison, a union or a case: the one of the lower
/// hierarchy, wide enough for both. Throws 257 when neither converts to the other.
ColumnType commonType(const ColumnType& a, const ColumnType& b, std::uint32_t line);

/// Of `a op b` for + - * / % over numbers.
ColumnType arithmeticType(const ColumnType& a, const ColumnType& b, char op, std::uint32_t line);

}  // namespace kelvane::embedded
