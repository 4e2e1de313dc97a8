#include "drivers/embedded/catalog/keys.h"

#include <algorithm>

#include "drivers/embedded/catalog/writer.h"
#include "drivers/embedded/tsql/error.h"

namespace kelvane::embedded {

ColumnInfo keyColumn(std::optional<ColumnInfo> column, std::string_view name,
                     std::string_view table, std::uint32_t line) {
  if (!column) {
    throw tsql::ServerError(
        1921, 16, 1, concat("Index column '", name, "' does not exist in table '", table, "'."),
        line);
  }
  const TypeKind kind = column->type.kind;
  if (isLong(kind) || kind == TypeKind::Bit) {
    throw tsql::ServerError(1919, 16, 1,
                            concat("Column '", name, "' of type ", systemType(kind).name,
                                   " cannot be a key of an index."),
                            line);
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
    return {2615, 14, 1,
            concat("Attempt to insert duplicate row in table '", table, "' with index '", index,
                   "'. Could drop and recreate index with ignore duplicate rows or allow "
                   "duplicate rows."),
            line};
  }
  return {2601, 14, 1,
          concat("Attempt to insert duplicate key row in object '", table, "' with unique index '",
                 index, "'"),
          line};
}

tsql::ServerError existingDuplicates(Differing what, std::string_view table, std::uint32_t line) {
  if (what == Differing::rows) {
    return {1508, 14, 1, concat("Create index aborted on duplicate rows in table '", table, "'."),
            line};
  }
  return {1505, 14, 1,
          concat("Create unique index aborted on duplicate key in table '", table, "'."), line};
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
