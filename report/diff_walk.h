// What a tree of differences is made of, for those who walk it: the kinds of objects in their order
// and the kinds of sub-entities that each has.
//
// Lifetime and threading: constants.
#pragma once

#include <array>
#include <string_view>

#include "model/diff_schema.h"

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
};

template <class Object>
struct Kind {
  std::string_view singular, plural;
  Array<Object> diffSchema::*objects;
};

template <class Object>
inline constexpr Kind<Object> kKind{};
template <class Object>
inline constexpr std::array<Parts<Object>, 0> kParts{};

template <>
inline constexpr Kind<diffTable> kKind<diffTable>{"table", "tables", &diffSchema::Tables};
template <>
inline constexpr auto kParts<diffTable> = std::to_array<Parts<diffTable>>({
    {Part::column, &diffTable::Columns},
    {Part::primaryKey, &diffTable::PrimaryKey},
    {Part::foreignKey, &diffTable::ForeignKey},
    {Part::reference, &diffTable::References},
    {Part::index, &diffTable::Indexes},
    {Part::trigger, &diffTable::Triggers},
    {Part::data, &diffTable::RsData},
});

template <>
inline constexpr Kind<diffView> kKind<diffView>{"view", "views", &diffSchema::Views};
template <>
inline constexpr auto kParts<diffView> = std::to_array<Parts<diffView>>({{Part::column,
                                                                          &diffView::Columns}});

template <>
inline constexpr Kind<diffStoredProc> kKind<diffStoredProc>{"stored procedure", "stored procedures",
                                                            &diffSchema::StoredProcs};
template <>
inline constexpr auto kParts<diffStoredProc> =
    std::to_array<Parts<diffStoredProc>>({{Part::parameter, &diffStoredProc::Columns}});

template <>
inline constexpr Kind<diffFunction> kKind<diffFunction>{"function", "functions",
                                                        &diffSchema::Functions};
template <>
inline constexpr auto kParts<diffFunction> =
    std::to_array<Parts<diffFunction>>({{Part::parameter, &diffFunction::Columns}});

template <>
inline constexpr Kind<diffUser> kKind<diffUser>{"user", "users", &diffSchema::Users};
template <>
inline constexpr auto kParts<diffUser> = std::to_array<Parts<diffUser>>({
    {Part::systemPermission, &diffUser::SystemPermissions},
    {Part::objectPermission, &diffUser::ObjectPermissions},
});

template <>
inline constexpr Kind<diffGroup> kKind<diffGroup>{"group", "groups", &diffSchema::Groups};
template <>
inline constexpr auto kParts<diffGroup> = std::to_array<Parts<diffGroup>>({
    {Part::systemPermission, &diffGroup::SystemPermissions},
    {Part::objectPermission, &diffGroup::ObjectPermissions},
    {Part::member, &diffGroup::Users},
});

template <>
inline constexpr Kind<diffUDDT> kKind<diffUDDT>{"user-defined type", "user-defined types",
                                                &diffSchema::UDDTs};

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
