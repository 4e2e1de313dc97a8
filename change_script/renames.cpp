#include "change_script/renames.h"

#include <algorithm>

#include "change_script/planner.h"
#include "inventory/shown.h"

namespace kelvane::change_script {
namespace {

using namespace inventory;

constexpr std::string_view kThatFirst = "; if that is renamed too, give its --rename first";

/// Parts between dots; none where a quote does not end.
std::optional<std::vector<std::string>> partsOf(std::string_view text) {
  std::vector<std::string> parts(1);
  bool isQuoted = false;
  for (const char letter : text) {
    if (letter == '"') {
      isQuoted = !isQuoted;
    } else if (letter == '.' && !isQuoted) {
      parts.emplace_back();
    } else {
      parts.back() += letter;
    }
  }
  if (isQuoted || std::ranges::count(parts, "") != 0) return std::nullopt;
  return parts;
}

template <class Record>
bool hasName(const std::vector<Record>& records, const std::string& name) {
  return std::ranges::find(records, name, &Record::name) != records.end();
}

void replace(std::vector<std::string>& names, const Rename& rename) {
  std::ranges::replace(names, rename.part, rename.to);
}

void renameColumn(Database& target, Table& table, const Rename& rename) {
  std::ranges::find(table.columns, rename.part, &Column::name)->name = rename.to;
  const auto renameKeys = [&](IndexStorage& storage) {
    for (KeyColumn& column : storage.columns) {
      if (!column.isExpression && column.name == rename.part) column.name = rename.to;
    }
  };
  for (KeyConstraint& key : table.keys) renameKeys(key);
  for (Index& index : table.indexes) renameKeys(index);
  for (ForeignKey& key : table.foreignKeys) replace(key.columns, rename);
  for (LogicalKey& key : table.logicalKeys) replace(key.columns, rename);
  for (Permission& permission : table.permissions) replace(permission.columns, rename);
  replace(table.partitionColumns, rename);
  for (Table& other : target.tables) {
    for (ForeignKey& key : other.foreignKeys) {
      if (key.referenced == DatabaseObjectName{{}, table.name.owner, table.name.name})
        replace(key.referencedColumns, rename);
    }
    for (LogicalKey& key : other.logicalKeys) {
      if (key.other == table.name) replace(key.otherColumns, rename);
    }
  }
}

void renameTable(Database& target, Table& table, const Rename& rename) {
  for (Table& other : target.tables) {
    for (ForeignKey& key : other.foreignKeys) {
      if (key.referenced == DatabaseObjectName{{}, table.name.owner, table.name.name})
        key.referenced.name = rename.to;
    }
    for (LogicalKey& key : other.logicalKeys) {
      if (key.other == table.name) key.other.name = rename.to;
    }
  }
  table.name.name = rename.to;
}

}  // namespace

std::optional<Rename> parseRename(std::string_view text) {
  const std::size_t sign = text.rfind('=');
  if (sign == text.npos) return std::nullopt;
  const auto from = partsOf(text.substr(0, sign)), to = partsOf(text.substr(sign + 1));
  if (!from || !to || to->size() != 1 || from->size() < 2 || from->size() > 3) return std::nullopt;
  return Rename{{from->at(0), from->at(1)},
                from->size() > 2 ? from->at(2) : "",
                to->front(),
                std::string(text)};
}

std::optional<std::string> rename(Database& target, const Rename& rename) {
  const auto table = std::ranges::find(target.tables, rename.table, &Table::name);
  const std::string shownTable = "table " + shown(rename.table);
  if (table == target.tables.end()) return "the target has no " + shownTable;
  if (rename.part.empty()) {
    const QualifiedName to{rename.table.owner, rename.to};
    if (std::ranges::find(target.tables, to, &Table::name) != target.tables.end())
      return "the target has a table " + shown(to) + " already" + std::string(kThatFirst);
    renameTable(target, *table, rename);
    return std::nullopt;
  }
  const bool isColumn = hasName(table->columns, rename.part);
  if (!isColumn && !hasName(table->indexes, rename.part))
    return shownTable + " of the target has no column or index " + rename.part;
  if (isColumn ? hasName(table->columns, rename.to) : hasName(table->indexes, rename.to))
    return shownTable + " of the target has " + rename.to + " already" + std::string(kThatFirst);
  if (isColumn) {
    renameColumn(target, *table, rename);
  } else {
    std::ranges::find(table->indexes, rename.part, &Index::name)->name = rename.to;
  }
  return std::nullopt;
}

bool hasNewName(const Database& database, const Rename& rename) {
  const QualifiedName name{rename.table.owner, rename.part.empty() ? rename.to : rename.table.name};
  const auto table = std::ranges::find(database.tables, name, &Table::name);
  if (table == database.tables.end()) return false;
  return rename.part.empty() || hasName(table->columns, rename.to) ||
         hasName(table->indexes, rename.to);
}

Step stepOf(const Rename& rename) {
  Step step;
  step.stage = Stage::hints;
  step.kind = Kind::table;
  step.object = shown(rename.table);
  const auto& [owner, name] = rename.table;
  const std::string user = Writing::userFor(owner);
  if (rename.part.empty()) {
    step.difference = "table " + step.object + " is renamed to " + rename.to;
    step.batches.push_back(callOf("if " + idOf(rename.table) + " is not null and " +
                                      idOf({owner, rename.to}) + " is null\n    exec sp_rename " +
                                      argument({name}) + ", " + literal(rename.to),
                                  user));
    return step;
  }
  step.difference = "table " + step.object + ", " + rename.part + " is renamed to " + rename.to;
  const auto exists = [&](std::string_view catalog, const std::string& called) {
    return "exists (select 1 from " + std::string(catalog) + " where id = " + idOf(rename.table) +
           " and name = " + literal(called) + ")";
  };
  // The old name may be that of another one afterwards.
  const auto isThere = [&](std::string_view catalog) {
    return exists(catalog, rename.part) + "\n    and not " + exists(catalog, rename.to);
  };
  step.batches.push_back(callOf("if " + isThere("syscolumns") + "\n    or " +
                                    isThere("sysindexes") + "\n    exec sp_rename " +
                                    argument({name, rename.part}) + ", " + literal(rename.to),
                                user));
  return step;
}

}  // namespace kelvane::change_script
