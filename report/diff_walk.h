// What a tree of differences is made of, for those who walk it: the kinds of objects in their order
// and the kinds of sub-entities that each has.
//
// Lifetime and threading: constants.
#pragma once

#include <string_view>

#include "model/diff_parts.h"
#include "model/diff_schema.h"
#include "model/schema.h"

namespace kelvane::report {

using Part = DiffPart;
template <class Object>
inline constexpr const auto& kParts = kDiffParts<Object>;

template <class Object>
struct Kind : DiffObjects<Object> {
  std::string_view singular, plural;
  enumEntityType entityType;
};

template <class Object>
inline constexpr Kind<Object> kKind{};
template <>
inline constexpr Kind<diffTable> kKind<diffTable>{kDiffObjects<diffTable>, "table", "tables",
                                                  entity_TABLE};
template <>
inline constexpr Kind<diffView> kKind<diffView>{kDiffObjects<diffView>, "view", "views",
                                                entity_VIEW};
template <>
inline constexpr Kind<diffStoredProc> kKind<diffStoredProc>{
    kDiffObjects<diffStoredProc>, "stored procedure", "stored procedures", entity_STOREDPROC};
template <>
inline constexpr Kind<diffFunction> kKind<diffFunction>{kDiffObjects<diffFunction>, "function",
                                                        "functions", entity_FUNCTION};
template <>
inline constexpr Kind<diffUser> kKind<diffUser>{kDiffObjects<diffUser>, "user", "users",
                                                entity_USER};
template <>
inline constexpr Kind<diffGroup> kKind<diffGroup>{kDiffObjects<diffGroup>, "group", "groups",
                                                  entity_GROUP};
template <>
inline constexpr Kind<diffUDDT> kKind<diffUDDT>{kDiffObjects<diffUDDT>, "user-defined type",
                                                "user-defined types", entity_UDDT};

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
