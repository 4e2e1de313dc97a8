// The records in which one database's schema crosses the library's boundary.
//
// Lifetime: plain values; a copy is independent of its original (see array.h for what copies cost).
// Threading: none of their own.
//
// Field names, order and types are part of the published interface, `Miscallaneous` and the
// lower-case `index` included.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "model/array.h"
#include "model/boolean.h"
#include "model/enumerations.h"

namespace kelvane {

namespace ado {
class Recordset;
}

// One column of a table or view, or one parameter of a procedure or function.
struct Column {
  std::u16string Name;
  std::u16string DataType;  // as the server reports it
  std::int32_t Length = 0;  // bytes
  std::int32_t Precision = 0;
  std::int16_t iScale = 0;
  Boolean Nullable;
  std::u16string Default;            // the default's text
  std::int32_t OrdinalPosition = 0;  // 1-based
  bool operator==(const Column&) const = default;
};

struct PrimaryKey {
  std::u16string Name;
  std::u16string Columns;     // in key order, joined with ", "
  std::u16string Attributes;  // "Clustered", "Non Clustered" or empty
  bool operator==(const PrimaryKey&) const = default;
};

// One foreign key.
struct Key {
  std::u16string Name;
  std::u16string ColumnName;  // referencing columns in key order, joined with ","
  std::int32_t KeySequence = 0;
  std::u16string fk_ReferencesTable;
  std::u16string fk_ReferencesColumn;  // referenced columns, joined with ","
  std::u16string fk_ReferencesPK;      // name of the referenced one-column primary key
  bool operator==(const Key&) const = default;
};

// A table that references this one. Declared for hosts; nothing fills it.
struct Reference {
  std::u16string Name;
  bool operator==(const Reference&) const = default;
};

struct index {
  std::u16string Name;
  std::u16string IndexKeys;
  std::u16string IndexDescription;
  bool operator==(const index&) const = default;
};

struct Trigger {
  std::u16string Name;
  std::u16string Definition;
  Boolean Is_Delete;
  Boolean Is_Update;
  Boolean Is_Insert;
  bool operator==(const Trigger&) const = default;
};

struct Misc {
  std::int32_t RowCount = 0;
  std::int32_t MaxWidth = 0;
  bool operator==(const Misc&) const = default;
};

// One object on which a user or group holds permissions.
struct PermissionEntity {
  std::u16string EntityName;
  std::u16string EntityOwner;
  std::u16string Grantor;
  Boolean Insert;
  Boolean Update;
  Boolean Delete;
  Boolean References;
  Boolean Select;
  Boolean Execute;
  Boolean index;
  Boolean Alter;
  Boolean Control;
  bool operator==(const PermissionEntity&) const = default;
};

// Declared for hosts; nothing fills or reads it.
struct PermissionEntity2 {
  std::u16string EntityName;
  std::u16string EntityOwner;
  std::u16string PermissionType;
  std::u16string Grantor;
  bool operator==(const PermissionEntity2&) const = default;
};

struct Permission {
  Array<PermissionEntity> PermissionEntities;
  Boolean Create_Default;
  Boolean Create_Procedure;
  Boolean Create_Rule;
  Boolean Create_Table;
  Boolean Create_View;
  Boolean DUMP_DATABASE;
  Boolean DUMP_TRANSACTION;
  bool operator==(const Permission&) const = default;
};

struct Table {
  std::u16string Name;
  std::u16string Owner;
  std::u16string FullName;  // Owner + "." + Name
  Array<Column> Columns;
  Array<kelvane::PrimaryKey> PrimaryKey;
  Array<Key> ForeignKey;
  Array<Reference> References;
  Array<index> Indexes;
  Array<Trigger> Triggers;
  Misc Miscallaneous;
  std::shared_ptr<ado::Recordset> RsData;  // declared for table data; always empty
  bool operator==(const Table&) const = default;
};

struct View {
  std::u16string Name;
  std::u16string Owner;
  std::u16string FullName;  // Owner + "." + Name
  Array<Column> Columns;
  std::u16string Definition;
  bool operator==(const View&) const = default;
};

struct StoredProc {
  std::u16string Name;
  std::u16string Owner;
  std::u16string FullName;  // Owner + "." + Name
  Array<Column> Columns;    // the parameters
  std::u16string Definition;
  bool operator==(const StoredProc&) const = default;
};

struct CodeFunction {
  std::u16string Name;
  std::u16string Owner;
  std::u16string FullName;  // Owner + "." + Name
  Array<Column> Columns;    // the parameters
  std::u16string Definition;
  bool operator==(const CodeFunction&) const = default;
};

struct User {
  std::u16string Name;
  std::u16string Owner;
  std::u16string FullName;  // Name alone
  Permission Permissions;
  bool operator==(const User&) const = default;
};

struct Group {
  std::u16string Name;
  std::u16string Owner;
  std::u16string FullName;  // Name alone
  Array<User> Users;        // the members
  Permission Permissions;
  bool operator==(const Group&) const = default;
};

// A user-defined data type.
struct UDDT {
  std::u16string Name;
  std::u16string Owner;
  std::u16string FullName;  // Owner + "." + Name
  std::u16string BaseType;
  std::int32_t Length = 0;
  std::int32_t Precision = 0;
  std::int16_t iScale = 0;
  Boolean Nullable;
  std::u16string BoundRule;
  std::u16string BoundDefault;
  bool operator==(const UDDT&) const = default;
};

struct Schema {
  Array<Table> Tables;
  Array<View> Views;
  Array<StoredProc> StoredProcs;
  Array<User> Users;
  Array<Group> Groups;
  Array<UDDT> UDDTs;
  Array<CodeFunction> Functions;
  bool operator==(const Schema&) const = default;
};

}  // namespace kelvane
