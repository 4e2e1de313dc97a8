#include "inventory/ddl/left_out_tables.h"

#include <algorithm>

#include "inventory/ddl/tables.h"
#include "inventory/shown.h"

namespace kelvane::inventory {
namespace {

std::optional<std::string> reasonToLeaveOut(const Writing& writing, const Table& table,
                                            const Column& column) {
  if (!column.computed.isDefault()) {
    const Definition& computed = *column.computed;
    if (computed.state != Definition::State::whole) return "its expression cannot be read";
    if (auto used =
            writing.leftOutFunctionIn(computed.text, computed.quotedIdentifier, table.name.owner))
      return *used + " is left out";
    if (const auto missing =
            writing.missingColumnIn(table, computed.text, computed.quotedIdentifier))
      return "names column " + *missing + ", which the table does not have";
  }
  for (const std::string& used :
       {titleOf(Kind::type, shown(QualifiedName{*column.type.type.owner, column.type.type.name})),
        titleOf(Kind::encryptionKey, shown(*column.encryptionKey))}) {
    if (writing.isLeftOut(used)) return used + " is left out";
  }
  if (writing.has(TargetRelease::ase15)) return std::nullopt;
  const DataType type = typeFor(writing, column).type;
  if (!writing.hasType(type)) return writing.lacks(type.name);
  if (!column.computed.isDefault()) return writing.lacks("computed columns");
  if (!writing.fits(column.name)) return writing.lacks(kLongNames);
  return std::nullopt;
}

bool isLateColumn(const Writing& writing, const Column& column) {
  return !column.computed.isDefault() && writing.isLate(&column);
}

bool isAddable(const Column& column) {
  return !column.computed.isDefault() || column.type.nullable || column.type.identity ||
         !column.defaultValue->text.empty();
}

/// Why columns that wait for a function cannot be added to the table.
std::optional<std::string> reasonAgainstLater(const Writing& writing, const Table& table) {
  const std::span<const Column> later = laterColumns(writing, table);
  for (const Column& column : later) {
    const auto isIt = [&](const KeyColumn& key) { return key.name == column.name; };
    const bool isInKey = std::ranges::any_of(table.keys, [&](const KeyConstraint& key) {
      return std::ranges::any_of(key.columns, isIt);
    });
    const bool isOfPartitions =
        std::ranges::find(table.partitionColumns, column.name) != table.partitionColumns.end();
    if (isInKey || isOfPartitions || !isAddable(column)) {
      return "column " + later.front().name +
             ": its function uses the table, and the table needs column " + column.name;
    }
  }
  return std::nullopt;
}

/// Keys that others refer to; they have no title of their own.
std::string titleOfKey(const std::string& table, const std::vector<std::string>& columns) {
  return table + ": key " + shown(columns);
}

}  // namespace

std::span<const Column> laterColumns(const Writing& writing, const Table& table) {
  const auto first = std::ranges::find_if(
      table.columns, [&](const Column& column) { return isLateColumn(writing, column); });
  return {first, table.columns.end()};
}

std::optional<std::string> reasonToLeaveOut(const Writing& writing, const Table& table) {
  if (table.columns.empty()) return "its columns are not known";
  for (const Column& column : table.columns) {
    if (auto reason = reasonToLeaveOut(writing, table, column))
      return "column " + column.name + ": " + *reason;
  }
  if (auto reason = reasonAgainstLater(writing, table)) return reason;
  if (!writing.fits(table.name.name)) return writing.lacks(kLongNames);
  return std::nullopt;
}

void leaveOutKeys(Writing& writing, const Table& table) {
  for (const KeyConstraint& key : table.keys) {
    if (key.name.generated || writing.fits(key.name.name)) continue;
    std::vector<std::string> columns;
    columns.reserve(key.columns.size());
    for (const KeyColumn& column : key.columns) columns.push_back(column.name);
    writing.leaveOut(titleOfKey(titleOf(table), columns));
  }
}

bool allowsReference(Writing& writing, Phase phase, const std::string& what,
                     const QualifiedName& table, const std::vector<std::string>& columns) {
  for (const Kind kind : {Kind::table, Kind::view}) {
    if (!writing.allowsUse(phase, what, titleOf(kind, shown(table)))) return false;
  }
  return writing.allowsUse(phase, what, titleOfKey(titleOf(Kind::table, shown(table)), columns));
}

}  // namespace kelvane::inventory
