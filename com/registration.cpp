#include "com/registration.h"

#include <string>

#include "com/library.h"

// The headers of mingw do not declare them.
extern "C" HRESULT STDAPICALLTYPE RegisterTypeLibForUser(ITypeLib*, OLECHAR*, OLECHAR*);
extern "C" HRESULT STDAPICALLTYPE UnRegisterTypeLibForUser(REFGUID, WORD, WORD, LCID, SYSKIND);

namespace kelvane::com {
namespace {

std::wstring braced(REFGUID id) {
  wchar_t text[40];
  StringFromGUID2(id, text, static_cast<int>(std::size(text)));
  return text;
}

// Libraries for 32-bit and for 64-bit hosts may be registered side by side. The system keeps their
// classes apart; names of classes and the type library are common to both.
#ifdef _WIN64
constexpr SYSKIND kSystem = SYS_WIN64;
constexpr const wchar_t* kSystemKey = L"win64";
constexpr REGSAM kOtherClasses = KEY_WOW64_32KEY;
#else
constexpr SYSKIND kSystem = SYS_WIN32;
constexpr const wchar_t* kSystemKey = L"win32";
constexpr REGSAM kOtherClasses = KEY_WOW64_64KEY;
#endif

// Where a registration stands: for everybody who uses the machine, or for the user alone.
struct Place {
  HKEY root;
  decltype(&RegisterTypeLib) registerLibrary;
  decltype(&UnRegisterTypeLib) unregisterLibrary;
};
const Place kMachine{HKEY_LOCAL_MACHINE, RegisterTypeLib, UnRegisterTypeLib};
const Place kUser{HKEY_CURRENT_USER, RegisterTypeLibForUser, UnRegisterTypeLibForUser};

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

bool hasKey(HKEY root, const std::wstring& key, REGSAM view = 0) {
  HKEY opened = nullptr;
  if (RegOpenKeyExW(root, (L"Software\\Classes\\" + key).c_str(), 0, KEY_READ | view, &opened) !=
      ERROR_SUCCESS)
    return false;
  RegCloseKey(opened);
  return true;
}

bool isRegisteredAt(const Place& place) {
  return hasKey(place.root, L"CLSID\\" + braced(__uuidof(::cASE_Fetch)));
}

bool isDenied(HRESULT result) {
  return result == E_ACCESSDENIED || result == TYPE_E_REGISTRYACCESS;
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
  for (const Class& one : classes())
    if (done = registerClass(place.root, one, path, braced(LIBID_Kelvane)); FAILED(done))
      return done;
  return place.registerLibrary(types.get(), const_cast<OLECHAR*>(path.c_str()), nullptr);
}

HRESULT unregisterClass(HKEY root, const Class& one) {
  const std::wstring key = L"CLSID\\" + braced(one.id);
  const HRESULT removed = removeKey(root, key);
  if (hasKey(root, key, kOtherClasses)) return removed;
  const HRESULT named = removeKey(root, std::wstring(L"Kelvane.") + one.name);
  return FAILED(removed) ? removed : named;
}

HRESULT unregisterAt(const Place& place) {
  HRESULT done = S_OK;
  for (const Class& one : classes())
    if (const HRESULT removed = unregisterClass(place.root, one); FAILED(removed)) done = removed;
  if (!hasKey(place.root, L"TypeLib\\" + braced(LIBID_Kelvane) + L"\\1.0\\0\\" + kSystemKey))
    return done;
  const HRESULT removed = place.unregisterLibrary(LIBID_Kelvane, 1, 0, LOCALE_NEUTRAL, kSystem);
  return FAILED(removed) ? removed : done;
}

}  // namespace

HRESULT enterInRegistry() noexcept {
  HRESULT done = E_FAIL;
  const HRESULT run = guarded([&] {
    done = registerAt(kMachine);
    if (isDenied(done)) done = registerAt(kUser);
  });
  return FAILED(run) ? run : done;
}

HRESULT takeFromRegistry() noexcept {
  HRESULT done = E_FAIL;
  const HRESULT run = guarded([&] {
    const bool ofUser = isRegisteredAt(kUser);
    const HRESULT user = unregisterAt(kUser);
    done = unregisterAt(kMachine);
    if (isDenied(done) && ofUser) done = user;
  });
  return FAILED(run) ? run : done;
}

}  // namespace kelvane::com
