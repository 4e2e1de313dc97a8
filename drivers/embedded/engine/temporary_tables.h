// The temporary tables of a session, and the rows of `inserted` and `deleted` while a trigger runs.
//
// Refers to the store and to the session's transactions, which must outlive it.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "drivers/embedded/catalog/catalog.h"
#include "drivers/embedded/catalog/keys.h"
#include "drivers/embedded/engine/row_rules.h"
#include "drivers/embedded/engine/transactions.h"
#include "drivers/embedded/store/sqlite.h"

namespace kelvane::embedded {

struct TemporaryKey {
  std::string column;
  bool isDescending = false;
};

struct TemporaryIndex {
  std::string name;
  std::string sqliteIndex;  ///< with its schema, ready for SQL
  std::string violation;    ///< how SQLite's complaint about a duplicate ends
  Differing differing = Differing::keys;
  bool isConstraint = false;
  bool isUnique = false;
  bool isClustered = false;
  std::vector<TemporaryKey> keys;
};

struct TemporaryTable {
  std::string name;           ///< with its `#`; or `inserted` or `deleted`
  std::string sqliteTable;    ///< with its schema, ready for SQL
  std::string sqliteColumns;  ///< what it was created with
  std::vector<ColumnInfo> columns;
  std::vector<std::string> defaults;  ///< `default e` of each column, or empty
  std::vector<std::string> checks;    ///< their texts
  bool allPages = true;               ///< the lock scheme under which rows of an index must differ
  std::shared_ptr<const RowRules> rules = std::make_shared<const RowRules>();  ///< the checks
  std::vector<TemporaryIndex> indexes;
  std::vector<TemporaryIndex> droppedIndexes;  ///< that a rollback may bring back
  int id = 0;                                  ///< in tempdb; 0 for `inserted` and `deleted`
  /// Of all the above but indexes: equal tables of equal numbers are interchangeable.
  std::uint64_t definition = 0;
};

/// Numbers for the definitions of temporary tables, the same for tables of the same storage,
/// columns and defaults. Plans that several sessions share say by them what they were made for.
class DefinitionNumbers {
 public:
  std::uint64_t of(const TemporaryTable& table);

 private:
  std::unordered_map<std::string, std::uint64_t> numbers_;
  std::uint64_t last_ = 0;
};

class TemporaryTables {
 public:
  /// `session` is in the names of SQLite's tables.
  TemporaryTables(Database& store, DefinitionNumbers& definitions, const Transactions& transactions,
                  int session)
      : store_(store), definitions_(definitions), transactions_(transactions), session_(session) {}
  ~TemporaryTables();
  TemporaryTables(const TemporaryTables&) = delete;
  TemporaryTables& operator=(const TemporaryTables&) = delete;

  /// Null when there is none of the name.
  const TemporaryTable* find(std::string_view name) const;
  TemporaryTable* find(std::string_view name);
  bool empty() const { return tables_.empty(); }

  /// The table gets its storage, which is empty, and its number. None of the name is there.
  TemporaryTable& add(TemporaryTable table);
  void drop(std::string_view name);
  void dropIndex(TemporaryTable& table, std::string_view index);
  /// `changed` takes the place of the table of its name, in storage of its own, which
  /// fill(former, changed) gives its rows. It has no indexes.
  using Fill = std::function<void(const TemporaryTable& former, const TemporaryTable& changed)>;
  TemporaryTable& replace(TemporaryTable changed, const Fill& fill);
  /// Takes a replacement back that a savepoint undoes.
  void restore(TemporaryTable table);
  /// After a rollback: those that it took away are gone, those that it brought back are there.
  void followRollback();
  /// Calls visit(table) for each, in the order of their names.
  template <class Visit>
  void each(Visit visit) const {
    for (const auto& [name, table] : tables_) visit(table);
  }

  using Hidden = std::map<std::string, TemporaryTable, std::less<>>::node_type;
  /// Nobody finds the table until it is shown again.
  Hidden hide(std::string_view name);
  void show(Hidden table);

  /// Never the same again.
  int nextNumber() { return ++lastNumber_; }

  struct Violated {
    const TemporaryTable& table;
    const TemporaryIndex& index;
  };
  /// The index that SQLite's complaint about a duplicate is about.
  std::optional<Violated> violatedIndex(std::string_view complaint) const;

 private:
  std::string storage(const std::string& columns);
  std::string newStorage(const std::string& columns);
  void discard(TemporaryTable table);
  bool isLost(const std::string& storage) const;

  Database& store_;
  DefinitionNumbers& definitions_;
  const Transactions& transactions_;
  const int session_;
  std::map<std::string, TemporaryTable, std::less<>> tables_;
  /// Dropped or changed in the transaction at hand. Storage is never used twice in a transaction,
  /// so that after a rollback it tells which of them are there again.
  std::vector<TemporaryTable> former_;
  int lastNumber_ = 0;
  /// Tables without a name, by their columns. The reader's batches make and drop the same tables
  /// again and again; keeping them spares SQLite a change of schema, after which it would have to
  /// prepare every statement anew.
  std::multimap<std::string, std::string> spare_;
};

}  // namespace kelvane::embedded
