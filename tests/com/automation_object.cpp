#include "tests/com/automation_object.h"

#include <cstring>
#include <memory>
#include <variant>

namespace kelvane::testing {
namespace {

using com::Pointer;

std::map<IDispatch*, ado::Connection*>& connections() {
  static std::map<IDispatch*, ado::Connection*> all;
  return all;
}

void give(VARIANT& result, const ado::Value& value) {
  if (const auto* text = std::get_if<std::u16string_view>(&value)) {
    testing::give(result, *text);
  } else if (const auto* flag = std::get_if<bool>(&value)) {
    testing::give(result, Boolean(*flag));
  } else if (const auto* number = std::get_if<std::int64_t>(&value)) {
    testing::give(result, static_cast<std::int32_t>(*number));
  } else if (const auto* exact = std::get_if<ado::Decimal>(&value)) {
    result.vt = VT_DECIMAL;
    result.decVal.Lo64 = exact->magnitude[0];
    result.decVal.Hi32 = static_cast<ULONG>(exact->magnitude[1]);
    result.decVal.scale = exact->scale;
    result.decVal.sign = exact->negative ? BYTE{DECIMAL_NEG} : BYTE{0};
    result.vt = VT_DECIMAL;  // in the place of a part of the number that is not used
  } else if (const auto* wide = std::get_if<std::uint64_t>(&value)) {
    result.vt = VT_UI8;
    result.ullVal = *wide;
  } else if (const auto* real = std::get_if<double>(&value)) {
    result.vt = VT_R8;
    result.dblVal = *real;
  } else if (const auto* time = std::get_if<ado::DateTime>(&value)) {
    // The system's own reading of the text.
    com::Variant text(time->text());
    VariantChangeTypeEx(&result, text.get(), LOCALE_INVARIANT, 0, VT_DATE);
  } else if (const auto* bytes = std::get_if<ado::Bytes>(&value)) {
    result.vt = VT_ARRAY | VT_UI1;
    result.parray = SafeArrayCreateVector(VT_UI1, 0, static_cast<ULONG>(bytes->size()));
    std::memcpy(result.parray->pvData, bytes->data(), bytes->size());
  } else {
    result.vt = VT_NULL;
  }
}

void giveRows(VARIANT& result, ado::Recordset& rows, std::int32_t wanted) {
  const std::int32_t fields = rows.FieldCount();
  std::vector<VARIANT> values;
  for (std::int32_t row = 0; (wanted < 0 || row < wanted) && !rows.EndOfRows(); ++row) {
    for (std::int32_t field = 0; field < fields; ++field)
      give(values.emplace_back(VARIANT{}), rows.Fields(field).Value());
    rows.MoveNext();
  }
  SAFEARRAYBOUND bounds[] = {{static_cast<ULONG>(fields), 0},
                             {static_cast<ULONG>(values.size()) / static_cast<ULONG>(fields), 0}};
  result.vt = VT_ARRAY | VT_VARIANT;
  result.parray = SafeArrayCreate(VT_VARIANT, 2, bounds);
  auto* place = static_cast<VARIANT*>(result.parray->pvData);
  for (const VARIANT& value : values) *place++ = value;
}

Pointer<IDispatch> fieldsOf(const std::shared_ptr<ado::Recordset>& rows) {
  return AutomationObject::make(
             {{L"Count",
               [=](auto&, VARIANT& result) { testing::give(result, rows->FieldCount()); }},
              {L"Item",
               [=](const auto& arguments, VARIANT& result) {
                 const std::u16string name = rows->Fields(com::numberOf(arguments[0])).Name();
                 testing::give(
                     result,
                     AutomationObject::make(
                         {{L"Name", [=](auto&, VARIANT& text) { testing::give(text, name); }}})
                         .get());
               }}})
      .as<IDispatch>();
}

struct RecordsetState {
  std::u16string source;
  ado::OpenMode mode;
  std::shared_ptr<ado::Recordset> rows;
};

Pointer<AutomationObject> recordset(std::shared_ptr<RecordsetState> state) {
  return AutomationObject::make({
      {L"=Source",
       [=](const auto& arguments, VARIANT&) { state->source = com::textOf(arguments[0]); }},
      {L"=CursorLocation",
       [=](const auto& arguments, VARIANT&) {
         state->mode.location = static_cast<ado::CursorLocation>(com::numberOf(arguments[0]));
       }},
      {L"Open",
       [=](const auto& arguments, VARIANT&) {
         if (!com::isMissing(arguments.at(0))) throw RuntimeError(3001, u"Source twice", u"ADO");
         state->mode.cursorType = static_cast<ado::CursorType>(com::numberOf(arguments.at(2)));
         state->mode.lockType = static_cast<ado::LockType>(com::numberOf(arguments.at(3)));
         state->mode.options = com::numberOf(arguments.at(4));
         state->rows = connections()
                           .at(com::objectOf(arguments.at(1)).get())
                           ->Open(state->source, state->mode);
       }},
      {L"State",
       [=](auto&, VARIANT& result) {
         testing::give(result, static_cast<std::int32_t>(state->rows->State()));
       }},
      {L"EOF",
       [=](auto&, VARIANT& result) { testing::give(result, Boolean(state->rows->EndOfRows())); }},
      {L"Fields",
       [=](auto&, VARIANT& result) { testing::give(result, fieldsOf(state->rows).get()); }},
      {L"GetRows",
       [=](const auto& arguments, VARIANT& result) {
         giveRows(result, *state->rows, com::numberOf(arguments.at(0)));
       }},
      {L"=Sort",
       [=](const auto& arguments, VARIANT&) { state->rows->Sort(com::textOf(arguments[0])); }},
      {L"MoveFirst", [](auto&, VARIANT&) {}},  // a sort went there already
      {L"NextRecordset",
       [=](auto&, VARIANT& result) {
         if (!state->rows->NextRecordset())
           return testing::give(result, static_cast<IDispatch*>(nullptr));
         testing::give(result, recordset(state).get());
       }},
  });
}

class Recordsets final : public IClassFactory {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
    const bool known = id == __uuidof(IUnknown) || id == __uuidof(IClassFactory);
    *object = known ? this : nullptr;
    if (known) AddRef();
    return known ? S_OK : E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }
  ULONG STDMETHODCALLTYPE Release() override {
    const ULONG left = --references_;
    if (left == 0) delete this;
    return left;
  }
  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown*, REFIID id, void** object) override {
    return recordset(std::make_shared<RecordsetState>())->QueryInterface(id, object);
  }
  HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }

 private:
  ULONG references_ = 1;
};

}  // namespace

void give(VARIANT& result, std::u16string_view text) {
  result.vt = VT_BSTR;
  result.bstrVal = com::newText(text);
}
void give(VARIANT& result, std::int32_t number) {
  result.vt = VT_I4;
  result.lVal = number;
}
void give(VARIANT& result, Boolean flag) {
  result.vt = VT_BOOL;
  result.boolVal = flag.raw();
}
void give(VARIANT& result, IDispatch* object) {
  result.vt = VT_DISPATCH;
  result.pdispVal = Pointer<IDispatch>(object).detach();
}

AutomationObject::AutomationObject(std::map<std::wstring, Member> members)
    : members_(std::move(members)) {
  for (const auto& [name, member] : members_)
    names_.push_back(name.starts_with(L'=') ? name.substr(1) : name);
}

Pointer<AutomationObject> AutomationObject::make(std::map<std::wstring, Member> members) {
  return Pointer<AutomationObject>::taking(new AutomationObject(std::move(members)));
}

HRESULT AutomationObject::QueryInterface(REFIID id, void** object) {
  const bool known = id == __uuidof(IUnknown) || id == __uuidof(IDispatch);
  *object = known ? this : nullptr;
  if (known) AddRef();
  return known ? S_OK : E_NOINTERFACE;
}
ULONG AutomationObject::Release() {
  const ULONG left = --references_;
  if (left == 0) delete this;
  return left;
}
HRESULT AutomationObject::GetTypeInfoCount(UINT* count) {
  *count = 0;
  return S_OK;
}
HRESULT AutomationObject::GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) {
  for (std::size_t i = 0; i < names_.size(); ++i) {
    if (count != 1 || lstrcmpiW(names_[i].c_str(), names[0]) != 0) continue;
    ids[0] = static_cast<DISPID>(i) + 1;
    return S_OK;
  }
  return DISP_E_UNKNOWNNAME;
}
HRESULT AutomationObject::Invoke(DISPID member, REFIID, LCID, WORD flags, DISPPARAMS* arguments,
                                 VARIANT* result, EXCEPINFO* exception, UINT*) {
  if (member < 1 || static_cast<std::size_t>(member) > names_.size()) return DISP_E_MEMBERNOTFOUND;
  const bool put = flags & (DISPATCH_PROPERTYPUT | DISPATCH_PROPERTYPUTREF);
  const std::wstring& name = names_[static_cast<std::size_t>(member) - 1];
  const auto found = members_.find(put ? L"=" + name : name);
  if (found == members_.end()) return DISP_E_MEMBERNOTFOUND;
  Arguments inOrder;
  std::vector<std::unique_ptr<com::Variant>> direct;
  for (UINT i = arguments->cArgs; i > 0;) {
    VariantCopyInd(direct.emplace_back(std::make_unique<com::Variant>())->get(),
                   &arguments->rgvarg[--i]);
    inOrder.push_back(**direct.back());
  }
  const Pointer<AutomationObject> alive(this);
  com::Variant unwanted;
  const HRESULT called =
      com::guarded([&] { found->second(inOrder, result ? *result : *unwanted.get()); });
  if (SUCCEEDED(called) || !exception) return called;
  Pointer<IErrorInfo> information;
  exception->scode = called;
  if (GetErrorInfo(0, information.receive()) == S_OK) {
    information->GetDescription(&exception->bstrDescription);
    information->GetSource(&exception->bstrSource);
  }
  return DISP_E_EXCEPTION;
}

AdoObjects::AdoObjects() : recordsets_(Pointer<IClassFactory>::taking(new Recordsets)) {
  CLSID id;
  com::require(CLSIDFromProgID(L"ADODB.Recordset", &id), u"ADODB.Recordset is not registered");
  com::require(CoRegisterClassObject(id, recordsets_.get(), CLSCTX_INPROC_SERVER,
                                     REGCLS_MULTIPLEUSE, &registration_),
               u"The class of recordsets is not registered");
}
AdoObjects::~AdoObjects() {
  CoRevokeClassObject(registration_);
  connections().clear();
}

Pointer<IDispatch> AdoObjects::connection(ado::Connection& connection) {
  const auto errors = [&connection](auto&, VARIANT& result) {
    const auto item = [&connection](const auto& arguments, VARIANT& one) {
      const ado::Error error =
          connection.Errors().at(static_cast<std::size_t>(com::numberOf(arguments[0])));
      testing::give(
          one,
          AutomationObject::make(
              {{L"Number", [=](auto&, VARIANT& out) { testing::give(out, error.Number); }},
               {L"Description",
                [=](auto&, VARIANT& out) { testing::give(out, error.Description); }},
               {L"NativeError",
                [=](auto&, VARIANT& out) { testing::give(out, error.NativeError); }},
               {L"Source", [=](auto&, VARIANT& out) { testing::give(out, error.Source); }},
               {L"SQLState", [=](auto&, VARIANT& out) { testing::give(out, error.SQLState); }}})
              .get());
    };
    testing::give(result, AutomationObject::make({{L"Count",
                                                   [&connection](auto&, VARIANT& count) {
                                                     testing::give(count,
                                                                   static_cast<std::int32_t>(
                                                                       connection.Errors().size()));
                                                   }},
                                                  {L"Item", item}})
                              .get());
  };
  auto object = AutomationObject::make({{L"Errors", errors}}).as<IDispatch>();
  connections()[object.get()] = &connection;
  return object;
}

}  // namespace kelvane::testing
