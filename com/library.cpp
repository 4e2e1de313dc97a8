// The entry points of the library, its classes for hosts, and its own type library.
#include "com/library.h"

#include <mutex>

#include "com/collections.h"
#include "com/comparison.h"
#include "com/reader.h"
#include "com/registration.h"
#include "com/settings.h"

namespace kelvane::com {
namespace {

template <class Self>
Pointer<IUnknown> make() {
  return create<Self>().template as<IUnknown>();
}

template <class Self>
Class named(const wchar_t* name) {
  return {name, Self::kClass, make<Self>};
}

// The type library, read once while there are objects.
std::mutex libraryLock;
Pointer<ITypeLib> library;

class Factory final : public Single<Factory, IClassFactory> {
 public:
  explicit Factory(const Class& made) : made_(&made) {}

  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID id, void** object) override {
    if (!object) return E_POINTER;
    *object = nullptr;
    if (outer) return CLASS_E_NOAGGREGATION;
    HRESULT found = E_NOINTERFACE;
    const HRESULT made = guarded([&] { found = made_->make()->QueryInterface(id, object); });
    return FAILED(made) ? made : found;
  }
  HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) override {
    liveObjects() += lock ? 1 : -1;
    return S_OK;
  }

 private:
  const Class* made_;
};

}  // namespace

std::span<const Class> classes() {
  static const Class kClasses[] = {
      named<Reader>(L"cASE_Fetch"),
      named<ComparisonOptions>(L"cComparisonOptions"),
      named<AppliesTo>(L"cAppliesTo"),
      named<ResultsObject>(L"cResults"),
      named<CompareSchema>(L"cCompareSchema"),
      named<CompareDiff>(L"cCompareDiff"),
      named<TableComparison>(L"cTableComparison"),
      named<KeyPair>(L"cKeyPair"),
      named<KeyPairs>(L"cKeyPairs"),
      named<Entity>(L"cEntity"),
      named<Entities>(L"cEntities"),
  };
  return kClasses;
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

std::atomic<long>& liveObjects() {
  static std::atomic<long> count{0};
  return count;
}

HMODULE thisModule() {
  HMODULE module = nullptr;
  GetModuleHandleExW(
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
      reinterpret_cast<LPCWSTR>(&thisModule), &module);
  return module;
}

Pointer<ITypeInfo> describe(REFIID interfaceId) {
  const std::lock_guard locked(libraryLock);
  if (!library)
    require(LoadTypeLibEx(modulePath().c_str(), REGKIND_NONE, library.receive()),
            u"The type library cannot be read");
  Pointer<ITypeInfo> info;
  require(library->GetTypeInfoOfGuid(interfaceId, info.receive()),
          u"The type library does not know the interface");
  return info;
}

}  // namespace kelvane::com

using namespace kelvane::com;

STDAPI DllGetClassObject(REFCLSID id, REFIID interfaceId, void** object) {
  if (!object) return E_POINTER;
  *object = nullptr;
  for (const Class& one : classes()) {
    if (one.id != id) continue;
    HRESULT found = E_NOINTERFACE;
    const HRESULT made = guarded([&] {
      found = Pointer<Factory>::taking(new Factory(one))->QueryInterface(interfaceId, object);
    });
    return FAILED(made) ? made : found;
  }
  return CLASS_E_CLASSNOTAVAILABLE;
}

STDAPI DllCanUnloadNow() {
  if (liveObjects() != 0) return S_FALSE;
  const std::lock_guard locked(libraryLock);
  library = nullptr;
  return S_OK;
}

STDAPI DllRegisterServer() { return enterInRegistry(); }

STDAPI DllUnregisterServer() { return takeFromRegistry(); }
