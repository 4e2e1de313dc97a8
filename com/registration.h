// The library's entries in the registry: its classes and its type library.
//
// Lifetime: what is entered stays until it is taken out. Threading: free functions without state.
#pragma once

#include <windows.h>

namespace kelvane::com {

// Registers for everybody who uses the machine, or, where the rights for that are lacking, for the
// user alone. Both may be repeated.
HRESULT enterInRegistry() noexcept;
// Takes out what is registered for the user and for the machine. E_ACCESSDENIED for a registration
// of the machine without the rights, unless the user had one of their own.
HRESULT takeFromRegistry() noexcept;

}  // namespace kelvane::com
