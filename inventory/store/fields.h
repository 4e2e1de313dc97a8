// Which members of the records' values stand in a snapshot, and under which names.
//
// Constants. The records themselves are in attributes.h.
#pragma once

#include <array>
#include <string_view>
#include <tuple>
#include <utility>

#include "inventory/attributes.h"
#include "inventory/records.h"

namespace kelvane::inventory {

template <class Record, class Value>
struct Field {
  std::string_view name;
  Value Record::*member;
};
template <class Record, class Value>
Field(std::string_view, Value Record::*) -> Field<Record, Value>;

template <class Value>
inline constexpr std::tuple kFields{};
template <>
inline constexpr std::tuple kFields<QualifiedName>{Field{"owner", &QualifiedName::owner},
                                                   Field{"name", &QualifiedName::name}};
template <>
inline constexpr std::tuple kFields<DatabaseObjectName>{
    Field{"database", &DatabaseObjectName::database}, Field{"owner", &DatabaseObjectName::owner},
    Field{"name", &DatabaseObjectName::name}};
template <>
inline constexpr std::tuple kFields<Definition>{
    Field{"text", &Definition::text}, Field{"state", &Definition::state},
    Field{"quoted_identifier", &Definition::quotedIdentifier}};
template <>
inline constexpr std::tuple kFields<DataType>{
    Field{"owner", &DataType::owner}, Field{"name", &DataType::name},
    Field{"length", &DataType::length}, Field{"precision", &DataType::precision},
    Field{"scale", &DataType::scale}};
template <>
inline constexpr std::tuple kFields<ColumnType>{Field{"type", &ColumnType::type},
                                                Field{"null", &ColumnType::nullable},
                                                Field{"identity", &ColumnType::identity}};
template <>
inline constexpr std::tuple kFields<DefaultValue>{Field{"text", &DefaultValue::text},
                                                  Field{"bound", &DefaultValue::bound},
                                                  Field{"state", &DefaultValue::state}};
template <>
inline constexpr std::tuple kFields<KeyColumn>{
    Field{"name", &KeyColumn::name}, Field{"expression", &KeyColumn::isExpression},
    Field{"state", &KeyColumn::state}, Field{"descending", &KeyColumn::descending}};
template <>
inline constexpr std::tuple kFields<GivenName>{Field{"name", &GivenName::name},
                                               Field{"generated", &GivenName::generated}};
template <>
inline constexpr std::tuple kFields<Server>{Field{"version", &Server::version},
                                            Field{"database", &Server::database},
                                            Field{"user", &Server::user},
                                            Field{"character set", &Server::characterSet},
                                            Field{"sort order", &Server::sortOrder},
                                            Field{"ignores case", &Server::ignoresCase},
                                            Field{"page size", &Server::pageSize},
                                            Field{"nchar size", &Server::ncharSize},
                                            Field{"embedded", &Server::embedded}};
template <>
inline constexpr std::tuple kFields<Gap>{Field{"what", &Gap::what}, Field{"reason", &Gap::reason},
                                         Field{"object", &Gap::object},
                                         Field{"family", &Gap::family}};

inline constexpr std::array<std::pair<Definition::State, std::string_view>, 4> kStates{{
    {Definition::State::whole, "whole"},
    {Definition::State::hidden, "hidden"},
    {Definition::State::incomplete, "incomplete"},
    {Definition::State::unreadable, "unreadable"},
}};

template <class Value>
concept HasFields = std::tuple_size_v<std::remove_cvref_t<decltype(kFields<Value>)>> >
0;

/// What is written as an object of its members.
template <class Value>
concept HasMembers =
    HasFields<Value> || std::tuple_size_v<std::remove_cvref_t<decltype(kAttributes<Value>)>> >
0;

/// Calls visit(name, pointer) for each member of a value or record that stands in a snapshot.
template <class Record, class Visit>
void forEachMember(Visit&& visit) {
  if constexpr (HasFields<Record>) {
    std::apply([&](const auto&... one) { (visit(one.name, one.member), ...); }, kFields<Record>);
  } else {
    forEachAttribute<Record>([&](const auto& one) { visit(one.label, one.member); });
    forEachParts<Record>([&](const auto& parts) { visit(rowOf(parts.kind).plural, parts.member); });
  }
}

}  // namespace kelvane::inventory
