#include "drivers/embedded/engine/temporary_tables.h"

#include <algorithm>
#include <utility>

namespace kelvane::embedded {

std::uint64_t DefinitionNumbers::of(const TemporaryTable& table) {
  constexpr std::size_t kMost = 1024;
  constexpr char kEnd = '\0';
  std::string key = table.sqliteTable + kEnd;
  for (const ColumnInfo& column : table.columns) {
    const ColumnType& type = column.type;
    key += column.name + kEnd;
    for (const int part : {static_cast<int>(type.kind), type.storageCode, type.userType,
                           type.length, type.precision.value_or(-1), type.scale.value_or(-1),
                           static_cast<int>(type.nullable), static_cast<int>(type.identity)}) {
      key += std::to_string(part) + ' ';
    }
  }
  for (const std::string& value : table.defaults) key += value + kEnd;
  for (const std::string& check : table.checks) key += check + kEnd;
  // Numbers are never given twice, so that forgetting old ones is harmless.
  if (numbers_.size() >= kMost) numbers_.clear();
  const auto [found, isNew] = numbers_.try_emplace(std::move(key), last_ + 1);
  if (isNew) ++last_;
  return found->second;
}

TemporaryTables::~TemporaryTables() {
  // What a rollback takes away needs no dropping.
  forgetLost();
  while (!tables_.empty()) drop(tables_.begin()->first);
  for (const auto& [columns, table] : spare_) store_.execute("DROP TABLE " + table);
}

const TemporaryTable* TemporaryTables::find(std::string_view name) const {
  const auto found = tables_.find(name);
  return found == tables_.end() ? nullptr : &found->second;
}

TemporaryTable* TemporaryTables::find(std::string_view name) {
  const auto found = tables_.find(name);
  return found == tables_.end() ? nullptr : &found->second;
}

// One that a dropped table left behind, or a new one.
std::string TemporaryTables::storage(const std::string& columns) {
  // A rollback must be able to take the table away.
  const auto spare = transactions_.isOpen() ? spare_.end() : spare_.find(columns);
  if (spare != spare_.end()) {
    std::string table = std::move(spare->second);
    spare_.erase(spare);
    return table;
  }
  std::string table = "temp.s" + std::to_string(session_) + "_" + std::to_string(nextNumber());
  store_.execute("CREATE TABLE " + table + " (" + columns + ")");
  return table;
}

TemporaryTable& TemporaryTables::add(TemporaryTable table) {
  table.sqliteTable = storage(table.sqliteColumns);
  table.definition = definitions_.of(table);
  std::string name = table.name;
  return tables_.emplace(std::move(name), std::move(table)).first->second;
}

void TemporaryTables::drop(std::string_view name) {
  constexpr std::size_t kMostSpares = 8;
  const auto found = tables_.find(name);
  if (found == tables_.end()) return;
  const TemporaryTable& table = found->second;
  if (transactions_.isOpen() || !table.indexes.empty() || spare_.size() >= kMostSpares) {
    store_.execute("DROP TABLE " + table.sqliteTable);
  } else {
    store_.execute("DELETE FROM " + table.sqliteTable);
    spare_.emplace(table.sqliteColumns, table.sqliteTable);
  }
  tables_.erase(found);
}

TemporaryTables::Hidden TemporaryTables::hide(std::string_view name) {
  const auto found = tables_.find(name);
  return found == tables_.end() ? Hidden() : tables_.extract(found);
}

void TemporaryTables::show(Hidden table) {
  if (table) tables_.insert(std::move(table));
}

void TemporaryTables::forgetLost() {
  constexpr std::string_view kSchema = "temp.";
  const auto isLost = [&](const std::string& table) {
    return !store_.value<int>("SELECT 1 FROM temp.sqlite_master WHERE name = ?",
                              table.substr(kSchema.size()));
  };
  std::erase_if(tables_, [&](const auto& entry) { return isLost(entry.second.sqliteTable); });
  for (auto& [name, table] : tables_) {
    std::erase_if(table.indexes, [&](const auto& index) { return isLost(index.sqliteIndex); });
  }
  std::erase_if(spare_, [&](const auto& entry) { return isLost(entry.second); });
}

std::optional<TemporaryTables::Violated> TemporaryTables::violatedIndex(
    std::string_view complaint) const {
  for (const auto& [name, table] : tables_) {
    for (const TemporaryIndex& index : table.indexes) {
      if (!index.violation.empty() && complaint.ends_with(index.violation)) {
        return Violated{table, index};
      }
    }
  }
  return std::nullopt;
}

}  // namespace kelvane::embedded
