// The kinds of objects of a published schema.
//
// Lifetime: constants; results own what they hold. Threading: free functions without state.
#pragma once

#include <array>
#include <functional>
#include <string>
#include <string_view>

#include "model/schema.h"

namespace kelvane::cli {

struct ObjectName {
  std::u16string name, fullName;
};

struct ObjectKind {
  enumEntityType list;
  std::string_view word;      // "procedure"
  std::u16string_view group;  // that the names of its switches begin with
  // All objects of the kind, in their order.
  void (*forEach)(const Schema& schema, const std::function<void(const ObjectName&)>& take);
};

extern const std::array<ObjectKind, 7> kObjectKinds;

}  // namespace kelvane::cli
