// Columns and constraints of a table, as create table and alter table write them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "drivers/embedded/catalog/index_writer.h"
#include "drivers/embedded/catalog/writer.h"
#include "drivers/embedded/tsql/ast/tables.h"

namespace kelvane::embedded {

class TableWriter {
 public:
  /// `text` is the batch that ranges count in.
  TableWriter(CatalogWriter& writer, std::string_view text, const RowValues* values = nullptr)
      : writer_(writer),
        records_(writer.records()),
        text_(text),
        values_(values),
        indexes_(writer, text, values) {}

  /// The table with its lock scheme, before it has columns.
  ObjectInfo addTable(const tsql::ObjectName& name, std::string_view lockScheme);
  /// The column with its default, not yet its constraints.
  void addColumn(const ObjectInfo& table, const tsql::ColumnDefinition& definition);
  /// Gives a computed column the type of its expression, once all columns are there.
  void typeComputed(const tsql::ObjectName& table, int tableId,
                    const tsql::ColumnDefinition& definition);
  /// Another expression, with its type, for a computed column.
  void replaceComputed(const tsql::ObjectName& name, const ObjectInfo& table,
                       const tsql::ColumnDefinition& definition);
  void addColumn(const ObjectInfo& table, std::string_view name, const ColumnType& type);

  static void setType(SysColumn& column, const ColumnType& type);
  ColumnType columnType(const tsql::ColumnDefinition& definition);
  void addDefault(const ObjectInfo& table, int colid, std::string_view column,
                  const tsql::DefaultClause& clause);
  /// `column` is the one that an inline constraint stands at, else null.
  void addConstraint(const ObjectInfo& table, const tsql::Constraint& constraint,
                     const tsql::ColumnDefinition* column);
  /// A default or check that belongs to the table alone.
  void removeDefault(const ObjectInfo& table, const ColumnInfo& column);
  void removeCheck(int tableId, int checkId);
  void removeReference(int constraintId);
  /// Offsets and bit positions of all columns, after any of them changed.
  void layOut(const ObjectInfo& table);

  IndexWriter& indexes() { return indexes_; }

 private:
  struct Referenced {
    int tableId = 0;
    int indid = 0;
    std::string database;  ///< empty for this one
    std::vector<int> colids;
  };

  /// Returns the number of the column.
  int insertColumn(const ObjectInfo& table, std::string_view name, const ColumnType& type);
  void inheritBindings(const ObjectInfo& table, int colid, int userType);
  void addKey(const ObjectInfo& table, const std::string& name, const tsql::KeyConstraint& key,
              const tsql::ColumnDefinition* column);
  void addForeignKey(const ObjectInfo& table, const std::string& name,
                     const tsql::ForeignKeyConstraint& key, const tsql::ColumnDefinition* column);
  void addCheck(const ObjectInfo& table, const std::string& name,
                const tsql::CheckConstraint& check, const tsql::ColumnDefinition* column);
  void requireSameTypes(const ObjectInfo& table, const std::vector<int>& colids,
                        const Referenced& referenced);
  Referenced resolveReferenced(const tsql::ForeignKeyConstraint& key, std::size_t keyCount);
  std::vector<int> colidsOf(const ObjectInfo& table, const std::vector<std::string>& names);
  int matchingIndex(int tableId, const std::vector<int>& colids);
  /// In order; those of a column, or all.
  std::vector<int> checksOf(int tableId, std::optional<int> colid);

  CatalogWriter& writer_;
  SystemRecords& records_;
  std::string_view text_;
  const RowValues* values_;
  IndexWriter indexes_;
};

}  // namespace kelvane::embedded
