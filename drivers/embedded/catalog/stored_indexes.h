// The indexes of SQLite behind those of the catalog, which see to it that rows differ.
//
// Unique indexes of the server are unique indexes of SQLite, `i` and table and index. Two more
// kinds make up for what those leave open:
// - `n...`: SQLite takes any number of nulls, the server one;
// - `r...`: a clustered index without allow_dup_row refuses a row that is there already.
// A table without an SQLite table of its own has none.
#pragma once

#include <string>
#include <vector>

#include "drivers/embedded/catalog/writer.h"

namespace kelvane::embedded {

class StoredIndexes {
 public:
  explicit StoredIndexes(CatalogWriter& writer)
      : writer_(writer), store_(writer.store()), records_(writer.records()) {}

  /// Those of a table that just got an SQLite table of its own.
  void createAll(const ObjectInfo& table);
  /// Throws 1505 for rows that the index refuses.
  void createUnique(const ObjectInfo& table, int indid);
  /// Of a clustered index without allow_dup_row. Throws 1508.
  void createRowGuard(const ObjectInfo& table, int indid);
  void drop(int tableId, int indid);
  /// Around a change of columns: what looks at all columns, or at which of them may be null.
  void dropGuards(const ObjectInfo& table);
  void createGuards(const ObjectInfo& table);
  /// The keys, as SQLite's conflict targets, whose duplicates are left out instead of refused.
  std::vector<std::string> ignoredDuplicates(const ObjectInfo& table);

 private:
  /// Those with a condition, but for the heap.
  template <class Condition>
  std::vector<int> indidsOf(int tableId, Condition condition);
  std::vector<ColumnInfo> keyColumns(const ObjectInfo& table, int indid);
  void createNullGuard(const ObjectInfo& table, int indid);

  CatalogWriter& writer_;
  Database& store_;
  SystemRecords& records_;
};

}  // namespace kelvane::embedded
