// The arrays that a tree of differences is made of, each with its count.
//
// Lifetime and threading: constants.
#pragma once

#include <array>
#include <cstdint>

#include "model/array.h"
#include "model/diff_schema.h"

namespace kelvane {

// The objects of one kind.
template <class Object>
struct DiffObjects {
  Array<Object> diffSchema::*objects;
  std::int32_t diffSchema::*count;
};
template <class Object>
inline constexpr DiffObjects<Object> kDiffObjects{};
template <>
inline constexpr DiffObjects<diffTable> kDiffObjects<diffTable>{&diffSchema::Tables,
                                                                &diffSchema::TableCount};
template <>
inline constexpr DiffObjects<diffView> kDiffObjects<diffView>{&diffSchema::Views,
                                                              &diffSchema::ViewCount};
template <>
inline constexpr DiffObjects<diffStoredProc> kDiffObjects<diffStoredProc>{
    &diffSchema::StoredProcs, &diffSchema::StoredProcCount};
template <>
inline constexpr DiffObjects<diffFunction> kDiffObjects<diffFunction>{&diffSchema::Functions,
                                                                      &diffSchema::FunctionCount};
template <>
inline constexpr DiffObjects<diffUser> kDiffObjects<diffUser>{&diffSchema::Users,
                                                              &diffSchema::UserCount};
template <>
inline constexpr DiffObjects<diffGroup> kDiffObjects<diffGroup>{&diffSchema::Groups,
                                                                &diffSchema::GroupCount};
template <>
inline constexpr DiffObjects<diffUDDT> kDiffObjects<diffUDDT>{&diffSchema::UDDTs,
                                                              &diffSchema::UDDTCount};

// The sub-entities of one kind.
enum class DiffPart {
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
struct DiffParts {
  DiffPart part;
  Array<diffEntity> Object::*entities;
  std::int32_t Object::*count;
};
template <class Object>
inline constexpr std::array<DiffParts<Object>, 0> kDiffParts{};
template <>
inline constexpr auto kDiffParts<diffTable> = std::to_array<DiffParts<diffTable>>({
    {DiffPart::column, &diffTable::Columns, &diffTable::ColumnCount},
    {DiffPart::primaryKey, &diffTable::PrimaryKey, &diffTable::PrimaryKeyCount},
    {DiffPart::foreignKey, &diffTable::ForeignKey, &diffTable::ForeignKeyCount},
    {DiffPart::reference, &diffTable::References, &diffTable::ReferenceCount},
    {DiffPart::index, &diffTable::Indexes, &diffTable::IndexCount},
    {DiffPart::trigger, &diffTable::Triggers, &diffTable::TriggerCount},
    {DiffPart::data, &diffTable::RsData, &diffTable::DataCount},
});
template <>
inline constexpr auto kDiffParts<diffView> = std::to_array<DiffParts<diffView>>(
    {{DiffPart::column, &diffView::Columns, &diffView::ColumnCount}});
template <>
inline constexpr auto kDiffParts<diffStoredProc> = std::to_array<DiffParts<diffStoredProc>>(
    {{DiffPart::parameter, &diffStoredProc::Columns, &diffStoredProc::ColumnCount}});
template <>
inline constexpr auto kDiffParts<diffFunction> = std::to_array<DiffParts<diffFunction>>(
    {{DiffPart::parameter, &diffFunction::Columns, &diffFunction::ColumnCount}});
template <>
inline constexpr auto kDiffParts<diffUser> = std::to_array<DiffParts<diffUser>>({
    {DiffPart::systemPermission, &diffUser::SystemPermissions, &diffUser::SystemPermissionCount},
    {DiffPart::objectPermission, &diffUser::ObjectPermissions, &diffUser::ObjectPermissionCount},
});
template <>
inline constexpr auto kDiffParts<diffGroup> = std::to_array<DiffParts<diffGroup>>({
    {DiffPart::systemPermission, &diffGroup::SystemPermissions, &diffGroup::SystemPermissionCount},
    {DiffPart::objectPermission, &diffGroup::ObjectPermissions, &diffGroup::ObjectPermissionCount},
    {DiffPart::member, &diffGroup::Users, &diffGroup::UserCount},
});

}  // namespace kelvane
