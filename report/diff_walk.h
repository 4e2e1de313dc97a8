// What a tree of differences is made of, for those who walk it: the kinds of objects in their order
// and the kinds of sub-entities that each has.
//
// Lifetime and threading: constants.
#pragma once

#include <array>
#include <string_view>

#include "model/diff_schema.h"
#include "model/schema.h"

namespace kelvane::report {

enum class Part {
  column,
  parameter,
  primaryKey,
  foreignKey,
  reference,
  index,
  trigger,
  data,
  systemPermission,
  objectPermission,
  member,
};

template <class Object>
struct Parts {
  Part part;
  Array<diffEntity> Object::*entities;
  std::int32_t Object::*count;
};

template <class Object>
struct Kind {
  std::string_view singular, plural;
  enumEntityType entityType;
  Array<Object> diffSchema::*objects;
  std::int32_t diffSchema::*count;
};

template <class Object>
inline constexpr Kind<Object> kKind{};
template <class Object>
inline constexpr std::array<Parts<Object>, 0> kParts{};

template <>
inline constexpr Kind<diffTable> kKind<diffTable>{"table", "tables", entity_TABLE,
                                                  &diffSchema::Tables, &diffSchema::TableCount};
template <>
inline constexpr auto kParts<diffTable> = std::to_array<Parts<diffTable>>({
    {Part::column, &diffTable::Columns, &diffTable::ColumnCount},
    {Part::primaryKey, &diffTable::PrimaryKey, &diffTable::PrimaryKeyCount},
    {Part::foreignKey, &diffTable::ForeignKey, &diffTable::ForeignKeyCount},
    {Part::reference, &diffTable::References, &diffTable::ReferenceCount},
    {Part::index, &diffTable::Indexes, &diffTable::IndexCount},
    {Part::trigger, &diffTable::Triggers, &diffTable::TriggerCount},
    {Part::data, &diffTable::RsData, &diffTable::DataCount},
});

template <>
inline constexpr Kind<diffView> kKind<diffView>{"view", "views", entity_VIEW, &diffSchema::Views,
                                                &diffSchema::ViewCount};
template <>
inline constexpr auto kParts<diffView> =
    std::to_array<Parts<diffView>>({{Part::column, &diffView::Columns, &diffView::ColumnCount}});

template <>
inline constexpr Kind<diffStoredProc> kKind<diffStoredProc>{
    "stored procedure", "stored procedures", entity_STOREDPROC, &diffSchema::StoredProcs,
    &diffSchema::StoredProcCount};
template <>
inline constexpr auto kParts<diffStoredProc> = std::to_array<Parts<diffStoredProc>>(
    {{Part::parameter, &diffStoredProc::Columns, &diffStoredProc::ColumnCount}});

template <>
inline constexpr Kind<diffFunction> kKind<diffFunction>{
    "function", "functions", entity_FUNCTION, &diffSchema::Functions, &diffSchema::FunctionCount};
template <>
inline constexpr auto kParts<diffFunction> = std::to_array<Parts<diffFunction>>(
    {{Part::parameter, &diffFunction::Columns, &diffFunction::ColumnCount}});

template <>
inline constexpr Kind<diffUser> kKind<diffUser>{"user", "users", entity_USER, &diffSchema::Users,
                                                &diffSchema::UserCount};
template <>
inline constexpr auto kParts<diffUser> = std::to_array<Parts<diffUser>>({
    {Part::systemPermission, &diffUser::SystemPermissions, &diffUser::SystemPermissionCount},
    {Part::objectPermission, &diffUser::ObjectPermissions, &diffUser::ObjectPermissionCount},
});

template <>
inline constexpr Kind<diffGroup> kKind<diffGroup>{"group", "groups", entity_GROUP,
                                                  &diffSchema::Groups, &diffSchema::GroupCount};
template <>
inline constexpr auto kParts<diffGroup> = std::to_array<Parts<diffGroup>>({
    {Part::systemPermission, &diffGroup::SystemPermissions, &diffGroup::SystemPermissionCount},
    {Part::objectPermission, &diffGroup::ObjectPermissions, &diffGroup::ObjectPermissionCount},
    {Part::member, &diffGroup::Users, &diffGroup::UserCount},
});

template <>
inline constexpr Kind<diffUDDT> kKind<diffUDDT>{"user-defined type", "user-defined types",
                                                entity_UDDT, &diffSchema::UDDTs,
                                                &diffSchema::UDDTCount};

// Calls visit(kind, objects of that kind) for every kind, in the order of diffSchema.
template <class Visit>
void forEachKind(const diffSchema& differences, Visit&& visit) {
  const auto one = [&]<class Object>(const Kind<Object>& kind) {
    visit(kind, differences.*kind.objects);
  };
  one(kKind<diffTable>);
  one(kKind<diffView>);
  one(kKind<diffStoredProc>);
  one(kKind<diffFunction>);
  one(kKind<diffUser>);
  one(kKind<diffGroup>);
  one(kKind<diffUDDT>);
}

}  // namespace kelvane::report
