#include "drivers/embedded/catalog/keys.h"

#include <algorithm>

#include "drivers/embedded/catalog/writer.h"
#include "drivers/embedded/tsql/error.h"

namespace kelvane::embedded {

ColumnInfo keyColumn(std::optional<ColumnInfo> column, std::string_view name,
                     std::string_view table, std::uint32_t line) {
  if (!column) {
    throw tsql::ServerError(message::indexColumnNotFound, line, name, table);
  }
  const TypeKind kind = column->type.kind;
  if (isLong(kind) || kind == TypeKind::Bit) {
    throw tsql::ServerError(message::typeNoIndexKey, line, name, systemType(kind).name);
  }
  return *std::move(column);
}

ColumnInfo keyColumn(const std::vector<ColumnInfo>& columns, std::string_view name,
                     std::string_view table, std::uint32_t line) {
  const auto found = std::ranges::find(columns, name, &ColumnInfo::name);
  return keyColumn(found == columns.end() ? std::nullopt : std::optional(*found), name, table,
                   line);
}

tsql::ServerError duplicateError(Differing what, std::string_view table, std::string_view index,
                                 std::uint32_t line) {
  if (what == Differing::rows) {
    return {message::duplicateRow, line, table, index};
  }
  return {message::duplicateKey, line, table, index};
}

tsql::ServerError existingDuplicates(Differing what, std::string_view table, std::uint32_t line) {
  if (what == Differing::rows) {
    return {message::duplicateRowsExist, line, table};
  }
  return {message::duplicateKeysExist, line, table};
}

std::string columnList(const std::vector<ColumnInfo>& columns) {
  std::string list;
  for (const ColumnInfo& column : columns) {
    list += concat(list.empty() ? "" : ", ", column.sqliteColumn);
  }
  return list;
}

std::string equalNulls(const std::vector<ColumnInfo>& columns) {
  std::string list;
  for (const ColumnInfo& column : columns) {
    list += list.empty() ? "" : ", ";
    if (!column.type.nullable) {
      list += column.sqliteColumn;
    } else {
      list += concat("ifnull(", column.sqliteColumn, ", ",
                     isBinary(column.type.kind) ? "'null'" : "x''", ") COLLATE RTRIM");
    }
  }
  return list;
}

std::vector<ColumnInfo> comparedInRows(std::vector<ColumnInfo> columns) {
  std::erase_if(columns, [](const ColumnInfo& column) {
    return !column.computed.empty() || isLong(column.type.kind);
  });
  return columns;
}

}  // namespace kelvane::embedded
