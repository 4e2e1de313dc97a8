// The library as such: its classes, their life, their registration, late binding, errors.
#include <thread>

#include "com/automation.h"
#include "com/module.h"
#include "com/record_list.h"
#include "settings/comparison_options.h"
#include "tests/com/client.h"

namespace kelvane::testing {

HRESULT callLibrary(const char* entry) {
  const HMODULE library = LoadLibraryW(KELVANE_LIBRARY);
  if (!library) return HRESULT_FROM_WIN32(GetLastError());
  const auto function = reinterpret_cast<HRESULT(STDAPICALLTYPE*)()>(
      reinterpret_cast<void*>(GetProcAddress(library, entry)));
  const HRESULT result = function ? function() : E_NOTIMPL;
  FreeLibrary(library);
  return result;
}

std::string errorInformation() {
  Pointer<IErrorInfo> information;
  if (GetErrorInfo(0, information.receive()) != S_OK) return "none";
  Variant description, source;
  description->vt = source->vt = VT_BSTR;
  information->GetDescription(&description->bstrVal);
  information->GetSource(&source->bstrVal);
  return toUtf8(com::textOf(source->bstrVal)) + ": " + toUtf8(com::textOf(description->bstrVal));
}

namespace {

class Registered : public ::testing::Environment {
 public:
  void SetUp() override {
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    ASSERT_EQ(callLibrary("DllRegisterServer"), S_OK);
  }
  void TearDown() override { CoUninitialize(); }
};
const auto* const registered = ::testing::AddGlobalTestEnvironment(new Registered);

struct Published {
  const wchar_t* name;
  CLSID id;
  IID interfaceId;
};
#define KELVANE_PUBLISHED(name) \
  { L"Kelvane." #name, __uuidof(::name), __uuidof(_##name) }
const Published kClasses[] = {
    KELVANE_PUBLISHED(cASE_Fetch),       KELVANE_PUBLISHED(cComparisonOptions),
    KELVANE_PUBLISHED(cAppliesTo),       KELVANE_PUBLISHED(cResults),
    KELVANE_PUBLISHED(cCompareSchema),   KELVANE_PUBLISHED(cCompareDiff),
    KELVANE_PUBLISHED(cTableComparison), KELVANE_PUBLISHED(cKeyPair),
    KELVANE_PUBLISHED(cKeyPairs),        KELVANE_PUBLISHED(cEntity),
    KELVANE_PUBLISHED(cEntities),        KELVANE_PUBLISHED(cASE_CatalogFetch),
};
#undef KELVANE_PUBLISHED

GUID guidOf(ITypeInfo& type) {
  TYPEATTR* attributes = nullptr;
  expectDone(type.GetTypeAttr(&attributes));
  const GUID id = attributes->guid;
  type.ReleaseTypeAttr(attributes);
  return id;
}

bool isLoaded() { return GetModuleHandleW(L"kelvane.dll") != nullptr; }

TEST(Classes, AreCreatedByNameAndKnowTheirInterface) {
  for (const Published& one : kClasses) {
    CLSID id;
    ASSERT_EQ(CLSIDFromProgID(one.name, &id), S_OK);
    EXPECT_TRUE(id == one.id);
    const auto object = createObject<IDispatch>(id);
    Pointer<IUnknown> own;
    expectDone(object->QueryInterface(one.interfaceId, reinterpret_cast<void**>(own.receive())));
    // One object has one identity.
    EXPECT_EQ(own.as<IUnknown>().get(), object.as<IUnknown>().get());
    Pointer<ITypeInfo> type;
    expectDone(object->GetTypeInfo(0, LOCALE_NEUTRAL, type.receive()));
    EXPECT_TRUE(guidOf(*type) == one.interfaceId);
    EXPECT_EQ(object.as<ISupportErrorInfo>()->InterfaceSupportsErrorInfo(one.interfaceId), S_OK);
    EXPECT_EQ(object.as<ISupportErrorInfo>()->InterfaceSupportsErrorInfo(IID_IDispatch), S_OK);
    EXPECT_EQ(object.as<ISupportErrorInfo>()->InterfaceSupportsErrorInfo(IID_IUnknown), S_FALSE);
    const auto provider = object.as<IProvideClassInfo>();
    expectDone(provider->GetClassInfo(type.receive()));
    EXPECT_TRUE(guidOf(*type) == id);
    EXPECT_EQ(provider->GetClassInfo(nullptr), E_POINTER);
    Pointer<IUnknown> outer(own), inner;
    EXPECT_EQ(CoCreateInstance(id, outer.get(), CLSCTX_INPROC_SERVER, __uuidof(IUnknown),
                               reinterpret_cast<void**>(inner.receive())),
              CLASS_E_NOAGGREGATION);
  }
  EXPECT_TRUE(createObject<_cASE_Fetch>(__uuidof(::cASE_Fetch)).as<::IDBFetch>());
  EXPECT_TRUE(createObject<_cASE_CatalogFetch>(__uuidof(::cASE_CatalogFetch)).as<::IDBFetch>());
}

TEST(Classes, FileSaysWhoseItIs) {
  DWORD handle = 0;
  std::vector<std::byte> block(GetFileVersionInfoSizeW(KELVANE_LIBRARY, &handle));
  ASSERT_TRUE(
      GetFileVersionInfoW(KELVANE_LIBRARY, 0, static_cast<DWORD>(block.size()), block.data()));
  const auto value = [&](const std::wstring& name) {
    void* text = nullptr;
    UINT length = 0;
    return VerQueryValueW(block.data(), (L"\\StringFileInfo\\040904B0\\" + name).c_str(), &text,
                          &length)
               ? std::wstring(static_cast<const wchar_t*>(text))
               : L"";
  };
  EXPECT_EQ(value(L"CompanyName"), L"The Kelvane developers");
  EXPECT_THAT(value(L"LegalCopyright"), ::testing::StartsWith(L"Copyright (c) 20"));
  EXPECT_EQ(value(L"OriginalFilename"), L"kelvane.dll");
}

TEST(Classes, ObjectsOfAnApartmentAreReachedFromOthers) {
  std::thread([] {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    {
      const auto pair = createObject<_cKeyPair>(__uuidof(::cKeyPair));
      ASSERT_TRUE(pair);
      Pointer<IUnknown> direct;
      EXPECT_EQ(
          pair->QueryInterface(__uuidof(::cKeyPair), reinterpret_cast<void**>(direct.receive())),
          E_NOINTERFACE);
      const Variant name(u"name");
      expectDone(pair->put_Name((*name).bstrVal));
      EXPECT_EQ(textFrom(*pair, &_cKeyPair::get_Name), "name");
    }
    CoUninitialize();
  }).join();
}

TEST(Classes, LibraryIsUnloadedWhenTheLastObjectEnded) {
  for (int round = 0; round < 20; ++round) {
    auto pairs = createObject<_cKeyPairs>(__uuidof(::cKeyPairs));
    Pointer<_cKeyPair> none;
    EXPECT_EQ(pairs->get_Item(*Variant(std::int32_t{1}), none.receive()),
              static_cast<HRESULT>(0x800A0005));
    Pointer<IUnknown> enumerator;
    expectDone(pairs->get_NewEnum(enumerator.receive()));
    pairs = nullptr;
    CoFreeUnusedLibrariesEx(0, 0);
    EXPECT_TRUE(isLoaded());
    enumerator = nullptr;
    CoFreeUnusedLibrariesEx(0, 0);
    EXPECT_FALSE(isLoaded());
  }
}

TEST(Classes, RegistrationComesAndGoesAlsoTwice) {
  CLSID id;
  for (int times = 0; times < 2; ++times) EXPECT_EQ(callLibrary("DllUnregisterServer"), S_OK);
  EXPECT_NE(CLSIDFromProgID(L"Kelvane.cEntity", &id), S_OK);
  Pointer<ITypeLib> library;
  EXPECT_NE(LoadRegTypeLib(LIBID_Kelvane, 1, 0, LOCALE_NEUTRAL, library.receive()), S_OK);
  for (int times = 0; times < 2; ++times) EXPECT_EQ(callLibrary("DllRegisterServer"), S_OK);
  EXPECT_EQ(CLSIDFromProgID(L"Kelvane.cEntity", &id), S_OK);
  EXPECT_EQ(LoadRegTypeLib(LIBID_Kelvane, 1, 0, LOCALE_NEUTRAL, library.receive()), S_OK);
}

// Takes from everybody, while it lives, what may be done with a key below the machine's classes.
class DeniedKey {
 public:
  explicit DeniedKey(const wchar_t* path) : path_(path) {
    EXPECT_EQ(RegCreateKeyExW(HKEY_LOCAL_MACHINE, path_, 0, nullptr, 0, WRITE_DAC, nullptr, &key_,
                              nullptr),
              ERROR_SUCCESS);
    ACL nobody;
    InitializeAcl(&nobody, sizeof nobody, ACL_REVISION);
    allow(&nobody);
  }
  ~DeniedKey() {
    allow(nullptr);
    RegCloseKey(key_);
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, path_);
  }
  DeniedKey(const DeniedKey&) = delete;
  DeniedKey& operator=(const DeniedKey&) = delete;

 private:
  void allow(ACL* list) {
    SECURITY_DESCRIPTOR descriptor;
    InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION);
    SetSecurityDescriptorDacl(&descriptor, TRUE, list, FALSE);
    EXPECT_EQ(RegSetKeySecurity(key_, DACL_SECURITY_INFORMATION, &descriptor), ERROR_SUCCESS);
  }

  const wchar_t* path_;
  HKEY key_ = nullptr;
};

TEST(Classes, AreRegisteredForTheUserWhoMayNotForTheMachine) {
  ASSERT_EQ(callLibrary("DllUnregisterServer"), S_OK);
  {
    const DeniedKey denied(L"Software\\Classes\\Kelvane.cASE_Fetch");
    EXPECT_EQ(callLibrary("DllUnregisterServer"), E_ACCESSDENIED);
    ASSERT_EQ(callLibrary("DllRegisterServer"), S_OK);
    // The system under which this is tested does not look for classes among the user's.
    const auto libraryAt = [](HKEY root) {
      wchar_t file[MAX_PATH] = {};
      DWORD size = sizeof file;
      RegGetValueW(
          root, L"Software\\Classes\\CLSID\\{2590CAE9-6F4C-4BDA-AED6-9CB1BCFA030A}\\InprocServer32",
          nullptr, RRF_RT_REG_SZ, nullptr, file, &size);
      return std::wstring(file);
    };
    EXPECT_EQ(libraryAt(HKEY_LOCAL_MACHINE), L"");
    EXPECT_THAT(libraryAt(HKEY_CURRENT_USER), ::testing::EndsWith(L"kelvane.dll"));
    EXPECT_EQ(callLibrary("DllUnregisterServer"), S_OK);
    EXPECT_EQ(libraryAt(HKEY_CURRENT_USER), L"");
  }
  EXPECT_EQ(callLibrary("DllRegisterServer"), S_OK);
}

#ifdef _WIN64
TEST(Classes, NamesStayForHostsOfTheOtherKind) {
  const wchar_t* path = L"Software\\Classes\\CLSID\\{2590CAE9-6F4C-4BDA-AED6-9CB1BCFA030A}";
  HKEY other = nullptr;
  ASSERT_EQ(RegCreateKeyExW(HKEY_LOCAL_MACHINE, path, 0, nullptr, 0, KEY_WRITE | KEY_WOW64_32KEY,
                            nullptr, &other, nullptr),
            ERROR_SUCCESS);
  CLSID id;
  EXPECT_EQ(callLibrary("DllUnregisterServer"), S_OK);
  EXPECT_EQ(CLSIDFromProgID(L"Kelvane.cEntity", &id), S_OK);
  EXPECT_NE(CLSIDFromProgID(L"Kelvane.cEntities", &id), S_OK);
  RegCloseKey(other);
  RegDeleteKeyExW(HKEY_LOCAL_MACHINE, path, KEY_WOW64_32KEY, 0);
  EXPECT_EQ(callLibrary("DllUnregisterServer"), S_OK);
  EXPECT_NE(CLSIDFromProgID(L"Kelvane.cEntity", &id), S_OK);
  EXPECT_EQ(callLibrary("DllRegisterServer"), S_OK);
}
#endif

TEST(Classes, RecordsAreLaidOutAsTheTypeLibrarySays) {
  constexpr struct {
    unsigned char number;
    std::size_t size;
  } kRecords[] = {
#define KELVANE_SIZE(number, record) {number, sizeof(::record)},
      KELVANE_RECORDS(KELVANE_SIZE)
#undef KELVANE_SIZE
  };
  for (const auto& record : kRecords) {
    const GUID id{
        0x2590cae9, 0x6f4c, 0x4bda, {0xae, 0xd6, 0x9c, 0xb1, 0xbc, 0xfa, 0x01, record.number}};
    const auto type = com::describe(id);
    TYPEATTR* attributes = nullptr;
    expectDone(type->GetTypeAttr(&attributes));
    EXPECT_EQ(attributes->cbSizeInstance, record.size) << int{record.number};
    type->ReleaseTypeAttr(attributes);
  }
}

TEST(Classes, EverySwitchIsItsOwnAndHasItsNumber) {
  for (std::size_t at = 0; at < kSwitches.size(); ++at) {
    const auto object = createObject<IDispatch>(__uuidof(::cComparisonOptions));
    auto name = std::u16string(kSwitches[at].name);
    auto* text = reinterpret_cast<wchar_t*>(name.data());
    DISPID id = DISPID_UNKNOWN;
    expectDone(object->GetIDsOfNames(IID_NULL, &text, 1, LOCALE_NEUTRAL, &id));
    EXPECT_EQ(id, static_cast<DISPID>(at));
    com::Automation options(object);
    options.put(text, Variant(True));
    for (const Switch& other : kSwitches) {
      const std::u16string otherName(other.name);
      EXPECT_EQ(options.boolean(com::wide(otherName)), Boolean(&other == &kSwitches[at]));
    }
  }
}

VARIANT referenceTo(VARTYPE type, void* value) {
  VARIANT reference{};
  reference.vt = VT_BYREF | type;
  reference.byref = value;
  return reference;
}

// Puts a property of an object late bound.
HRESULT put(IDispatch& object, const wchar_t* name, VARIANT value,
            WORD kind = DISPATCH_PROPERTYPUT) {
  auto* member = const_cast<wchar_t*>(name);
  DISPID id = DISPID_UNKNOWN, assigned = DISPID_PROPERTYPUT;
  expectDone(object.GetIDsOfNames(IID_NULL, &member, 1, LOCALE_NEUTRAL, &id));
  DISPPARAMS arguments{&value, &assigned, 1, 1};
  return object.Invoke(id, IID_NULL, LOCALE_NEUTRAL, kind, &arguments, nullptr, nullptr, nullptr);
}

TEST(Classes, SwitchesTakeVariablesOfEveryType) {
  const auto object = createObject<IDispatch>(__uuidof(::cComparisonOptions));
  com::Automation options(object);
  VARIANT_BOOL flag = VARIANT_TRUE;
  SHORT small = 1;
  LONG large = 70000;
  Variant boolean(True), text(u"True"), number(std::int32_t{5});
  VARIANT nested = referenceTo(VT_BOOL, &flag);
  const VARIANT values[] = {*boolean,
                            *text,
                            *number,
                            referenceTo(VT_BOOL, &flag),
                            referenceTo(VT_I2, &small),
                            referenceTo(VT_I4, &large),
                            referenceTo(VT_BSTR, &text->bstrVal),
                            referenceTo(VT_VARIANT, boolean.get()),
                            referenceTo(VT_VARIANT, text.get()),
                            referenceTo(VT_VARIANT, number.get()),
                            referenceTo(VT_VARIANT, &nested)};
  Variant word(u"word");
  for (const Switch& one : kSwitches) {
    const std::u16string name(one.name);
    for (const VARIANT& value : values) {
      options.put(com::wide(name), Variant(False));
      EXPECT_EQ(put(*object, com::wide(name), value), S_OK) << toUtf8(name) << ' ' << value.vt;
      EXPECT_EQ(options.boolean(com::wide(name)), True) << toUtf8(name) << ' ' << value.vt;
    }
    EXPECT_EQ(put(*object, com::wide(name), *word), DISP_E_TYPEMISMATCH) << toUtf8(name);
    EXPECT_EQ(options.boolean(com::wide(name)), True) << toUtf8(name);
  }
}

TEST(Classes, OtherPropertiesAndArgumentsTakeVariables) {
  Variant text(u"text"), holder(u"text");
  const auto pair = createObject<IDispatch>(__uuidof(::cKeyPair));
  for (const VARIANT& value :
       {referenceTo(VT_BSTR, &text->bstrVal), referenceTo(VT_VARIANT, holder.get())}) {
    put(*pair, L"Name", *Variant(u""));
    EXPECT_EQ(put(*pair, L"Name", value), S_OK);
    EXPECT_EQ(toUtf8(com::Automation(pair).text(L"Name")), "text");
  }
  const auto reader = createObject<IDispatch>(__uuidof(::cASE_Fetch));
  const auto options = createObject<IDispatch>(__uuidof(::cComparisonOptions));
  Variant object(options.get());
  IDispatch* direct = options.get();
  for (const VARIANT& value :
       {referenceTo(VT_DISPATCH, &direct), referenceTo(VT_VARIANT, object.get())}) {
    expectDone(put(*reader, L"CompareOptions", *Variant(static_cast<IDispatch*>(nullptr)),
                   DISPATCH_PROPERTYPUTREF));
    EXPECT_EQ(put(*reader, L"CompareOptions", value, DISPATCH_PROPERTYPUTREF), S_OK);
    Variant held;
    com::Automation(reader).get(L"CompareOptions", held);
    EXPECT_EQ(com::objectOf(*held).as<IUnknown>().get(), options.as<IUnknown>().get());
  }
  // A variable that holds a left-out argument stands for one.
  const auto collector = createObject<_cCompareDiff>(__uuidof(::cCompareDiff));
  VARIANT missing{};
  missing.vt = VT_ERROR;
  missing.scode = DISP_E_PARAMNOTFOUND;
  const Variant kind(u"Table"), name(u"t"), none(u"");
  expectDone(collector->Add((*none).bstrVal, (*none).bstrVal, (*kind).bstrVal, (*name).bstrVal,
                            ::location_Source, ::diff_Different, missing,
                            referenceTo(VT_VARIANT, &missing)));
  const diffSchema differences =
      recordFrom<::diffSchema>(*collector, &_cCompareDiff::GetDifferences);
  EXPECT_EQ(toUtf8(differences.Tables[1].Diff[1].DataOnTarget), "");
}

TEST(Classes, FailuresCarryNumberSourceAndDescription) {
  const auto pairs = createObject<_cKeyPairs>(__uuidof(::cKeyPairs));
  Pointer<_cKeyPair> none;
  EXPECT_EQ(pairs->get_Item(*Variant(u"key"), none.receive()), static_cast<HRESULT>(0x800A0005));
  EXPECT_EQ(errorInformation(), "Kelvane: There is no item with the key \"key\"");
  EXPECT_EQ(pairs->get_Count(nullptr), E_POINTER);
  long count = 77;
  expectDone(pairs->get_Count(&count));
  EXPECT_EQ(errorInformation(), "none");
  // An object that only looks like one of the library's is refused.
  const auto reader = createObject<_cASE_Fetch>(__uuidof(::cASE_Fetch));
  const auto options = createObject<_cAppliesTo>(__uuidof(::cAppliesTo));
  EXPECT_EQ(reader->putref_CompareOptions(reinterpret_cast<_cComparisonOptions*>(options.get())),
            static_cast<HRESULT>(0x800A000D));
}

TEST(Classes, HostsSignUpForTheEventsOfTheDataComparison) {
  const auto comparison = createObject<_cTableComparison>(__uuidof(::cTableComparison));
  const auto container = comparison.as<IConnectionPointContainer>();
  ASSERT_TRUE(container);
  Pointer<IConnectionPoint> point;
  EXPECT_NE(container->FindConnectionPoint(__uuidof(IDispatch), point.receive()), S_OK);
  expectDone(container->FindConnectionPoint(__uuidof(__cTableComparison), point.receive()));
  Pointer<IEnumConnectionPoints> points;
  expectDone(container->EnumConnectionPoints(points.receive()));
  Pointer<IConnectionPoint> only, none;
  expectDone(points->Next(1, only.receive(), nullptr));
  EXPECT_EQ(only.get(), point.get());
  EXPECT_EQ(points->Next(1, none.receive(), nullptr), S_FALSE);
  const auto sink = AutomationObject::make({});
  DWORD cookie = 0;
  expectDone(point->Advise(sink.get(), &cookie));
  EXPECT_EQ(point->Unadvise(cookie), S_OK);
  EXPECT_NE(point->Unadvise(cookie), S_OK);
}

}  // namespace
}  // namespace kelvane::testing
