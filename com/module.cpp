#include "com/module.h"

#include <mutex>

namespace kelvane::com {
namespace {

// Read once while there are objects.
std::mutex libraryLock;
Pointer<ITypeLib> library;

HMODULE thisModule() {
  HMODULE module = nullptr;
  GetModuleHandleExW(
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
      reinterpret_cast<LPCWSTR>(&thisModule), &module);
  return module;
}

}  // namespace

std::atomic<long>& liveObjects() {
  static std::atomic<long> count{0};
  return count;
}

std::wstring modulePath() {
  std::wstring path(MAX_PATH, L'\0');
  for (;;) {
    const DWORD length =
        GetModuleFileNameW(thisModule(), path.data(), static_cast<DWORD>(path.size()));
    if (length < path.size()) {
      path.resize(length);
      return path;
    }
    path.resize(path.size() * 2);
  }
}

Pointer<ITypeInfo> describe(REFGUID id) {
  const std::lock_guard locked(libraryLock);
  if (!library)
    require(LoadTypeLibEx(modulePath().c_str(), REGKIND_NONE, library.receive()),
            u"The type library cannot be read");
  Pointer<ITypeInfo> info;
  require(library->GetTypeInfoOfGuid(id, info.receive()),
          u"The type library does not know the type");
  return info;
}

void releaseTypeLibrary() noexcept {
  const std::lock_guard locked(libraryLock);
  library = nullptr;
}

}  // namespace kelvane::com
