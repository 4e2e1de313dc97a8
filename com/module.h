// The module that this code is in: the library, or a program that holds the same code.
//
// Lifetime: it is loaded while there are objects. Threading: all of it may be used by any thread.
#pragma once

#include <atomic>
#include <string>

#include "com/edge.h"

namespace kelvane::com {

// How many objects and locks keep the module loaded.
std::atomic<long>& liveObjects();

// The file that it was loaded from.
std::wstring modulePath();

// The description of an interface, or of a record, in the type library that the module carries.
// Raises RuntimeError.
Pointer<ITypeInfo> describe(REFGUID id);

// Lets go of the type library, before the module is unloaded.
void releaseTypeLibrary() noexcept;

}  // namespace kelvane::com
