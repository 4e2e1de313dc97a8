// How tables, columns and indexes are stored: options, compression, partitions. Nothing of it
// changes what rows there are; it is kept to be read.
#pragma once

#include <string_view>
#include <vector>

#include "drivers/embedded/catalog/writer.h"
#include "drivers/embedded/tsql/ast/tables.h"

namespace kelvane::embedded {

/// Whether the catalog keeps the option; the others only direct the work at hand.
bool keepsTableOption(std::string_view name);
bool keepsIndexOption(std::string_view name);

/// In syscolumns.xstatus.
namespace column_xstatus {
inline constexpr int kOffRow = 1;
inline constexpr int kInRow = 2;
}  // namespace column_xstatus

/// In syscolumns.status2; the low bits tell the direction of a parameter.
namespace column_status2 {
inline constexpr int kEncrypted = 0x80;
inline constexpr int kInitVector = 0x100;
inline constexpr int kDecryptDefault = 0x200;
inline constexpr int kNotCompressed = 0x20000;
inline constexpr int kCompressed = 0x40000;
}  // namespace column_status2

/// In sysindexes.status3.
namespace index_status3 {
inline constexpr int kLocal = 8;
inline constexpr int kPageCompressed = 0x1000;
inline constexpr int kLatchFree = 0x2000;
}  // namespace index_status3

class StorageWriter {
 public:
  /// `text` is the batch that ranges count in.
  explicit StorageWriter(CatalogWriter& writer, std::string_view text = {})
      : writer_(writer), store_(writer.store()), text_(text) {}

  /// What stands behind the columns of a table, once all of its keys are there.
  void applyTable(const ObjectInfo& table, const tsql::TableStorage& storage);
  void applyOptions(const ObjectInfo& table, const std::vector<tsql::StorageOption>& options);
  void applyIndex(const ObjectInfo& table, const tsql::CreateIndex& index);
  void applyColumn(const ObjectInfo& table, std::string_view column,
                   const tsql::ColumnStorage& storage);

  /// The remote object that a proxy table stands for.
  /// What sp_addobjectdef said of it before it was created.
  void applyObjectDefinition(const ObjectInfo& table);
  void applyProxy(const ObjectInfo& table, const tsql::CreateTable& statement);

  void partition(const ObjectInfo& table, const tsql::Partitioning& partitioning);
  void unpartition(int tableId);
  void alterPartition(const ObjectInfo& table, const tsql::AlterPartition& action);
  /// What goes with a column of that number, before those behind it move up.
  void removeColumn(int tableId, int colid);
  /// All of it, when the table goes.
  void remove(int tableId);

 private:
  void place(const ObjectInfo& table, std::string_view column, const tsql::ColumnStorage& storage);
  void encrypt(const ObjectInfo& table, std::string_view column,
               const tsql::ColumnStorage& storage);
  void decryptDefault(const ObjectInfo& table, std::string_view column, const tsql::Expr& value);
  int newPartitionId(const ObjectInfo& table, int indid);
  void addPartition(const ObjectInfo& table, int indid, const tsql::Partition& partition);
  void removePartition(const ObjectInfo& table, std::string_view name);
  std::string conditionOf(int tableId, std::string_view partition);
  int conditionsOf(const ObjectInfo& table);
  int dataIndid(int tableId);
  int segmentNumber(std::string_view name);

  CatalogWriter& writer_;
  Database& store_;
  std::string_view text_;
};

}  // namespace kelvane::embedded
