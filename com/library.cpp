// The entry points of the library: classes for hosts, and their registration.
#include <functional>
#include <mutex>
#include <span>
#include <vector>

#include "com/collections.h"
#include "com/comparison.h"
#include "com/reader.h"
#include "com/settings.h"

namespace kelvane::com {
namespace {

struct Class {
  const wchar_t* name;
  const GUID& id;
  Pointer<IUnknown> (*make)();
};

template <class Self>
Pointer<IUnknown> make() {
  return create<Self>().template as<IUnknown>();
}

template <class Self>
Class named(const wchar_t* name) {
  return {name, Self::kClass, make<Self>};
}

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

// The type library, read once while there are objects.
std::mutex libraryLock;
Pointer<ITypeLib> library;

class Factory final : public IClassFactory {
 public:
  explicit Factory(const Class& made) : made_(&made) { ++liveObjects(); }

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
    if (!object) return E_POINTER;
    const bool known = id == __uuidof(IUnknown) || id == __uuidof(IClassFactory);
    *object = known ? this : nullptr;
    if (!known) return E_NOINTERFACE;
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }
  ULONG STDMETHODCALLTYPE Release() override {
    const ULONG left = --references_;
    if (left == 0) delete this;
    return left;
  }
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
  ~Factory() { --liveObjects(); }

  const Class* made_;
  std::atomic<ULONG> references_{1};
};

std::wstring braced(REFGUID id) {
  wchar_t text[40];
  StringFromGUID2(id, text, static_cast<int>(std::size(text)));
  return text;
}

// Where a registration stands: for everybody who uses the machine, or for the user alone.
struct Place {
  HKEY root;
  const char* registerLibrary;
  const char* unregisterLibrary;
};
const Place kMachine{HKEY_LOCAL_MACHINE, "RegisterTypeLib", "UnRegisterTypeLib"};
const Place kUser{HKEY_CURRENT_USER, "RegisterTypeLibForUser", "UnRegisterTypeLibForUser"};

template <class Function>
Function* systemFunction(const char* name) {
  const auto found = GetProcAddress(GetModuleHandleW(L"oleaut32.dll"), name);
  return reinterpret_cast<Function*>(reinterpret_cast<void*>(found));
}

HRESULT writeValue(HKEY root, const std::wstring& key, const wchar_t* name,
                   const std::wstring& value) {
  return HRESULT_FROM_WIN32(static_cast<DWORD>(
      RegSetKeyValueW(root, (L"Software\\Classes\\" + key).c_str(), name, REG_SZ, value.c_str(),
                      static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)))));
}

HRESULT removeKey(HKEY root, const std::wstring& key) {
  const LSTATUS removed = RegDeleteTreeW(root, (L"Software\\Classes\\" + key).c_str());
  return removed == ERROR_FILE_NOT_FOUND ? S_OK : HRESULT_FROM_WIN32(static_cast<DWORD>(removed));
}

bool hasKey(HKEY root, const std::wstring& key) {
  HKEY opened = nullptr;
  if (RegOpenKeyExW(root, (L"Software\\Classes\\" + key).c_str(), 0, KEY_READ, &opened) !=
      ERROR_SUCCESS)
    return false;
  RegCloseKey(opened);
  return true;
}

HRESULT registerClass(HKEY root, const Class& one, const std::wstring& path,
                      const std::wstring& libraryId) {
  const std::wstring id = braced(one.id), key = L"CLSID\\" + id;
  const std::wstring name = std::wstring(L"Kelvane.") + one.name;
  const struct {
    std::wstring key;
    const wchar_t* name;
    std::wstring value;
  } values[] = {
      {name, nullptr, name},
      {name + L"\\CLSID", nullptr, id},
      {key, nullptr, name},
      {key + L"\\ProgID", nullptr, name},
      {key + L"\\TypeLib", nullptr, libraryId},
      {key + L"\\InprocServer32", nullptr, path},
      {key + L"\\InprocServer32", L"ThreadingModel", L"Apartment"},
  };
  for (const auto& value : values)
    if (const HRESULT written = writeValue(root, value.key, value.name, value.value);
        FAILED(written))
      return written;
  return S_OK;
}

HRESULT registerAt(const Place& place) {
  const std::wstring path = modulePath();
  Pointer<ITypeLib> types;
  HRESULT done = LoadTypeLibEx(path.c_str(), REGKIND_NONE, types.receive());
  if (FAILED(done)) return done;
  const auto registerLibrary =
      systemFunction<HRESULT STDAPICALLTYPE(ITypeLib*, OLECHAR*, OLECHAR*)>(place.registerLibrary);
  if (!registerLibrary) return E_NOTIMPL;
  for (const Class& one : classes())
    if (done = registerClass(place.root, one, path, braced(LIBID_Kelvane)); FAILED(done))
      return done;
  return registerLibrary(types.get(), const_cast<OLECHAR*>(path.c_str()), nullptr);
}

HRESULT unregisterAt(const Place& place) {
  HRESULT done = S_OK;
  for (const Class& one : classes())
    for (const std::wstring& key :
         {L"CLSID\\" + braced(one.id), std::wstring(L"Kelvane.") + one.name})
      if (const HRESULT removed = removeKey(place.root, key); FAILED(removed)) done = removed;
  if (!hasKey(place.root, L"TypeLib\\" + braced(LIBID_Kelvane) + L"\\1.0")) return done;
  const auto unregisterLibrary =
      systemFunction<HRESULT STDAPICALLTYPE(REFGUID, WORD, WORD, LCID, SYSKIND)>(
          place.unregisterLibrary);
  const HRESULT removed = unregisterLibrary
                              ? unregisterLibrary(LIBID_Kelvane, 1, 0, LOCALE_NEUTRAL, SYS_WIN64)
                              : E_NOTIMPL;
  return FAILED(removed) ? removed : done;
}

}  // namespace

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

STDAPI DllRegisterServer() {
  HRESULT done = E_FAIL;
  const HRESULT run = guarded([&] {
    done = registerAt(kMachine);
    if (done == E_ACCESSDENIED || done == TYPE_E_REGISTRYACCESS) done = registerAt(kUser);
  });
  return FAILED(run) ? run : done;
}

STDAPI DllUnregisterServer() {
  HRESULT done = E_FAIL;
  const HRESULT run = guarded([&] {
    const HRESULT user = unregisterAt(kUser);
    done = unregisterAt(kMachine);
    // Who may not write there has nothing there.
    if (done == E_ACCESSDENIED || done == TYPE_E_REGISTRYACCESS) done = user;
  });
  return FAILED(run) ? run : done;
}
