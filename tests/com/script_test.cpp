// Hosts in VBScript: each script in scripts/ runs in the system's engine. It is given `connection`,
// an ADO-shaped connection to the small database, and `check`, whose Same (ACTUAL, EXPECTED) fails
// the test when the texts of the two differ and whose Finished is called at the end.
// The second needs the first.
// clang-format off
#include <windows.h>
#include <activscp.h>
// clang-format on

#include <fstream>
#include <sstream>

#include "tests/com/client.h"
#include "tests/reader/reader_test.h"

namespace kelvane::testing {
namespace {

// Lends the named objects to the engine, and keeps the last error that a procedure of the script
// did not handle. Left to the engine, it goes on to whoever called the procedure.
class Site final : public IActiveScriptSite {
 public:
  std::map<std::wstring, Pointer<IDispatch>> objects;
  std::string lastError;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
    const bool known = id == __uuidof(IUnknown) || id == __uuidof(IActiveScriptSite);
    *object = known ? this : nullptr;
    return known ? S_OK : E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
  HRESULT STDMETHODCALLTYPE GetLCID(LCID*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetItemInfo(LPCOLESTR name, DWORD, IUnknown** item,
                                        ITypeInfo**) override {
    *item = Pointer<IDispatch>(objects.at(name)).detach();
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetDocVersionString(BSTR*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE OnScriptTerminate(const VARIANT*, const EXCEPINFO*) override {
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE OnStateChange(SCRIPTSTATE) override { return S_OK; }
  HRESULT STDMETHODCALLTYPE OnScriptError(IActiveScriptError* error) override {
    EXCEPINFO exception{};
    DWORD context = 0;
    ULONG line = 0;
    LONG column = 0;
    error->GetExceptionInfo(&exception);
    error->GetSourcePosition(&context, &line, &column);
    std::ostringstream text;
    text << "line " << line + 1 << ": error " << std::hex << exception.scode << ' '
         << toUtf8(com::textOf(exception.bstrDescription));
    lastError = text.str();
    return E_FAIL;
  }
  HRESULT STDMETHODCALLTYPE OnEnterScript() override { return S_OK; }
  HRESULT STDMETHODCALLTYPE OnLeaveScript() override { return S_OK; }
};

void run(const std::string& name, Site& site) {
  CLSID id;
  expectDone(CLSIDFromProgID(L"VBScript", &id));
  const auto engine = createObject<IActiveScript>(id);
  const auto parser = engine.as<IActiveScriptParse>();
  expectDone(parser->InitNew());
  expectDone(engine->SetScriptSite(&site));
  for (const auto& [object, pointer] : site.objects)
    expectDone(engine->AddNamedItem(object.c_str(), SCRIPTITEM_ISVISIBLE));
  std::ifstream file(KELVANE_SCRIPTS "/" + name + ".vbs");
  std::stringstream text;
  text << file.rdbuf();
  const Variant source(toUtf16(text.str()));
  parser->ParseScriptText((*source).bstrVal, nullptr, nullptr, nullptr, 0, 1, SCRIPTTEXT_ISVISIBLE,
                          nullptr, nullptr);
  engine->SetScriptState(SCRIPTSTATE_CONNECTED);
  engine->Close();
}

class Script : public ::testing::TestWithParam<const char*> {};

TEST_P(Script, Runs) {
  AdoObjects ado;
  ScriptedConnection server;
  for (const DatabaseStatement& one : smallDatabase().statements) server.on(one.text, one.answer);
  server.refuseOthers();
  bool finished = false;
  Site site;
  site.objects[L"connection"] = ado.connection(server);
  site.objects[L"check"] =
      AutomationObject::make({{L"Same",
                               [](const auto& arguments, VARIANT&) {
                                 EXPECT_EQ(toUtf8(com::textOf(arguments.at(0))),
                                           toUtf8(com::textOf(arguments.at(1))));
                               }},
                              {L"Finished", [&](auto&, VARIANT&) { finished = true; }}})
          .as<IDispatch>();
  run(GetParam(), site);
  EXPECT_TRUE(finished) << site.lastError;
}

INSTANTIATE_TEST_SUITE_P(VBScript, Script, ::testing::Values("settings", "collections", "fetch"),
                         [](const auto& script) { return std::string(script.param); });

}  // namespace
}  // namespace kelvane::testing
