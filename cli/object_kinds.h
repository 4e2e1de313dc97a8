// The kinds of objects as the command line calls them, and what the browsing members know of each.
//
// Lifetime: constants; results own what they hold. Threading: free functions without state.
#pragma once

#include <array>
#include <functional>
#include <span>
#include <string>
#include <string_view>

#include "model/schema.h"

namespace kelvane::cli {

// What an object consists of.
struct SubKind {
  EntityIdentifier id;
  std::string_view title;     // "Foreign keys"
  std::string_view member;    // in JSON: "foreignKeys"
  std::u16string_view named;  // what the names of its entities are
};

struct ObjectName {
  std::u16string name, fullName;
};

struct ObjectKind {
  std::string_view word;      // "procedure", as in "procedure:dbo.p"
  std::string_view title;     // "Procedures"
  std::u16string_view group;  // that the names of its switches begin with
  EntityIdentifier id;
  enumEntityType list;             // for GetList
  std::u16string_view sourceType;  // for GetObjectSource; empty: it has no definition
  std::span<const SubKind> consistsOf;
  // All objects of the kind, in their order.
  void (*forEach)(const Schema& schema, const std::function<void(const ObjectName&)>& take);
};

extern const std::array<ObjectKind, 7> kObjectKinds;

// None for a word that stands for no kind.
const ObjectKind* objectKindOf(std::string_view word);
// "table, view, ... or type"
std::string objectKindWords();

}  // namespace kelvane::cli
