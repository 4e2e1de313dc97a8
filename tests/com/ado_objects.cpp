#include "tests/com/ado_objects.h"

#include <cstring>
#include <memory>
#include <variant>

#include "com/automation.h"

namespace kelvane::testing {
namespace {

using com::Pointer;

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

// An object whose properties have these values.
template <class... Values>
Pointer<IDispatch> valueObject(std::pair<const wchar_t*, Values>... properties) {
  std::map<std::wstring, AutomationObject::Member> members;
  ((members[properties.first] = [value = properties.second](
                                    auto&, VARIANT& result) { testing::give(result, value); }),
   ...);
  return AutomationObject::make(std::move(members)).template as<IDispatch>();
}

// A collection from 0, of `count` items.
Pointer<IDispatch> collection(std::int32_t count,
                              const std::function<Pointer<IDispatch>(std::int32_t)>& item) {
  return AutomationObject::make(
             {{L"Count", [=](auto&, VARIANT& result) { testing::give(result, count); }},
              {L"Item",
               [=](const auto& arguments, VARIANT& result) {
                 testing::give(result, item(com::numberOf(arguments.at(0))).get());
               }}})
      .as<IDispatch>();
}

struct RecordsetState {
  std::u16string source;
  ado::OpenMode mode;
  std::shared_ptr<ado::Recordset> rows;
};

// A connection object says by this member, as a number, where what it lends is: in this process.
constexpr const wchar_t* kLent = L"Lent";

ado::Connection& lentBy(const VARIANT& connection) {
  com::Variant address;
  com::Automation(com::objectOf(connection)).get(kLent, address);
  return *reinterpret_cast<ado::Connection*>(address->llVal);
}

Pointer<IDispatch> recordset(const std::shared_ptr<RecordsetState>& state) {
  return AutomationObject::make(
             {
                 {L"=Source", [=](const auto& arguments,
                                  VARIANT&) { state->source = com::textOf(arguments[0]); }},
                 {L"=CursorLocation",
                  [=](const auto& arguments, VARIANT&) {
                    state->mode.location =
                        static_cast<ado::CursorLocation>(com::numberOf(arguments[0]));
                  }},
                 {L"Open",
                  [=](const auto& arguments, VARIANT&) {
                    if (!com::isMissing(arguments.at(0)))
                      throw RuntimeError(3001, u"Source twice", u"ADO");
                    state->mode.cursorType =
                        static_cast<ado::CursorType>(com::numberOf(arguments.at(2)));
                    state->mode.lockType =
                        static_cast<ado::LockType>(com::numberOf(arguments.at(3)));
                    state->mode.options = com::numberOf(arguments.at(4));
                    state->rows = lentBy(arguments.at(1)).Open(state->source, state->mode);
                  }},
                 {L"State",
                  [=](auto&, VARIANT& result) {
                    testing::give(result, static_cast<std::int32_t>(state->rows->State()));
                  }},
                 {L"EOF",
                  [=](auto&, VARIANT& result) {
                    testing::give(result, Boolean(state->rows->EndOfRows()));
                  }},
                 {L"Fields",
                  [=](auto&, VARIANT& result) {
                    const auto field = [=](std::int32_t at) {
                      return valueObject(std::pair(L"Name", state->rows->Fields(at).Name()));
                    };
                    testing::give(result, collection(state->rows->FieldCount(), field).get());
                  }},
                 {L"GetRows",
                  [=](const auto& arguments, VARIANT& result) {
                    giveRows(result, *state->rows, com::numberOf(arguments.at(0)));
                  }},
                 {L"=Sort", [=](const auto& arguments,
                                VARIANT&) { state->rows->Sort(com::textOf(arguments[0])); }},
                 {L"MoveFirst", [](auto&, VARIANT&) {}},  // a sort went there already
                 {L"NextRecordset",
                  [=](auto&, VARIANT& result) {
                    const bool more = state->rows->NextRecordset();
                    testing::give(result, more ? recordset(state).get() : nullptr);
                  }},
             })
      .as<IDispatch>();
}

class Factory final : public com::Single<Factory, IClassFactory> {
 public:
  explicit Factory(Pointer<IDispatch> (*make)()) : make_(make) {}

  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown*, REFIID id, void** object) override {
    return make_()->QueryInterface(id, object);
  }
  HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }

 private:
  Pointer<IDispatch> (*make_)();
};

}  // namespace

Pointer<IDispatch> connectionObject(const std::function<ado::Connection&()>& lent,
                                    std::map<std::wstring, AutomationObject::Member> further) {
  further[kLent] = [=](auto&, VARIANT& result) {
    result.vt = VT_I8;
    result.llVal = reinterpret_cast<LONGLONG>(&lent());
  };
  further[L"Errors"] = [=](auto&, VARIANT& result) {
    const auto& errors = lent().Errors();
    const auto item = [=](std::int32_t at) {
      const ado::Error error = lent().Errors().at(static_cast<std::size_t>(at));
      return valueObject(
          std::pair(L"Number", error.Number), std::pair(L"Description", error.Description),
          std::pair(L"NativeError", error.NativeError), std::pair(L"Source", error.Source),
          std::pair(L"SQLState", error.SQLState));
    };
    testing::give(result, collection(static_cast<std::int32_t>(errors.size()), item).get());
  };
  return AutomationObject::make(std::move(further)).as<IDispatch>();
}

Pointer<IDispatch> recordsetObject() { return recordset(std::make_shared<RecordsetState>()); }

Pointer<IClassFactory> factoryOf(Pointer<IDispatch> (*make)()) {
  return Pointer<IClassFactory>::taking(new Factory(make));
}

AdoObjects::AdoObjects() {
  CLSID id;
  com::require(CLSIDFromProgID(L"ADODB.Recordset", &id), u"ADODB.Recordset is not registered");
  com::require(CoRegisterClassObject(id, factoryOf(recordsetObject).get(), CLSCTX_INPROC_SERVER,
                                     REGCLS_MULTIPLEUSE, &registration_),
               u"The class of recordsets is not registered");
}
AdoObjects::~AdoObjects() { CoRevokeClassObject(registration_); }

Pointer<IDispatch> AdoObjects::connection(ado::Connection& connection) {
  return connectionObject([&connection]() -> ado::Connection& { return connection; }, {});
}

}  // namespace kelvane::testing
