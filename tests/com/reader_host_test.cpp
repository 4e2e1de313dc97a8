// Hosts that read and compare: what they get is what the component gives, over ADO-shaped objects,
// with sinks and lists of every kind.
// The second needs the first.
// clang-format off
#include <windows.h>
#include <psapi.h>
// clang-format on

#include <limits>
#include <vector>

#include "com/automation.h"
#include "com/module.h"
#include "compare/compare_schema.h"
#include "tests/com/client.h"
#include "tests/reader/reader_test.h"

namespace kelvane::testing {
namespace {

constexpr VARIANT_BOOL kTrue = VARIANT_TRUE;

// Writes the events down as the component's own sink does. An error number, where set, is its
// failure.
class TypedSink final : public ::IDBFetchEvents {
 public:
  explicit TypedSink(RecordingSink& sink) : sink_(sink) {}
  HRESULT failure = S_OK;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
    const bool known =
        id == __uuidof(IUnknown) || id == __uuidof(IDispatch) || id == __uuidof(::IDBFetchEvents);
    *object = known ? this : nullptr;
    return known ? S_OK : E_NOINTERFACE;
  }
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

  HRESULT STDMETHODCALLTYPE StartProcessing(BSTR* Status, VARIANT_BOOL* SupportProgressBar,
                                            ::enumObjectType* ObjectType) override {
    sink_.StartProcessing(std::u16string(com::textOf(*Status)),
                          Boolean::fromRaw(*SupportProgressBar), type(*ObjectType));
    return failure;
  }
  HRESULT STDMETHODCALLTYPE Processing(BSTR* Status, SHORT* Progress,
                                       ::enumObjectType* ObjectType) override {
    sink_.Processing(std::u16string(com::textOf(*Status)), *Progress, type(*ObjectType));
    return failure;
  }
  HRESULT STDMETHODCALLTYPE EndProcessing(::enumObjectType* ObjectType) override {
    sink_.EndProcessing(type(*ObjectType));
    return failure;
  }

 private:
  static enumObjectType type(::enumObjectType value) { return static_cast<enumObjectType>(value); }

  RecordingSink& sink_;
};

class HostTest : public ReaderTest {
 protected:
  HostTest() {
    expectDone(hosted->putref_conn(ado.connection(comServer).get()));
    for (const DatabaseStatement& one : smallDatabase().statements)
      comServer.on(one.text, one.answer);
    scriptSmallDatabase();
    expectDone(hosted->get_CompareOptions(options.receive()));
    expectDone(hosted->get_AppliesTo(scope.receive()));
    com::Automation late(options.as<IDispatch>());
    for (const Switch& one : kSwitches)
      late.put(com::wide(std::u16string(one.name)), Variant(True));
    setAll(*reader.CompareOptions(), True);
    for (const auto put :
         {&_cAppliesTo::put_AllTables, &_cAppliesTo::put_AllViews, &_cAppliesTo::put_AllStoredProcs,
          &_cAppliesTo::put_AllFunctions, &_cAppliesTo::put_AllUDDTs, &_cAppliesTo::put_AllUsers,
          &_cAppliesTo::put_AllGroups})
      expectDone((scope.get()->*put)(kTrue));
    setAll(*reader.AppliesTo(), True);
  }

  bool fetch(IDispatch* events) {
    VARIANT_BOOL result = 77;
    expectDone(hosted->Fetch(events, &result));
    return result != VARIANT_FALSE;
  }
  Schema fetched() { return recordFrom<::Schema>(*hosted, &_cASE_Fetch::GetSchema); }

  AdoObjects ado;
  ScriptedConnection comServer;
  Journal comJournal;
  RecordingSink comSink{comJournal};
  TypedSink typedSink{comSink};
  Pointer<_cASE_Fetch> hosted = createObject<_cASE_Fetch>(__uuidof(::cASE_Fetch));
  Pointer<_cComparisonOptions> options;
  Pointer<_cAppliesTo> scope;
};

TEST_F(HostTest, FetchGivesTheSchemaTheStatementsAndTheEventsOfTheComponent) {
  ASSERT_TRUE(reader.Fetch(sink));
  ASSERT_FALSE(reader.Results().Tables.empty());
  ASSERT_TRUE(fetch(&typedSink)) << textFrom(*hosted, &_cASE_Fetch::get_LastError);
  EXPECT_TRUE(fetched() == reader.Results());
  EXPECT_EQ(comServer.takeSent(), server.takeSent());
  EXPECT_EQ(comSink.events(), sink.events());
}

TEST_F(HostTest, RecordsAreOrdinaryStructuresWithArraysFromIndexOne) {
  ASSERT_TRUE(fetch(&typedSink));
  ::Schema schema;
  expectDone(hosted->GetSchema(&schema));
  LONG lower = 0, upper = 0;
  expectDone(SafeArrayGetLBound(schema.Tables, 1, &lower));
  expectDone(SafeArrayGetUBound(schema.Tables, 1, &upper));
  EXPECT_EQ(lower, 1);
  EXPECT_EQ(upper, 1);
  ::Table* table = nullptr;
  expectDone(SafeArrayPtrOfIndex(schema.Tables, &lower, reinterpret_cast<void**>(&table)));
  EXPECT_EQ(com::textOf(table->FullName), u"dbo.orders");
  ::Column* column = nullptr;
  expectDone(SafeArrayPtrOfIndex(table->Columns, &lower, reinterpret_cast<void**>(&column)));
  EXPECT_EQ(com::textOf(column->Name), u"id");
  Pointer<IRecordInfo> description;
  expectDone(SafeArrayGetRecordInfo(table->Columns, description.receive()));
  BSTR name = nullptr;
  expectDone(description->GetName(&name));
  EXPECT_EQ(com::textOf(name), u"Column");
  SysFreeString(name);
  com::clear(schema);
}

TEST_F(HostTest, ServersErrorsAreTheLastError) {
  comServer.failAt(3, ScriptedConnection::Fault::open);
  server.failAt(3, ScriptedConnection::Fault::open);
  EXPECT_EQ(fetch(&typedSink), static_cast<bool>(reader.Fetch(sink)));
  EXPECT_EQ(textFrom(*hosted, &_cASE_Fetch::get_LastError), lastError());
  EXPECT_THAT(lastError(), ::testing::HasSubstr("9999"));
}

TEST_F(HostTest, CancelFromTheSinkEndsTheFetchAndASinksFailureIsTheHosts) {
  comSink.onEvent = [&](int number, const std::string&) {
    if (number == 3) expectDone(hosted->Cancel());
  };
  EXPECT_TRUE(fetch(&typedSink));
  EXPECT_TRUE(fetched().Views.empty());
  comSink.onEvent = nullptr;
  typedSink.failure = static_cast<HRESULT>(0x800A1234);
  VARIANT_BOOL result = 0;
  EXPECT_EQ(hosted->Fetch(&typedSink, &result), static_cast<HRESULT>(0x800A1234));
  EXPECT_EQ(errorInformation(), "Kelvane: The progress sink failed");
  const auto failing = AutomationObject::make({{L"StartProcessing", [](auto&, VARIANT&) {
                                                  throw RuntimeError(1000, u"Enough", u"Sink");
                                                }}});
  EXPECT_EQ(hosted->Fetch(failing.get(), &result), static_cast<HRESULT>(0x800A03E8));
  EXPECT_EQ(errorInformation(), "Sink: Enough");
}

// What a button of the host would do.
::IDBFetch* reading = nullptr;
LRESULT CALLBACK cancelReading(HWND, UINT message, WPARAM, LPARAM) {
  if (message == WM_APP) reading->Cancel();
  return 0;
}

TEST_F(HostTest, MessagesOfTheThreadAreHandledBetweenObjects) {
  const auto window = std::unique_ptr<HWND__, decltype(&DestroyWindow)>(
      CreateWindowExW(0, L"STATIC", nullptr, 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr,
                      nullptr),
      DestroyWindow);
  ASSERT_TRUE(window);
  reading = hosted.get();
  SetWindowLongPtrW(window.get(), GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(cancelReading));
  PostMessageW(window.get(), WM_APP, 0, 0);
  EXPECT_TRUE(fetch(&typedSink));
  EXPECT_FALSE(fetched().Tables.empty());
  EXPECT_TRUE(fetched().Tables[1].Columns.empty());
  EXPECT_TRUE(fetched().Views.empty());
}

TEST_F(HostTest, CompareGivesTheDifferencesOfTheComponent) {
  ASSERT_TRUE(fetch(&typedSink));
  const auto engine = createObject<_cCompareSchema>(__uuidof(::cCompareSchema));
  ::Schema source, target{};
  expectDone(hosted->GetSchema(&source));
  VARIANT_BOOL result = 77;
  expectDone(engine->Compare(&source, &target, ::output_DiffText, &result));
  EXPECT_EQ(result, VARIANT_FALSE);
  EXPECT_EQ(textFrom(*engine, &_cCompareSchema::get_LastError), "Compare Options are not set");
  expectDone(engine->putref_CompareOptions(options.get()));

  // Another text of a view, but for blanks.
  Schema changed = com::fromHost(source);
  changed.Views[1].Definition += u"  ";
  changed.Tables[1].Columns[1].Length = 99;
  com::toHost(changed, target);
  EXPECT_EQ(engine->Compare(&source, &target, ::output_DiffText, &result),
            static_cast<HRESULT>(0x800A005B));
  const auto different = [&] {
    return recordFrom<::diffSchema>(*engine, &_cCompareSchema::get_Results);
  };
  EXPECT_EQ(different().TableCount, 1);
  bool ignoresSpaces = false;
  const auto flag = [&](auto&, VARIANT& answer) { give(answer, Boolean(ignoresSpaces)); };
  const auto preferences = AutomationObject::make(
      {{L"IgnoreTabs", flag}, {L"IgnoreSpaces", flag}, {L"IgnoreLineBreaks", flag}});
  expectDone(engine->putref_AppPreferences(preferences.get()));
  ignoresSpaces = true;
  expectDone(engine->Compare(&source, &target, ::output_DiffText, &result));
  EXPECT_EQ(different().ViewCount, 0);
  ignoresSpaces = false;
  expectDone(engine->Compare(&source, &target, ::output_DiffText, &result));
  EXPECT_EQ(different().ViewCount, 1);

  struct Preferences : AppPreferences {
  } own;
  cCompareSchema native;
  native.CompareOptions = reader.CompareOptions();
  native.AppPreferences = &own;
  const auto fresh = createObject<_cCompareSchema>(__uuidof(::cCompareSchema));
  expectDone(fresh->putref_CompareOptions(options.get()));
  expectDone(fresh->putref_AppPreferences(preferences.get()));
  ::Schema empty{};
  for (::Schema* other : {&target, &empty}) {
    expectDone(fresh->Compare(&source, other, ::output_DiffHTML, &result));
    native.Compare(com::fromHost(source), com::fromHost(*other));
    EXPECT_TRUE(recordFrom<::diffSchema>(*fresh, &_cCompareSchema::get_Results) ==
                native.Results());
  }
  Pointer<_cCompareDiff> collector;
  expectDone(fresh->get_cCompareDifference(collector.receive()));
  EXPECT_TRUE(recordFrom<::diffSchema>(*collector, &_cCompareDiff::GetDifferences) ==
              native.Results());
  SAFEARRAY* flat = reinterpret_cast<SAFEARRAY*>(1);
  expectDone(fresh->GetArrayOfDifferences(&flat));
  EXPECT_EQ(flat, nullptr);
  com::clear(source);
  com::clear(target);
}

// An array of tables, of which the one at index 1 is named.
SAFEARRAY* tables(std::vector<SAFEARRAYBOUND> bounds) {
  const GUID id{0x2590cae9, 0x6f4c, 0x4bda, {0xae, 0xd6, 0x9c, 0xb1, 0xbc, 0xfa, 0x01, 11}};
  Pointer<IRecordInfo> description;
  expectDone(GetRecordInfoFromTypeInfo(com::describe(id).get(), description.receive()));
  SAFEARRAY* array = SafeArrayCreateEx(VT_RECORD, static_cast<UINT>(bounds.size()), bounds.data(),
                                       description.get());
  LONG first = 1;
  void* table = nullptr;
  if (array && bounds.size() == 1 && SafeArrayPtrOfIndex(array, &first, &table) == S_OK)
    static_cast<::Table*>(table)->FullName = com::newText(u"dbo.first");
  return array;
}

TEST(Records, ArraysAreReadFromIndexOneOn) {
  constexpr LONG kLeast = std::numeric_limits<LONG>::min(),
                 kMost = std::numeric_limits<LONG>::max();
  constexpr std::int32_t kNone = 0, kShape = -13, kBounds = -9;
  const struct {
    std::vector<SAFEARRAYBOUND> bounds;
    std::int32_t expected;  // how many tables, or minus the error's number
  } cases[] = {
      {{{2, 1}}, 2},
      {{{3, 0}}, 2},
      {{{3, -5}}, kNone},
      {{{7, -5}}, 1},
      {{{6, -5}}, kNone},
      {{{5, kLeast}}, kNone},
      {{{0, 1}}, kNone},
      {{{0, 2}}, kNone},
      {{{0, -3}}, kNone},
      {{{1, 2}}, kBounds},
      {{{1, 1000000}}, kBounds},
      {{{1, kMost}}, kBounds},
      {{{2, kMost}}, kShape},
      {{{2, 1}, {2, 1}}, kShape},
  };
  const auto engine = createObject<_cCompareSchema>(__uuidof(::cCompareSchema));
  for (const auto& one : cases) {
    ::Schema schema{};
    schema.Tables = tables(one.bounds);
    SCOPED_TRACE(std::to_string(one.bounds[0].cElements) + " from " +
                 std::to_string(one.bounds[0].lLbound));
    ASSERT_TRUE(schema.Tables);
    ::Schema other{};
    VARIANT_BOOL result = VARIANT_FALSE;
    const HRESULT compared = engine->Compare(&other, &schema, ::output_DiffText, &result);
    if (one.expected < 0) {
      EXPECT_EQ(compared, static_cast<HRESULT>(0x800A0000) - one.expected);
      EXPECT_THAT(errorInformation(), ::testing::StartsWith("Kelvane: An array of the record "));
    } else {
      EXPECT_EQ(compared, S_OK);
      const Schema read = com::fromHost(schema);
      EXPECT_EQ(read.Tables.count(), one.expected);
      if (one.expected > 0) {
        EXPECT_EQ(read.Tables[1].FullName, u"dbo.first");
      }
    }
    com::clear(schema);
  }
}

TEST_F(HostTest, RecordsDoNotLeak) {
  ASSERT_TRUE(fetch(&typedSink));
  const auto used = [] {
    PROCESS_MEMORY_COUNTERS counters{};
    GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters);
    return counters.PagefileUsage;
  };
  const auto engine = createObject<_cCompareSchema>(__uuidof(::cCompareSchema));
  const auto no = [](auto&, VARIANT& answer) { give(answer, False); };
  const auto preferences = AutomationObject::make(
      {{L"IgnoreTabs", no}, {L"IgnoreSpaces", no}, {L"IgnoreLineBreaks", no}});
  expectDone(engine->putref_CompareOptions(options.get()));
  expectDone(engine->putref_AppPreferences(preferences.get()));
  const auto round = [&] {
    for (int times = 0; times < 500; ++times) {
      const Schema schema = fetched();
      ::Schema written;
      com::toHost(schema, written);
      VARIANT_BOOL result = VARIANT_FALSE;
      expectDone(engine->Compare(&written, &written, ::output_DiffTree, &result));
      com::clear(written);
    }
  };
  round();
  const SIZE_T before = used();
  for (int rounds = 0; rounds < 4; ++rounds) round();
  EXPECT_LT(used(), before + SIZE_T{256} * 1024);
}

TEST_F(HostTest, TableDataIsReadInBlocksUnderTheHostsLimits) {
  std::string rows = "id\n";
  for (int i = 0; i < 1300; ++i) rows += " " + std::to_string(i) + "\n";
  ScriptedConnection left, right;
  for (ScriptedConnection* one : {&left, &right})
    one->on("SELECT name FROM sysobjects WHERE type='U' order by name", "name\n t")
        .on("select * from t", rows);
  int asked = 0;
  const auto yes = [&](auto&, VARIANT& answer) {
    ++asked;
    give(answer, True);
  };
  const auto no = [](auto&, VARIANT& answer) { give(answer, False); };
  const auto many = [](auto&, VARIANT& answer) { give(answer, std::int32_t{1200}); };
  const auto preferences = AutomationObject::make({{L"LimitDataCompareRows", yes},
                                                   {L"MaxDataCompareRows", many},
                                                   {L"LimitDataCompareDifferences", no},
                                                   {L"MaxDataCompareDifferences", many}});
  const auto comparison = createObject<_cTableComparison>(__uuidof(::cTableComparison));
  expectDone(comparison->putref_ConnSource(ado.connection(left).get()));
  expectDone(comparison->putref_ConnTarget(ado.connection(right).get()));
  expectDone(comparison->putref_AppPreferences(preferences.get()));
  VARIANT_BOOL result = 77;
  expectDone(comparison->Compare(&result));
  EXPECT_EQ(result, VARIANT_FALSE);
  EXPECT_EQ(asked, 1201);  // before each row, and the one that is too many
  EXPECT_EQ(left.sent().back().mode.cursorType, ado::CursorType::forwardOnly);
}

}  // namespace
}  // namespace kelvane::testing
