#include "rows/stored_type.h"

#include <algorithm>
#include <array>

namespace kelvane::rows {
namespace {

using enum TypeFamily;
using Parts = ado::DateTime::Parts;

constexpr StoredType number(std::string_view name, int precision, std::string_view least,
                            std::string_view most, int scale = 0) {
  return {.name = name,
          .family = exact,
          .precision = precision,
          .scale = scale,
          .least = least,
          .most = most};
}

constexpr StoredType moments(std::string_view name, Parts parts, std::int64_t unit = 0,
                             std::string_view least = "0001-01-01",
                             std::string_view most = "9999-12-31") {
  return {
      .name = name, .family = moment, .least = least, .most = most, .parts = parts, .unit = unit};
}

constexpr std::int64_t kMicrosecond = 1000, kMinute = 60'000'000'000;

constexpr auto kTypes = std::to_array<StoredType>({
    number("bit", 1, "0", "1"),
    number("tinyint", 3, "0", "255"),
    number("smallint", 5, "-32768", "32767"),
    number("int", 10, "-2147483648", "2147483647"),
    number("bigint", 19, "-9223372036854775808", "9223372036854775807"),
    number("unsigned smallint", 5, "0", "65535"),
    number("unsigned int", 10, "0", "4294967295"),
    number("unsigned bigint", 20, "0", "18446744073709551615"),
    number("numeric", 18, {}, {}),
    number("decimal", 18, {}, {}),
    number("money", 19, "-9223372036854775808", "9223372036854775807", 4),
    number("smallmoney", 10, "-2147483648", "2147483647", 4),
    {.name = "real", .family = single},
    {.name = "float", .family = approximate},
    {.name = "double precision", .family = approximate},
    moments("datetime", Parts::both, 0, "1753-01-01"),
    moments("smalldatetime", Parts::both, kMinute, "1900-01-01", "2079-06-06"),
    moments("bigdatetime", Parts::both, kMicrosecond),
    moments("date", Parts::dateOnly, kMicrosecond),
    moments("time", Parts::timeOnly),
    moments("bigtime", Parts::timeOnly, kMicrosecond),
    {.name = "char", .family = text, .isPadded = true},
    {.name = "varchar", .family = text},
    {.name = "nchar", .family = text, .isPadded = true},
    {.name = "nvarchar", .family = text},
    {.name = "sysname", .family = text},
    {.name = "longsysname", .family = text},
    {.name = "text", .family = text, .isLarge = true},
    {.name = "unichar", .family = unicode, .isPadded = true},
    {.name = "univarchar", .family = unicode},
    {.name = "unitext", .family = unicode, .isLarge = true},
    {.name = "binary", .family = bytes, .isPadded = true},
    {.name = "varbinary", .family = bytes},
    {.name = "timestamp", .family = bytes},
    {.name = "image", .family = bytes, .isLarge = true},
});

}  // namespace

const StoredType* storedTypeNamed(std::string_view name) {
  const auto* const found = std::ranges::find(kTypes, name, &StoredType::name);
  return found == kTypes.end() ? nullptr : found;
}

}  // namespace kelvane::rows
