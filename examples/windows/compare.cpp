// Reports which tables of two databases differ. Needs kelvane_automation.h and a registered
// kelvane.dll. Usage: compare SOURCE-CONNECTION-STRING TARGET-CONNECTION-STRING
//
// With Visual C++: cl /EHsc /std:c++17 compare.cpp ole32.lib oleaut32.lib
#include <cstdio>
#include <stdexcept>
#include <string>
#include <windows.h>

#include "kelvane_automation.h"

namespace {

// Throws the component's description of a failed call.
void check(HRESULT result, const char* what) {
  if (SUCCEEDED(result)) return;
  std::string text = what;
  IErrorInfo* information = nullptr;
  BSTR description = nullptr;
  if (GetErrorInfo(0, &information) == S_OK) {
    information->GetDescription(&description);
    information->Release();
  }
  text += ": ";
  for (const wchar_t* at = description; at && *at; ++at) text += static_cast<char>(*at);
  SysFreeString(description);
  throw std::runtime_error(text);
}

template <class Interface>
Interface* create(REFCLSID id) {
  Interface* object = nullptr;
  check(CoCreateInstance(id, nullptr, CLSCTX_INPROC_SERVER, __uuidof(Interface),
                         reinterpret_cast<void**>(&object)),
        "Kelvane is not registered");
  return object;
}

// The record at an index, from 1, in place.
template <class Record>
const Record* element(SAFEARRAY* array, LONG index) {
  void* record = nullptr;
  check(SafeArrayPtrOfIndex(array, &index, &record), "There is no such element");
  return static_cast<const Record*>(record);
}

// Calls a method of an automation object by name, with one text as its argument.
void call(IDispatch* object, const wchar_t* name, const wchar_t* text) {
  DISPID id = 0;
  auto* method = const_cast<wchar_t*>(name);
  check(object->GetIDsOfNames(IID_NULL, &method, 1, LOCALE_USER_DEFAULT, &id), "ADO");
  VARIANT argument;
  VariantInit(&argument);
  argument.vt = VT_BSTR;
  argument.bstrVal = SysAllocString(text);
  DISPPARAMS arguments{&argument, nullptr, 1, 0};
  const HRESULT called = object->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD,
                                        &arguments, nullptr, nullptr, nullptr);
  VariantClear(&argument);
  check(called, "The database cannot be opened");
}

IDispatch* openConnection(const wchar_t* connectionString) {
  CLSID id;
  check(CLSIDFromProgID(L"ADODB.Connection", &id), "ADO is not installed");
  auto* connection = create<IDispatch>(id);
  call(connection, L"Open", connectionString);
  return connection;
}

// A sink that ignores the progress.
class Silent final : public IDBFetchEvents {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
    const bool known =
        id == __uuidof(IUnknown) || id == __uuidof(IDispatch) || id == __uuidof(IDBFetchEvents);
    *object = known ? this : nullptr;
    return known ? S_OK : E_NOINTERFACE;
  }
  // The object outlives all calls that use it.
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*,
                                   UINT*) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE StartProcessing(BSTR*, VARIANT_BOOL*, enumObjectType*) override {
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE Processing(BSTR*, SHORT*, enumObjectType*) override { return S_OK; }
  HRESULT STDMETHODCALLTYPE EndProcessing(enumObjectType*) override { return S_OK; }
};

// Reads the tables and their columns.
Schema read(const wchar_t* connectionString, _cComparisonOptions* options) {
  auto* reader = create<_cASE_Fetch>(__uuidof(cASE_Fetch));
  check(reader->putref_CompareOptions(options), "CompareOptions");
  _cAppliesTo* scope = nullptr;
  check(reader->get_AppliesTo(&scope), "AppliesTo");
  check(scope->put_AllTables(VARIANT_TRUE), "AllTables");
  scope->Release();
  IDispatch* connection = openConnection(connectionString);
  check(reader->putref_conn(connection), "conn");
  Silent events;
  VARIANT_BOOL succeeded = VARIANT_FALSE;
  check(reader->Fetch(&events, &succeeded), "The schema cannot be read");
  if (succeeded == VARIANT_FALSE) {
    BSTR error = nullptr;
    reader->get_LastError(&error);
    std::fwprintf(stderr, L"%ls\n", error);
    SysFreeString(error);
    throw std::runtime_error("The schema cannot be read");
  }
  Schema schema;
  check(reader->GetSchema(&schema), "GetSchema");
  connection->Release();
  reader->Release();
  return schema;
}

}  // namespace

int wmain(int count, wchar_t** arguments) {
  if (count != 3) {
    std::fputs("usage: compare SOURCE-CONNECTION-STRING TARGET-CONNECTION-STRING\n", stderr);
    return 2;
  }
  CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
  try {
    auto* options = create<_cComparisonOptions>(__uuidof(cComparisonOptions));
    check(options->put_Tables(VARIANT_TRUE), "Tables");
    check(options->put_Tables_Columns(VARIANT_TRUE), "Tables_Columns");
    check(options->put_Tables_Columns_DataTypes(VARIANT_TRUE), "Tables_Columns_DataTypes");
    check(options->put_Tables_Columns_Lengths(VARIANT_TRUE), "Tables_Columns_Lengths");
    Schema source = read(arguments[1], options), target = read(arguments[2], options);
    auto* engine = create<_cCompareSchema>(__uuidof(cCompareSchema));
    check(engine->putref_CompareOptions(options), "CompareOptions");
    VARIANT_BOOL compared = VARIANT_FALSE;
    check(engine->Compare(&source, &target, output_DiffText, &compared), "Compare");
    diffSchema differences;
    check(engine->get_Results(&differences), "Results");
    for (LONG at = 1; at <= differences.TableCount; ++at) {
      const auto* table = element<diffTable>(differences.Tables, at);
      if (const auto* diff = table->DiffCount ? element<typeDiff>(table->Diff, 1) : nullptr;
          diff && diff->DiffType == diff_DoesNotExist) {
        std::wprintf(L"%ls: only in the %ls\n", table->FullName,
                     diff->Location == location_Source ? L"source" : L"target");
      } else {
        std::wprintf(L"%ls: %ld differing columns\n", table->FullName, table->ColumnCount);
      }
    }
    // The records are not cleared: the process ends here.
    return differences.TableCount != 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 2;
  }
}
