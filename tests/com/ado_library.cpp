// ADODB.Connection and ADODB.Recordset for hosts of their own process, over the system's ODBC.
#include "tests/com/ado_objects.h"
#include "tests/com/odbc_connection.h"

namespace kelvane::testing {
namespace {

com::Pointer<IDispatch> newConnection() {
  auto opened = std::make_shared<std::unique_ptr<OdbcConnection>>();
  return connectionObject(
      [=]() -> ado::Connection& {
        if (!*opened) throw RuntimeError(3709, u"The connection is not open", u"ADODB.Connection");
        return **opened;
      },
      {{L"Open",
        [=](const auto& arguments, VARIANT&) {
          *opened = std::make_unique<OdbcConnection>(com::textOf(arguments.at(0)));
        }},
       {L"Close", [=](auto&, VARIANT&) { opened->reset(); }}});
}

HRESULT make(const wchar_t* name, com::Pointer<IDispatch> (*make)(), REFCLSID wanted, REFIID id,
             void** object) {
  CLSID known;
  if (FAILED(CLSIDFromProgID(name, &known)) || known != wanted) return CLASS_E_CLASSNOTAVAILABLE;
  return factoryOf(make)->QueryInterface(id, object);
}

}  // namespace
}  // namespace kelvane::testing

STDAPI DllGetClassObject(REFCLSID wanted, REFIID id, void** object) {
  using namespace kelvane::testing;
  const HRESULT made = make(L"ADODB.Connection", newConnection, wanted, id, object);
  return made != CLASS_E_CLASSNOTAVAILABLE
             ? made
             : make(L"ADODB.Recordset", recordsetObject, wanted, id, object);
}

STDAPI DllCanUnloadNow() { return kelvane::com::liveObjects() == 0 ? S_OK : S_FALSE; }
