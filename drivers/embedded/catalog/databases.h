// The databases of one server: their records, and which of them SQL means when it names none.
//
// Threading: as for the catalog.
#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>

#include "drivers/embedded/catalog/records.h"
#include "drivers/embedded/catalog/system_tables.h"
#include "drivers/embedded/options.h"
#include "drivers/embedded/store/sqlite.h"

namespace kelvane::embedded {

class Databases {
 public:
  struct Entry {
    Entry(int dbid, std::string name, UndoLog& log, const SystemTables& tables)
        : dbid(dbid), name(std::move(name)), records(log, tables) {}

    int dbid;
    std::string name;
    SystemRecords records;
  };

  Databases(Database& store, const CatalogOptions& options);
  Databases(const Databases&) = delete;
  Databases& operator=(const Databases&) = delete;

  const SystemTables& tables() const { return tables_; }

  /// Null if sysdatabases has none of the name.
  Entry* find(std::string_view name);
  /// The one that has the object, whose id no other has; null if there is no such object.
  Entry* findOwner(int objectId);
  /// As findOwner; the current one for want of an object.
  Entry& of(int objectId);

  /// The system tables of SQL are from now on those of this database, if there is one.
  void enter(std::string_view name);
  Entry& current() { return *current_; }

  /// What SQL calls a system table of the database.
  std::string sqlName(const Entry& database, const SystemTable& table);
  /// What queries read: the same, or a subquery with the rows that are kept nowhere.
  std::string shownRows(const Entry& database, const SystemTable& table);

  /// Gives the database a row in sysdatabases if it has none.
  void add(std::string_view name);
  /// It was made by `create database`, with the options of a fresh one.
  void noteCreated(std::string_view name) { created_.emplace(name); }
  bool wasCreated(std::string_view name) const { return created_.contains(name); }
  /// Whether one of the name was dropped and none created since.
  bool wasRemoved(std::string_view name) const { return removed_.contains(name); }
  /// Gives the database where everything begins this name, if it has no other yet.
  bool nameFirst(std::string_view name);
  void rename(Entry& database, std::string_view name);
  /// Removes it with its tables.
  void remove(Entry& database);

  /// The foreign keys of any database that refer to the table.
  std::vector<SysReference> referencesTo(int tableId) const;
  /// Whether the id of an object is free in all of them.
  bool isFree(int objectId) const;
  /// Calls visit(entry) for each, in the order of their numbers.
  template <class Visit>
  void each(Visit visit) {
    for (auto& [dbid, entry] : entries_) {
      if (find(entry->name) == entry.get()) visit(*entry);
    }
  }

 private:
  Database& store_;
  const CatalogOptions options_;
  const SystemTables& tables_;
  std::map<std::string_view, std::unique_ptr<PlainTable>> master_;
  /// Made when a database is first looked into.
  std::map<int, std::unique_ptr<Entry>> entries_;
  Entry* current_ = nullptr;
  std::set<std::string, std::less<>> removed_;
  std::set<std::string, std::less<>> created_;
  std::set<std::string, std::less<>> named_;  ///< what sqlName has added to SQL
  int firstDbid_ = 0;
  int lastDbid_ = 0;
};

}  // namespace kelvane::embedded
