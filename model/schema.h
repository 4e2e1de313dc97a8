// The records in which one database's schema crosses the library's boundary, and the enumerations
// that name object kinds there.
//
// Lifetime: plain values; a copy is independent of its original (see array.h for what copies cost).
// Threading: none of their own.
//
// Field names, order and types are part of the published interface, `Miscallaneous`, the lower-case
// `index` and the two enumerators of value 40 included.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "model/array.h"
#include "model/boolean.h"

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

// Selects a category in IDBFetch::GetList.
enum enumEntityType : std::int32_t {
  entity_TABLE = 0,
  entity_VIEW = 1,
  entity_STOREDPROC = 2,
  entity_UDDT = 3,
  entity_GROUP = 4,
  entity_USER = 5,
  entity_FUNCTION = 6,
};

// The object kind reported in progress events. Users, groups and types stand in another order than
// in enumEntityType.
enum enumObjectType : std::int32_t {
  OBJECT_IRRELEVANT = -1,
  OBJECT_TABLE = 0,
  OBJECT_VIEW = 1,
  OBJECT_STOREDPROC = 2,
  OBJECT_USER = 3,
  OBJECT_GROUP = 4,
  OBJECT_UDDT = 5,
  OBJECT_FUNCTION = 6,
  OBJECT_DATA = 7,
  OBJECT_SERVER = 8,
};

// Object and sub-entity kinds in the browsing queries.
enum EntityIdentifier : std::int32_t {
  ID_TABLE = 110,
  ID_VIEW = 180,
  ID_STOREDPROC = 210,
  ID_USER = 70,
  ID_GROUP = 40,
  ID_UDDT = 95,
  ID_Function = 80,
  ID_COLUMN = 10,
  ID_PRIMARY_KEY = 15,
  ID_FOREIGN_KEY = 20,
  ID_REFERENCE = 25,
  ID_INDEX = 30,
  ID_TRIGGER = 35,
  ID_MISC = 40,
  ID_DEFINITION = 45,
  ID_SYSTEM_PERMISSIONS = 50,
  ID_OBJECT_PERMISSIONS = 60,
  ID_GROUP_USERS = 65,
};

}  // namespace kelvane
