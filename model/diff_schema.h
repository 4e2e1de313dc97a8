// The records in which the result of a comparison crosses the library's boundary.
//
// Lifetime: plain values; a copy is independent of its original. Threading: none of their own.
// Every count equals the number of elements of its array. The order of the fields is part of the
// published interface, also where counts and arrays follow different orders.
#pragma once

#include <cstdint>
#include <string>

#include "model/array.h"
#include "model/enumerations.h"

namespace kelvane {

// One difference.
struct typeDiff {
  std::u16string SubEntityType;  // the attribute's or sub-entity's label, such as "Data Type"
  enumLocation Location = location_Source;
  enumDiffType DiffType = diff_DoesNotExist;
  std::u16string DataOnSource;
  std::u16string DataOnTarget;
  std::u16string EntityTreeType;  // always empty
  std::u16string EntityTreeDef;   // always empty
  bool operator==(const typeDiff&) const = default;
};

// A named sub-entity (column, key, index, trigger, parameter, permission, member) with its
// differences.
struct diffEntity {
  std::u16string Name;
  Array<typeDiff> Diff;
  std::int32_t DiffCount = 0;
  bool operator==(const diffEntity&) const = default;
};

struct diffTable {
  std::u16string Name;
  std::u16string Owner;
  std::u16string FullName;
  Array<typeDiff> Diff;  // differences of the table itself
  std::int32_t DiffCount = 0;
  Array<diffEntity> Columns;
  Array<diffEntity> PrimaryKey;
  Array<diffEntity> ForeignKey;
  Array<diffEntity> References;
  Array<diffEntity> Indexes;
  Array<diffEntity> Triggers;
  Array<diffEntity> RsData;
  std::int32_t ColumnCount = 0;
  std::int32_t PrimaryKeyCount = 0;
  std::int32_t ForeignKeyCount = 0;
  std::int32_t IndexCount = 0;
  std::int32_t TriggerCount = 0;
  std::int32_t ReferenceCount = 0;
  std::int32_t DataCount = 0;
  bool operator==(const diffTable&) const = default;
};

struct diffView {
  std::u16string Name;
  std::u16string Owner;
  std::u16string FullName;
  Array<typeDiff> Diff;
  std::int32_t DiffCount = 0;
  Array<diffEntity> Columns;
  std::int32_t ColumnCount = 0;
  bool operator==(const diffView&) const = default;
};

struct diffStoredProc {
  std::u16string Name;
  std::u16string Owner;
  std::u16string FullName;
  Array<typeDiff> Diff;
  std::int32_t DiffCount = 0;
  Array<diffEntity> Columns;  // the parameters
  std::int32_t ColumnCount = 0;
  bool operator==(const diffStoredProc&) const = default;
};

struct diffFunction {
  std::u16string Name;
  std::u16string Owner;
  std::u16string FullName;
  Array<typeDiff> Diff;
  std::int32_t DiffCount = 0;
  Array<diffEntity> Columns;  // the parameters
  std::int32_t ColumnCount = 0;
  bool operator==(const diffFunction&) const = default;
};

struct diffUser {
  std::u16string Name;
  std::u16string Owner;  // always empty
  std::u16string FullName;
  Array<typeDiff> Diff;
  std::int32_t DiffCount = 0;
  Array<diffEntity> SystemPermissions;
  std::int32_t SystemPermissionCount = 0;
  Array<diffEntity> ObjectPermissions;
  std::int32_t ObjectPermissionCount = 0;
  bool operator==(const diffUser&) const = default;
};

struct diffGroup {
  std::u16string Name;
  std::u16string Owner;
  std::u16string FullName;
  Array<typeDiff> Diff;
  std::int32_t DiffCount = 0;
  Array<diffEntity> SystemPermissions;
  std::int32_t SystemPermissionCount = 0;
  Array<diffEntity> ObjectPermissions;
  std::int32_t ObjectPermissionCount = 0;
  Array<diffEntity> Users;  // members
  std::int32_t UserCount = 0;
  bool operator==(const diffGroup&) const = default;
};

struct diffUDDT {
  std::u16string Name;
  std::u16string Owner;
  std::u16string FullName;
  Array<typeDiff> Diff;
  std::int32_t DiffCount = 0;
  bool operator==(const diffUDDT&) const = default;
};

// The tree of all differences. Its categories stand in another order than in Schema.
struct diffSchema {
  Array<diffTable> Tables;
  Array<diffView> Views;
  Array<diffStoredProc> StoredProcs;
  Array<diffFunction> Functions;
  Array<diffUser> Users;
  Array<diffGroup> Groups;
  Array<diffUDDT> UDDTs;
  std::int32_t TableCount = 0;
  std::int32_t ViewCount = 0;
  std::int32_t StoredProcCount = 0;
  std::int32_t FunctionCount = 0;
  std::int32_t UserCount = 0;
  std::int32_t GroupCount = 0;
  std::int32_t UDDTCount = 0;
  bool operator==(const diffSchema&) const = default;
};

}  // namespace kelvane
