#include "drivers/embedded/catalog/databases.h"

#include <algorithm>

#include "drivers/embedded/catalog/writer.h"

namespace kelvane::embedded {

namespace {

constexpr std::string_view kFirst = "main";

}  // namespace

Databases::Databases(Database& store, const CatalogOptions& options)
    : store_(store), options_(options), tables_(SystemTables::of(options.release)) {
  for (const SystemTable& table : tables_.all()) {
    const std::string name(table.name);
    if (table.inMaster) {
      PlainTable& rows = *(master_[table.name] = plainTable(store_.undoLog(), table));
      store_.addTable(virtualTable(table, name, [&rows]() -> RowSource& { return rows; }));
    } else {
      store_.addTable(virtualTable(table, name, [this, &table]() -> RowSource& {
        return current_->records.source(table.name);
      }));
    }
  }
  Savepoint savepoint(store_);
  fillMaster(store_, options_);
  savepoint.keep();
  lastDbid_ = store_.value("SELECT max(dbid) FROM sysdatabases").value();
  firstDbid_ = store_.value("SELECT dbid FROM sysdatabases WHERE name = ?", kFirst).value();
  enter(kFirst);
}

Databases::Entry* Databases::find(std::string_view name) {
  if (current_ != nullptr && current_->name == name) return current_;
  auto dbid = store_.value("SELECT dbid FROM sysdatabases WHERE name = ?", name);
  // A session may have begun there before the first one got its name.
  if (!dbid && name == kFirst) dbid = firstDbid_;
  if (!dbid) return nullptr;
  std::unique_ptr<Entry>& entry = entries_[*dbid];
  if (!entry) {
    // What every database has stays there whatever becomes of the transaction.
    UndoLog unused;
    entry = std::make_unique<Entry>(*dbid, std::string(name), store_.undoLog(), tables_);
    entry->records.logTo(unused);
    fillDatabase(entry->records, tables_, options_);
    unused.settle();
    entry->records.logTo(store_.undoLog());
  }
  // It may have been called otherwise, in a transaction that was rolled back.
  if (name != kFirst) entry->name = name;
  return entry.get();
}

Databases::Entry* Databases::findOwner(int objectId) {
  if (current_->records.object(objectId) != nullptr) return current_;
  for (auto& [dbid, entry] : entries_) {
    if (entry->records.object(objectId) != nullptr) return entry.get();
  }
  return nullptr;
}

Databases::Entry& Databases::of(int objectId) {
  Entry* owner = findOwner(objectId);
  return owner == nullptr ? *current_ : *owner;
}

void Databases::enter(std::string_view name) {
  if (current_ != nullptr && current_->name == name) return;
  if (Entry* entered = find(name)) current_ = entered;
}

std::string Databases::sqlName(const Entry& database, const SystemTable& table) {
  std::string name(table.name);
  if (table.inMaster || &database == current_) return name;
  name = concat("d", database.dbid, "_", table.name);
  if (named_.insert(name).second) {
    const int dbid = database.dbid;
    store_.addTable(virtualTable(table, name, [this, dbid, &table]() -> RowSource& {
      return entries_.at(dbid)->records.source(table.name);
    }));
  }
  return name;
}

std::string Databases::shownRows(const Entry& database, const SystemTable& table) {
  std::string kept = sqlName(database, table);
  if (table.name != "syspartitions" || !options_.isAtLeast15()) return kept;
  // Tables and indexes that nobody has divided are one partition each. That of the table's rows has
  // the number of the table.
  constexpr std::string_view kNumber =
      "CASE WHEN i.indid < 2 THEN i.id ELSE (i.id + i.indid * 1000003) & 2147483647 END";
  std::string columns, implied;
  for (const NamedColumn& column : table.columns) {
    const std::string& name = column.name;
    const auto value = [&]() -> std::string {
      if (name == "name") return concat("i.name || '_' || ", kNumber);
      if (name == "partitionid") return std::string(kNumber);
      if (name == "data_partitionid") return "i.id";
      if (name == "id" || name == "indid" || name == "segment" || name == "crdate") {
        return concat("i.", name);
      }
      return column.type.nullable ? "NULL" : "0";
    };
    columns += concat(columns.empty() ? "" : ", ", name);
    implied += concat(implied.empty() ? "" : ", ", value());
  }
  const std::string indexes = sqlName(database, *tables_.find("sysindexes"));
  return concat("(SELECT ", columns, " FROM ", kept, " UNION ALL SELECT ", implied, " FROM ",
                indexes, " i WHERE NOT EXISTS (SELECT 1 FROM ", kept,
                " p WHERE p.id = i.id AND p.indid = i.indid))");
}

void Databases::add(std::string_view name) {
  if (store_.value("SELECT dbid FROM sysdatabases WHERE name = ?", name)) return;
  if (const auto gone = removed_.find(name); gone != removed_.end()) removed_.erase(gone);
  // A number is not given twice, so that a database never finds the records of another.
  store_.run(
      "INSERT INTO sysdatabases(name, dbid, suid, crdate, status, status2, status3)"
      " VALUES (?, ?, 1, ?, ?, 0, 0)",
      name, ++lastDbid_, currentTime(),
      options_.allowNullsByDefault ? database_status::kAllowNulls : 0);
}

bool Databases::nameFirst(std::string_view name) {
  if (!store_.value("SELECT dbid FROM sysdatabases WHERE name = ?", kFirst)) return false;
  Entry* first = find(kFirst);
  store_.run("UPDATE sysdatabases SET name = ? WHERE dbid = ?", name, first->dbid);
  first->name = name;
  return true;
}

void Databases::rename(Entry& database, std::string_view name) {
  store_.run("UPDATE sysdatabases SET name = ? WHERE dbid = ?", name, database.dbid);
  if (wasCreated(database.name)) noteCreated(name);
  database.name = name;
}

void Databases::remove(Entry& database) {
  for (Slot slot = 0; slot < database.records.objects.slots(); ++slot) {
    if (!database.records.objects.holds(slot)) continue;
    const SysObject& object = database.records.objects[slot];
    if (!object.hasRowTable) continue;
    store_.execute(concat("DROP TABLE t", object.id));
    database.records.objects.change(slot, [](SysObject& row) { row.hasRowTable = false; });
  }
  RecordTable<SysReference>& references = database.records.references;
  for (Slot slot = 0; slot < references.slots(); ++slot) {
    if (references.holds(slot)) references.erase(slot);
  }
  removed_.insert(database.name);
  store_.run("DELETE FROM sysdatabases WHERE name = ?", database.name);
}

std::vector<SysReference> Databases::referencesTo(int tableId) const {
  std::vector<SysReference> references;
  for (const auto& [dbid, entry] : entries_) {
    const auto& rows = entry->records.references;
    for (const Slot slot : rows.where<&SysReference::reftabid>(tableId)) {
      references.push_back(rows[slot]);
    }
  }
  return references;
}

bool Databases::isFree(int objectId) const {
  return std::ranges::all_of(entries_, [&](const auto& entry) {
    return entry.second->records.object(objectId) == nullptr;
  });
}

}  // namespace kelvane::embedded
