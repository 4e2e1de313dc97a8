// How the catalog procedures describe data types, and the columns of their results.
//
// Pure functions and constant tables.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "drivers/embedded/catalog/result.h"

namespace kelvane::embedded {

/// A precision of 0 is the column's own: its declared one, or its length.
struct TypeReport {
  TypeKind kind;
  std::string_view name;
  int odbcCode;
  int precision = 0;
  std::optional<int> scale = {};
  std::optional<int> radix = {};
};

std::span<const TypeReport> typeReports();

struct DescribedType {
  const TypeReport& report;
  int precision;
  std::optional<int> scale;
  int octets;  ///< of character and binary types, else 0
  int sqlType;
};

DescribedType describe(const ColumnType& type);

/// What ODBC calls a type whose subtype says whether it is a date, a time or both.
inline constexpr int kOdbcDateTime = 9;
bool isOdbcDateTime(TypeKind kind);

ResultColumn textColumn(std::string name, int length, bool nullable);
ResultColumn intColumn(std::string name, TypeKind kind, bool nullable);
/// Null for none.
Cell numberCell(const std::optional<int>& number);

}  // namespace kelvane::embedded
