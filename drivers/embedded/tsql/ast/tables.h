// Tables and indexes.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "drivers/embedded/tsql/ast/basics.h"
#include "drivers/embedded/tsql/ast/storage.h"

namespace kelvane::tsql {

enum class Nullability { Unspecified, Null, NotNull };
enum class Clustering { Unspecified, Clustered, Nonclustered };

struct IndexKey {
  std::string column;  ///< empty for a function-based key
  ExprPtr expression;  ///< null for a plain column
  SortOrder order = SortOrder::Ascending;
};

/// `default e`; the range begins at the keyword.
struct DefaultClause {
  SourceRange range;
  ExprPtr value;
};

/// Unique or primary key. `columns` is empty when the constraint belongs to one column.
struct KeyConstraint {
  bool primary = false;
  Clustering clustering = Clustering::Unspecified;
  std::vector<IndexKey> columns;
  std::vector<StorageOption> options;
  std::string segment;
};

struct ForeignKeyConstraint {
  std::vector<std::string> columns;  ///< empty when the constraint belongs to one column
  ObjectName table;
  std::vector<std::string> referenced;  ///< may be empty
  bool matchFull = false;
};

struct CheckConstraint {
  SourceRange range;  ///< begins at `check`, ends after the parenthesis
  ExprPtr condition;
};

struct Constraint {
  SourceRange range;  ///< begins at `constraint` where there is a name
  std::string name;   ///< empty when unnamed
  std::variant<KeyConstraint, ForeignKeyConstraint, CheckConstraint> node;
};

enum class LobPlace { Unspecified, InRow, OffRow };

/// How a column is stored.
struct ColumnStorage {
  LobPlace place = LobPlace::Unspecified;
  std::optional<int> rowLength;    ///< n of `in row (n)`
  std::optional<bool> compressed;  ///< false for `not compressed`
  std::optional<int> level;        ///< n of `compressed = n`
  std::optional<bool> encrypted;   ///< false for `decrypt`
  ObjectName key;                  ///< empty: the default key
  ExprPtr decryptDefault;          ///< a null literal takes it away; may be null
};

struct ColumnDefinition {
  SourceRange range;
  std::string name;
  DataType type;  ///< empty name for a computed column
  std::optional<DefaultClause> defaultClause;
  Nullability nullability = Nullability::Unspecified;
  bool identity = false;
  std::vector<Constraint> constraints;
  ExprPtr computed;  ///< `c as e`, `c compute e`; else null
  std::optional<bool> materialized;
  ColumnStorage storage;
};

struct CreateTable : TableStorage {
  ObjectName name;
  std::vector<ColumnDefinition> columns;
  std::vector<Constraint> constraints;
  bool proxy = false;        ///< `create proxy_table` / `existing table`
  std::string proxyType;     ///< `table`, `procedure`, `file`, ... of `external`
  std::string remoteObject;  ///< of `at`
};

struct AddColumn {
  ColumnDefinition column;
};
struct AddConstraint {
  Constraint constraint;
};
struct DropColumn {
  std::string column;
};
struct DropConstraint {
  std::string constraint;
};
/// The type's name is empty when only the nullability changes.
struct ModifyColumn {
  ColumnDefinition column;
};
/// `replace c default e`
struct ReplaceDefault {
  std::string column;
  DefaultClause value;  ///< a null literal takes the default away
};
struct ChangeLock {
  std::string scheme;
};
struct ChangePartitions {
  std::optional<std::int64_t> count;  ///< none for `unpartition`
  std::optional<Partitioning> partitioning;
};
struct SwitchTrigger {
  bool enable = false;
  std::string trigger;  ///< empty for all triggers of the table
};
struct ChangeStorage {
  std::vector<StorageOption> options;
};
/// `split partition p into (...)`, `merge partition p, q into r`, `move partition p to seg`, ...
struct AlterPartition {
  enum class Kind { Add, Drop, Split, Merge, Move, Modify };
  Kind kind = Kind::Add;
  std::vector<std::string> names;
  std::vector<Partition> partitions;   ///< those that come to be
  std::string segment;                 ///< of Move
  std::vector<StorageOption> options;  ///< of Modify
};

using AlterAction =
    std::variant<AddColumn, AddConstraint, DropColumn, DropConstraint, ModifyColumn, ReplaceDefault,
                 ChangeLock, ChangePartitions, SwitchTrigger, ChangeStorage, AlterPartition>;

struct AlterTable {
  ObjectName table;
  std::vector<AlterAction> actions;
};

struct CreateIndex {
  bool unique = false;
  Clustering clustering = Clustering::Unspecified;
  std::string name;
  ObjectName table;
  std::vector<IndexKey> keys;
  std::vector<StorageOption> options;
  std::string segment;
  bool local = false;  ///< `local index`
  std::vector<Partition> partitions;
};

}  // namespace kelvane::tsql
