// Indexes of a table: their rows in sysindexes and their keys.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "drivers/embedded/catalog/status_bits.h"
#include "drivers/embedded/catalog/stored_indexes.h"
#include "drivers/embedded/catalog/writer.h"
#include "drivers/embedded/tsql/ast/tables.h"

namespace kelvane::embedded {

struct IndexPlan {
  enum class Kind { Index, UniqueConstraint, PrimaryKey };
  Kind kind = Kind::Index;
  std::string name;                         ///< empty: generated
  const tsql::ObjectName* table = nullptr;  ///< as written; for keys that are expressions
  bool unique = false;
  bool clustered = false;
  const std::vector<tsql::IndexKey>* keys = nullptr;
  const std::vector<tsql::StorageOption>* options = nullptr;
  std::string_view segment;
};

class IndexWriter {
 public:
  /// `text` and `values` serve keys that are expressions.
  explicit IndexWriter(CatalogWriter& writer, std::string_view text = {},
                       const RowValues* values = nullptr)
      : writer_(writer),
        store_(writer.store()),
        records_(writer.records()),
        stored_(writer),
        text_(text),
        values_(values) {}

  /// The rows of a new table before it has any index.
  void addHeap(const ObjectInfo& table, std::string_view segment);
  /// Adds or removes the row of the text chain as the columns have it now.
  void updateTextChain(const ObjectInfo& table);

  /// Returns the indid. Throws 1902, 1904, 1909, 1913, 1919, 1921 for a plan that is refused, 1505
  /// for rows that a unique index refuses.
  int add(const ObjectInfo& table, const IndexPlan& plan);
  void remove(const ObjectInfo& table, int indid);
  std::optional<int> find(int tableId, std::string_view name);
  void changeLockScheme(const ObjectInfo& table, std::string_view scheme);

  /// Null if there is none.
  const SysIndex* primaryKey(int tableId) const;

  static int lockStatus(std::string_view scheme);

 private:
  struct KeyColumn {
    int colid = 0;
    bool descending = false;
    bool nullable = false;
    bool identity = false;
  };

  bool isAllPages(int tableId);
  int segmentNumber(std::string_view name);
  KeyColumn addHiddenColumn(const ObjectInfo& table, const IndexPlan& plan, int indid,
                            std::size_t position);
  void removeHiddenColumns(int tableId, int indid);
  std::vector<KeyColumn> resolveKeys(const ObjectInfo& table, const IndexPlan& plan, int indid);
  int freeIndid(int tableId);
  const SysIndex* clustered(int tableId) const;
  void requireNoClustered(const ObjectInfo& table);
  void writeRow(const ObjectInfo& table, const IndexPlan& plan, int indid,
                const std::vector<KeyColumn>& keys);
  static void applyOptions(SysIndex& index, const std::vector<tsql::StorageOption>& options);
  void addRow(const ObjectInfo& table, std::string name, int indid, int segment);
  void eraseRow(int tableId, int indid);
  void renumber(const ObjectInfo& table, int from, int to);
  void moveData(int tableId, int from, int to);
  void movePartitions(int tableId, int from, int to);
  /// The heap's row of a table that loses the row of another one for its data.
  void addHeapOf(const ObjectInfo& table, int dataIndid);

  CatalogWriter& writer_;
  Database& store_;
  SystemRecords& records_;
  StoredIndexes stored_;
  std::string_view text_;
  const RowValues* values_;
};

}  // namespace kelvane::embedded
