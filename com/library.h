// What the library offers, for its entry points and for the registry.
//
// Lifetime: constants. Threading: free functions without state.
#pragma once

#include <span>

#include "com/object.h"

namespace kelvane::com {

// A class that hosts may create: as "Kelvane." and its name, or by its identifier.
struct Class {
  const wchar_t* name;
  const GUID& id;
  Pointer<IUnknown> (*make)();
};

std::span<const Class> classes();

}  // namespace kelvane::com
