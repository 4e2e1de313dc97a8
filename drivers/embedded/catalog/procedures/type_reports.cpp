#include "drivers/embedded/catalog/procedures/type_reports.h"

#include <algorithm>
#include <limits>

namespace kelvane::embedded {

namespace {

using enum TypeKind;

constexpr int kLongPrecision = std::numeric_limits<int>::max();

constexpr TypeReport kTypeReports[] = {
    {Char, "char", 1},
    {Nchar, "char", 1},
    {Varchar, "varchar", 12},
    {Nvarchar, "varchar", 12},
    {Sysname, "varchar", 12},
    {Unichar, "unichar", -8},
    {Univarchar, "univarchar", -9},
    {Text, "text", -1, kLongPrecision},
    {Unitext, "unitext", -10, kLongPrecision},
    {Binary, "binary", -2},
    {Varbinary, "varbinary", -3},
    {Timestamp, "varbinary", -3},
    {Image, "image", -4, kLongPrecision},
    {Bit, "bit", -7, 1, 0, 2},
    {Tinyint, "tinyint", -6, 3, 0, 10},
    {Smallint, "smallint", 5, 5, 0, 10},
    {Usmallint, "usmallint", 65, 5, 0, 10},
    {Int, "int", 4, 10, 0, 10},
    {Uint, "uint", 66, 10, 0, 10},
    {Bigint, "bigint", -5, 19, 0, 10},
    {Ubigint, "ubigint", 67, 20, 0, 10},
    {Numeric, "numeric", 2, 0, {}, 10},
    {Decimal, "decimal", 3, 0, {}, 10},
    {Float, "float", 6, 15, {}, 10},
    {Real, "real", 7, 7, {}, 10},
    {Money, "money", 3, 19, 4, 10},
    {Smallmoney, "smallmoney", 3, 10, 4, 10},
    {Datetime, "datetime", 11, 23, 3, 10},
    {Smalldatetime, "smalldatetime", 11, 16, 0, 10},
    {Date, "date", 91, 10, 0, 10},
    {Time, "time", 92, 16, 0, 10},
    {Bigdatetime, "bigdatetime", 93, 26, 6, 10},
    {Bigtime, "bigtime", 94, 15, 6, 10},
};

}  // namespace

std::span<const TypeReport> typeReports() { return kTypeReports; }

bool isOdbcDateTime(TypeKind kind) { return kind == Datetime || kind == Smalldatetime; }

DescribedType describe(const ColumnType& type) {
  const TypeReport& report = *std::ranges::find(kTypeReports, type.kind, &TypeReport::kind);
  const int own = type.precision.value_or(type.length);
  const int precision = report.precision == 0 ? own : report.precision;
  const bool hasOctets = isCharacter(type.kind) || isBinary(type.kind);
  return {report, precision, type.precision ? type.scale : report.scale, hasOctets ? precision : 0,
          isOdbcDateTime(type.kind) ? kOdbcDateTime : report.odbcCode};
}

ResultColumn textColumn(std::string name, int length, bool nullable) {
  return {std::move(name), declaredType(Varchar, length, {}, nullable)};
}

ResultColumn intColumn(std::string name, TypeKind kind, bool nullable) {
  return {std::move(name), declaredType(kind, {}, {}, nullable)};
}

Cell numberCell(const std::optional<int>& number) {
  return number ? Cell(std::int64_t{*number}) : Cell(Null{});
}

}  // namespace kelvane::embedded
