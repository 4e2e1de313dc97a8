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
  followRollback();
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
  return newStorage(columns);
}

std::string TemporaryTables::newStorage(const std::string& columns) {
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

TemporaryTable& TemporaryTables::replace(TemporaryTable changed, const Fill& fill) {
  TemporaryTable& former = tables_.find(changed.name)->second;
  changed.indexes.clear();
  changed.droppedIndexes.clear();
  changed.sqliteTable = newStorage(changed.sqliteColumns);
  changed.definition = definitions_.of(changed);
  fill(former, changed);
  store_.execute("DROP TABLE " + former.sqliteTable);
  if (transactions_.isOpen()) former_.push_back(former);
  former = std::move(changed);
  return former;
}

void TemporaryTables::restore(TemporaryTable table) {
  std::erase_if(former_, [&](const TemporaryTable& former) {
    return former.sqliteTable == table.sqliteTable;
  });
  std::string name = table.name;
  tables_.insert_or_assign(std::move(name), std::move(table));
}

void TemporaryTables::drop(std::string_view name) {
  const auto found = tables_.find(name);
  if (found == tables_.end()) return;
  discard(std::move(found->second));
  tables_.erase(found);
}

void TemporaryTables::dropIndex(TemporaryTable& table, std::string_view index) {
  const auto found = std::ranges::find(table.indexes, index, &TemporaryIndex::name);
  store_.execute("DROP INDEX " + found->sqliteIndex);
  if (transactions_.isOpen()) table.droppedIndexes.push_back(std::move(*found));
  table.indexes.erase(found);
}

void TemporaryTables::discard(TemporaryTable table) {
  constexpr std::size_t kMostSpares = 8;
  if (transactions_.isOpen() || !table.indexes.empty() || spare_.size() >= kMostSpares) {
    store_.execute("DROP TABLE " + table.sqliteTable);
  } else {
    store_.execute("DELETE FROM " + table.sqliteTable);
    spare_.emplace(table.sqliteColumns, table.sqliteTable);
  }
  if (!transactions_.isOpen()) return former_.clear();
  // The rows of triggers end with them.
  if (table.id != 0) former_.push_back(std::move(table));
}

TemporaryTables::Hidden TemporaryTables::hide(std::string_view name) {
  const auto found = tables_.find(name);
  return found == tables_.end() ? Hidden() : tables_.extract(found);
}

void TemporaryTables::show(Hidden table) {
  if (table) tables_.insert(std::move(table));
}

bool TemporaryTables::isLost(const std::string& storage) const {
  constexpr std::string_view kSchema = "temp.";
  return !store_.value<int>("SELECT 1 FROM temp.sqlite_master WHERE name = ?",
                            storage.substr(kSchema.size()));
}

void TemporaryTables::followRollback() {
  std::erase_if(tables_, [&](const auto& entry) { return isLost(entry.second.sqliteTable); });
  std::vector<TemporaryTable> stillFormer;
  for (TemporaryTable& table : former_) {
    if (isLost(table.sqliteTable)) {
      if (transactions_.isOpen()) stillFormer.push_back(std::move(table));
      continue;
    }
    std::string name = table.name;
    tables_.insert_or_assign(std::move(name), std::move(table));
  }
  former_ = std::move(stillFormer);
  for (auto& [name, table] : tables_) {
    for (TemporaryIndex& index : std::exchange(table.droppedIndexes, {})) {
      table.indexes.push_back(std::move(index));
    }
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
