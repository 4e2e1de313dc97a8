// A host that reads two databases over ADO with the registered component, compares them, and
// writes both schemas and the differences as JSON. Usage: read_over_ado SOURCE TARGET OUTPUT
// (connection strings, a file)
#include <fstream>
#include <iostream>

#include "com/automation.h"
#include "com/records.h"
#include "model/text.h"
#include "report/json_writer.h"
#include "settings/comparison_options.h"
#include "tests/com/automation_object.h"

namespace {

using namespace kelvane;
using namespace kelvane::testing;
using com::Pointer;
using com::Variant;

template <class Interface>
Pointer<Interface> createObject(const CLSID& id) {
  Pointer<Interface> object;
  com::require(CoCreateInstance(id, nullptr, CLSCTX_INPROC_SERVER, __uuidof(Interface),
                                reinterpret_cast<void**>(object.receive())),
               u"The class cannot be created");
  return object;
}

Pointer<IDispatch> silentSink() {
  const auto nothing = [](auto&, VARIANT&) {};
  return AutomationObject::make(
             {{L"StartProcessing", nothing}, {L"Processing", nothing}, {L"EndProcessing", nothing}})
      .as<IDispatch>();
}

Pointer<IDispatch> openConnection(const char* connectionString) {
  CLSID id;
  com::require(CLSIDFromProgID(L"ADODB.Connection", &id), u"There is no ADO");
  com::Automation connection(createObject<IDispatch>(id));
  const Variant text(toUtf16(connectionString));
  VARIANT argument = *text;
  connection.call(L"Open", {&argument, 1});
  return Pointer<IDispatch>(connection.get());
}

template <class Reader>
::Schema read(const CLSID& id, const char* connectionString, _cComparisonOptions* options) {
  const auto reader = createObject<Reader>(id);
  com::require(reader->putref_conn(openConnection(connectionString).get()), u"conn");
  com::require(reader->putref_CompareOptions(options), u"CompareOptions");
  Pointer<_cAppliesTo> scope;
  com::require(reader->get_AppliesTo(scope.receive()), u"AppliesTo");
  com::Automation all(scope.as<IDispatch>());
  for (const wchar_t* name : {L"AllTables", L"AllViews", L"AllStoredProcs", L"AllFunctions",
                              L"AllUDDTs", L"AllUsers", L"AllGroups"})
    all.put(name, Variant(True));
  VARIANT_BOOL succeeded = VARIANT_FALSE;
  com::require(reader->Fetch(silentSink().get(), &succeeded), u"Fetch");
  if (!succeeded) {
    Variant error;
    error->vt = VT_BSTR;
    reader->get_LastError(&error->bstrVal);
    throw RuntimeError(-1, std::u16string(com::textOf(error->bstrVal)), u"Fetch");
  }
  ::Schema schema;
  com::require(reader->Results(&schema), u"Results");
  return schema;
}

void run(char** arguments) {
  const auto options = createObject<_cComparisonOptions>(__uuidof(::cComparisonOptions));
  com::Automation switches(options.as<IDispatch>());
  for (const Switch& one : kSwitches)
    switches.put(com::wide(std::u16string(one.name)), Variant(True));
  const auto asked = [&](const char* connectionString) {
    return read<_cASE_Fetch>(__uuidof(::cASE_Fetch), connectionString, options.get());
  };
  const auto fromCatalog = [&](const char* connectionString) {
    return read<_cASE_CatalogFetch>(__uuidof(::cASE_CatalogFetch), connectionString, options.get());
  };
  ::Schema source = asked(arguments[1]), target = asked(arguments[2]);
  ::Schema sourceCatalog = fromCatalog(arguments[1]), targetCatalog = fromCatalog(arguments[2]);
  const auto no = [](auto&, VARIANT& result) { give(result, False); };
  const auto preferences = AutomationObject::make(
      {{L"IgnoreTabs", no}, {L"IgnoreSpaces", no}, {L"IgnoreLineBreaks", no}});
  const auto engine = createObject<_cCompareSchema>(__uuidof(::cCompareSchema));
  com::require(engine->putref_CompareOptions(options.get()), u"CompareOptions");
  com::require(engine->putref_AppPreferences(preferences.get()), u"AppPreferences");
  VARIANT_BOOL compared = VARIANT_FALSE;
  com::require(engine->Compare(&source, &target, ::output_DiffTree, &compared), u"Compare");
  ::diffSchema differences;
  com::require(engine->get_Results(&differences), u"Results");

  std::ofstream file(arguments[3], std::ios::binary);
  JsonWriter writer(file);
  writer.beginObject();
  writer.member("source", com::fromHost(source));
  writer.member("target", com::fromHost(target));
  writer.member("source catalog", com::fromHost(sourceCatalog));
  writer.member("target catalog", com::fromHost(targetCatalog));
  writer.member("differences", com::fromHost(differences));
  writer.endObject();
  for (::Schema* schema : {&source, &target, &sourceCatalog, &targetCatalog}) com::clear(*schema);
  com::clear(differences);
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 4) {
    std::cerr << "usage: read_over_ado SOURCE TARGET OUTPUT\n";
    return 2;
  }
  CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
  int status = 0;
  try {
    run(arguments);
  } catch (const std::exception& error) {
    std::cerr << "read_over_ado: " << error.what() << '\n';
    status = 1;
  }
  CoUninitialize();
  return status;
}
