// The fields of every record by their published names and in their order, for whoever writes or
// reads whole records.
//
// Lifetime and threading: constants.
#pragma once

#include <cstddef>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>

#include "model/diff_schema.h"
#include "model/schema.h"

namespace kelvane {

template <class Record, class Value>
struct Field {
  std::string_view name;
  Value Record::*value;
};
template <class Record, class Value>
Field(std::string_view, Value Record::*) -> Field<Record, Value>;

/// A tuple of Field for each record below; for no other type.
template <class Record>
inline constexpr std::nullptr_t kFields = nullptr;

template <class T>
concept HasFields = !std::is_same_v<std::remove_cvref_t<decltype(kFields<T>)>, std::nullptr_t>;

#define KELVANE_FIELD(field) \
  Field { #field, &Record::field }
// So many fields has the record; one that is missing from its list does not compile.
#define KELVANE_FIELDS(record, ...)            \
  template <>                                  \
  inline constexpr auto kFields<record> = [] { \
    using Record = record;                     \
    return std::tuple{__VA_ARGS__};            \
  }();                                         \
  static_assert(std::tuple_size_v<decltype(kFields<record>)> == fields::kCount<record>)

namespace fields {

struct Anything {
  template <class Value>
  operator Value() const;  // never defined
};
template <class Record, std::size_t... Number>
constexpr bool takes(std::index_sequence<Number...>) {
  return requires { Record{((void)Number, Anything{})...}; };
}
template <class Record, std::size_t Count = 0>
constexpr std::size_t countOf() {
  if constexpr (takes<Record>(std::make_index_sequence<Count + 1>())) {
    return countOf<Record, Count + 1>();
  } else {
    return Count;
  }
}
/// How many fields an aggregate has.
template <class Record>
inline constexpr std::size_t kCount = countOf<Record>();
// Its recordset belongs to a host and is always empty.
template <>
inline constexpr std::size_t kCount<Table> = countOf<Table>() - 1;

}  // namespace fields

KELVANE_FIELDS(Column, KELVANE_FIELD(Name), KELVANE_FIELD(DataType), KELVANE_FIELD(Length),
               KELVANE_FIELD(Precision), KELVANE_FIELD(iScale), KELVANE_FIELD(Nullable),
               KELVANE_FIELD(Default), KELVANE_FIELD(OrdinalPosition));
KELVANE_FIELDS(PrimaryKey, KELVANE_FIELD(Name), KELVANE_FIELD(Columns), KELVANE_FIELD(Attributes));
KELVANE_FIELDS(Key, KELVANE_FIELD(Name), KELVANE_FIELD(ColumnName), KELVANE_FIELD(KeySequence),
               KELVANE_FIELD(fk_ReferencesTable), KELVANE_FIELD(fk_ReferencesColumn),
               KELVANE_FIELD(fk_ReferencesPK));
KELVANE_FIELDS(Reference, KELVANE_FIELD(Name));
KELVANE_FIELDS(index, KELVANE_FIELD(Name), KELVANE_FIELD(IndexKeys),
               KELVANE_FIELD(IndexDescription));
KELVANE_FIELDS(Trigger, KELVANE_FIELD(Name), KELVANE_FIELD(Definition), KELVANE_FIELD(Is_Delete),
               KELVANE_FIELD(Is_Update), KELVANE_FIELD(Is_Insert));
KELVANE_FIELDS(Misc, KELVANE_FIELD(RowCount), KELVANE_FIELD(MaxWidth));
KELVANE_FIELDS(PermissionEntity, KELVANE_FIELD(EntityName), KELVANE_FIELD(EntityOwner),
               KELVANE_FIELD(Grantor), KELVANE_FIELD(Insert), KELVANE_FIELD(Update),
               KELVANE_FIELD(Delete), KELVANE_FIELD(References), KELVANE_FIELD(Select),
               KELVANE_FIELD(Execute), KELVANE_FIELD(index), KELVANE_FIELD(Alter),
               KELVANE_FIELD(Control));
KELVANE_FIELDS(PermissionEntity2, KELVANE_FIELD(EntityName), KELVANE_FIELD(EntityOwner),
               KELVANE_FIELD(PermissionType), KELVANE_FIELD(Grantor));
KELVANE_FIELDS(Permission, KELVANE_FIELD(PermissionEntities), KELVANE_FIELD(Create_Default),
               KELVANE_FIELD(Create_Procedure), KELVANE_FIELD(Create_Rule),
               KELVANE_FIELD(Create_Table), KELVANE_FIELD(Create_View),
               KELVANE_FIELD(DUMP_DATABASE), KELVANE_FIELD(DUMP_TRANSACTION));
KELVANE_FIELDS(Table, KELVANE_FIELD(Name), KELVANE_FIELD(Owner), KELVANE_FIELD(FullName),
               KELVANE_FIELD(Columns), KELVANE_FIELD(PrimaryKey), KELVANE_FIELD(ForeignKey),
               KELVANE_FIELD(References), KELVANE_FIELD(Indexes), KELVANE_FIELD(Triggers),
               KELVANE_FIELD(Miscallaneous));
KELVANE_FIELDS(View, KELVANE_FIELD(Name), KELVANE_FIELD(Owner), KELVANE_FIELD(FullName),
               KELVANE_FIELD(Columns), KELVANE_FIELD(Definition));
KELVANE_FIELDS(StoredProc, KELVANE_FIELD(Name), KELVANE_FIELD(Owner), KELVANE_FIELD(FullName),
               KELVANE_FIELD(Columns), KELVANE_FIELD(Definition));
KELVANE_FIELDS(CodeFunction, KELVANE_FIELD(Name), KELVANE_FIELD(Owner), KELVANE_FIELD(FullName),
               KELVANE_FIELD(Columns), KELVANE_FIELD(Definition));
KELVANE_FIELDS(User, KELVANE_FIELD(Name), KELVANE_FIELD(Owner), KELVANE_FIELD(FullName),
               KELVANE_FIELD(Permissions));
KELVANE_FIELDS(Group, KELVANE_FIELD(Name), KELVANE_FIELD(Owner), KELVANE_FIELD(FullName),
               KELVANE_FIELD(Users), KELVANE_FIELD(Permissions));
KELVANE_FIELDS(UDDT, KELVANE_FIELD(Name), KELVANE_FIELD(Owner), KELVANE_FIELD(FullName),
               KELVANE_FIELD(BaseType), KELVANE_FIELD(Length), KELVANE_FIELD(Precision),
               KELVANE_FIELD(iScale), KELVANE_FIELD(Nullable), KELVANE_FIELD(BoundRule),
               KELVANE_FIELD(BoundDefault));
KELVANE_FIELDS(Schema, KELVANE_FIELD(Tables), KELVANE_FIELD(Views), KELVANE_FIELD(StoredProcs),
               KELVANE_FIELD(Users), KELVANE_FIELD(Groups), KELVANE_FIELD(UDDTs),
               KELVANE_FIELD(Functions));

KELVANE_FIELDS(typeDiff, KELVANE_FIELD(SubEntityType), KELVANE_FIELD(Location),
               KELVANE_FIELD(DiffType), KELVANE_FIELD(DataOnSource), KELVANE_FIELD(DataOnTarget),
               KELVANE_FIELD(EntityTreeType), KELVANE_FIELD(EntityTreeDef));
KELVANE_FIELDS(diffEntity, KELVANE_FIELD(Name), KELVANE_FIELD(Diff), KELVANE_FIELD(DiffCount));
KELVANE_FIELDS(diffTable, KELVANE_FIELD(Name), KELVANE_FIELD(Owner), KELVANE_FIELD(FullName),
               KELVANE_FIELD(Diff), KELVANE_FIELD(DiffCount), KELVANE_FIELD(Columns),
               KELVANE_FIELD(PrimaryKey), KELVANE_FIELD(ForeignKey), KELVANE_FIELD(References),
               KELVANE_FIELD(Indexes), KELVANE_FIELD(Triggers), KELVANE_FIELD(RsData),
               KELVANE_FIELD(ColumnCount), KELVANE_FIELD(PrimaryKeyCount),
               KELVANE_FIELD(ForeignKeyCount), KELVANE_FIELD(IndexCount),
               KELVANE_FIELD(TriggerCount), KELVANE_FIELD(ReferenceCount),
               KELVANE_FIELD(DataCount));
KELVANE_FIELDS(diffView, KELVANE_FIELD(Name), KELVANE_FIELD(Owner), KELVANE_FIELD(FullName),
               KELVANE_FIELD(Diff), KELVANE_FIELD(DiffCount), KELVANE_FIELD(Columns),
               KELVANE_FIELD(ColumnCount));
KELVANE_FIELDS(diffStoredProc, KELVANE_FIELD(Name), KELVANE_FIELD(Owner), KELVANE_FIELD(FullName),
               KELVANE_FIELD(Diff), KELVANE_FIELD(DiffCount), KELVANE_FIELD(Columns),
               KELVANE_FIELD(ColumnCount));
KELVANE_FIELDS(diffFunction, KELVANE_FIELD(Name), KELVANE_FIELD(Owner), KELVANE_FIELD(FullName),
               KELVANE_FIELD(Diff), KELVANE_FIELD(DiffCount), KELVANE_FIELD(Columns),
               KELVANE_FIELD(ColumnCount));
KELVANE_FIELDS(diffUser, KELVANE_FIELD(Name), KELVANE_FIELD(Owner), KELVANE_FIELD(FullName),
               KELVANE_FIELD(Diff), KELVANE_FIELD(DiffCount), KELVANE_FIELD(SystemPermissions),
               KELVANE_FIELD(SystemPermissionCount), KELVANE_FIELD(ObjectPermissions),
               KELVANE_FIELD(ObjectPermissionCount));
KELVANE_FIELDS(diffGroup, KELVANE_FIELD(Name), KELVANE_FIELD(Owner), KELVANE_FIELD(FullName),
               KELVANE_FIELD(Diff), KELVANE_FIELD(DiffCount), KELVANE_FIELD(SystemPermissions),
               KELVANE_FIELD(SystemPermissionCount), KELVANE_FIELD(ObjectPermissions),
               KELVANE_FIELD(ObjectPermissionCount), KELVANE_FIELD(Users),
               KELVANE_FIELD(UserCount));
KELVANE_FIELDS(diffUDDT, KELVANE_FIELD(Name), KELVANE_FIELD(Owner), KELVANE_FIELD(FullName),
               KELVANE_FIELD(Diff), KELVANE_FIELD(DiffCount));
KELVANE_FIELDS(diffSchema, KELVANE_FIELD(Tables), KELVANE_FIELD(Views), KELVANE_FIELD(StoredProcs),
               KELVANE_FIELD(Functions), KELVANE_FIELD(Users), KELVANE_FIELD(Groups),
               KELVANE_FIELD(UDDTs), KELVANE_FIELD(TableCount), KELVANE_FIELD(ViewCount),
               KELVANE_FIELD(StoredProcCount), KELVANE_FIELD(FunctionCount),
               KELVANE_FIELD(UserCount), KELVANE_FIELD(GroupCount), KELVANE_FIELD(UDDTCount));

#undef KELVANE_FIELDS
#undef KELVANE_FIELD

}  // namespace kelvane
