#include "change_script/types.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace kelvane::change_script {
namespace {

using inventory::DataType;

/// Types of which a later one holds all values of an earlier one of the same row.
constexpr std::array<std::array<std::string_view, 4>, 6> kWidening{{
    {"tinyint", "smallint", "int", "bigint"},
    {"unsigned smallint", "unsigned int", "unsigned bigint"},
    {"smallmoney", "money"},
    {"smalldatetime", "datetime", "bigdatetime"},
    {"real", "float", "double precision"},
    {"time", "bigtime"},
}};

/// Types that hold the same values where their lengths are the same.
constexpr std::array<std::array<std::string_view, 4>, 5> kAlike{{
    {"char", "varchar"},
    {"nchar", "nvarchar"},
    {"unichar", "univarchar"},
    {"binary", "varbinary"},
    {"numeric", "decimal"},
}};

template <std::size_t kCount>
std::optional<bool> widens(const std::array<std::array<std::string_view, 4>, kCount>& rows,
                           std::string_view was, std::string_view is) {
  for (const auto& row : rows) {
    const auto* const from = std::ranges::find(row, was);
    const auto* const to = std::ranges::find(row, is);
    if (from != row.end() && to != row.end()) return from <= to;
  }
  return std::nullopt;
}

bool isShorter(const DataType& was, const DataType& is) {
  if (is.length.value_or(1) < was.length.value_or(1)) return true;
  const int wasScale = was.scale.value_or(0), isScale = is.scale.value_or(0);
  return isScale < wasScale ||
         is.precision.value_or(0) - isScale < was.precision.value_or(0) - wasScale;
}

}  // namespace

std::vector<Danger> dangersOf(const inventory::ColumnType& was, const inventory::ColumnType& is) {
  std::vector<Danger> dangers;
  constexpr std::string_view kTimestamp = "timestamp";
  if (was.identity != is.identity) return {Danger::rebuild};
  if ((was.type.name == kTimestamp) != (is.type.name == kTimestamp)) return {Danger::rebuild};
  const bool areAlike =
      was.type.name == is.type.name || widens(kAlike, was.type.name, is.type.name).has_value();
  if (areAlike) {
    if (isShorter(was.type, is.type)) dangers.push_back(Danger::narrow);
  } else if (const auto wider = widens(kWidening, was.type.name, is.type.name)) {
    if (!*wider) dangers.push_back(Danger::narrow);
  } else {
    dangers.push_back(Danger::convert);
  }
  if (was.nullable && !is.nullable) dangers.push_back(Danger::nullToNotNull);
  return dangers;
}

ValueKind kindOf(const DataType& type) {
  const std::string_view name = type.name;
  const auto has = [&](std::string_view part) { return name.find(part) != name.npos; };
  if (name == "timestamp" || has("binary")) return ValueKind::bytes;
  if (name == "image") return ValueKind::image;
  if (name == "text" || name == "unitext") return ValueKind::longText;
  if (has("char") || name == "sysname") return ValueKind::text;
  return has("date") || has("time") ? ValueKind::moment : ValueKind::number;
}

bool converts(const inventory::ColumnType& was, const inventory::ColumnType& is) {
  const ValueKind from = kindOf(was.type), to = kindOf(is.type);
  if (from == to) return true;
  switch (from) {
    case ValueKind::longText:
      return to == ValueKind::text;
    case ValueKind::image:
      return to == ValueKind::bytes;
    case ValueKind::moment:
    case ValueKind::number:
      return to == ValueKind::text || to == ValueKind::bytes;
    case ValueKind::bytes:
      return to != ValueKind::moment;
    default:
      return true;
  }
}

bool copiesData(const inventory::ColumnType& was, const inventory::ColumnType& is) {
  const std::string_view name = was.type.name;
  const bool isText = name.ends_with("char") || name.ends_with("binary");
  // One that takes null has no fixed length either.
  const bool variesInLength = name.find("var") != name.npos || (was.nullable && is.nullable);
  return name != is.type.name || !isText || !variesInLength || !dangersOf(was, is).empty();
}

std::string placeholderOf(const DataType& type) {
  constexpr std::array<std::string_view, 9> kTexts{"char",     "varchar", "nchar",
                                                   "nvarchar", "unichar", "univarchar",
                                                   "text",     "unitext", "sysname"};
  constexpr std::array<std::string_view, 3> kBytes{"binary", "varbinary", "image"};
  const std::string_view name = type.name;
  if (std::ranges::find(kTexts, name) != kTexts.end()) return "''";
  if (std::ranges::find(kBytes, name) != kBytes.end()) return "0x00";
  const bool isMoment = name.find("date") != name.npos || name.find("time") != name.npos;
  return isMoment ? "'19000101'" : "0";
}

}  // namespace kelvane::change_script
