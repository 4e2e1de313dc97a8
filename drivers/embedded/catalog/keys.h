// Key columns of an index, as the server takes them and as SQLite compares them.
//
// Free functions without state.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "drivers/embedded/catalog/catalog.h"

namespace kelvane::embedded {

/// The column of that name. Throws 1921 when the table lacks it and 1919 for one whose type no
/// index takes.
ColumnInfo keyColumn(std::optional<ColumnInfo> column, std::string_view name,
                     std::string_view table, std::uint32_t line);
/// The same among all columns of the table.
ColumnInfo keyColumn(const std::vector<ColumnInfo>& columns, std::string_view name,
                     std::string_view table, std::uint32_t line);

/// What a unique index keeps apart, or a clustered one without allow_dup_row.
enum class Differing { keys, rows };
/// 2601 or 2615: a row that is written, against the index.
tsql::ServerError duplicateError(Differing what, std::string_view table, std::string_view index,
                                 std::uint32_t line);
/// 1505 or 1508: rows that were there before the index.
tsql::ServerError existingDuplicates(Differing what, std::string_view table, std::uint32_t line);

/// Their names in SQLite, with commas between them.
std::string columnList(const std::vector<ColumnInfo>& columns);

/// The same with nulls made equal to each other and to nothing else: SQLite's unique indexes take
/// any number of nulls, the server's one.
std::string equalNulls(const std::vector<ColumnInfo>& columns);

/// Takes away what a comparison of whole rows leaves out: computed columns and long ones.
std::vector<ColumnInfo> comparedInRows(std::vector<ColumnInfo> columns);

}  // namespace kelvane::embedded
