// The comparison's own members, how objects are matched, and what the host lends it.
#include <gmock/gmock.h>

#include "model/runtime_error.h"
#include "support.h"

namespace kelvane::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

Schema withTables(std::initializer_list<std::pair<const char16_t*, const char16_t*>> tables) {
  Schema schema;
  for (const auto& [owner, name] : tables) {
    Table table;
    table.Name = name;
    table.Owner = owner;
    schema.Tables.append(table);
  }
  return schema;
}

TEST(DriverTest, ObjectsMatchByNameAndOwnerUnderTheModeInForce) {
  const Schema upper = withTables({{u"dbo", u"ORDERS"}});
  const Schema lower = withTables({{u"DBO", u"orders"}});
  EXPECT_THAT(linesOf(upper, lower), ElementsAre("Table dbo.ORDERS: is on source only",
                                                 "Table DBO.orders: is on target only"));
  EXPECT_THAT(linesOf(upper, lower, False), IsEmpty());
  EXPECT_THAT(linesOf(withTables({{u"a", u"t"}}), withTables({{u"b", u"t"}}), False),
              ElementsAre("Table a.t: is on source only", "Table b.t: is on target only"));
}

TEST(DriverTest, OwnersThatDifferInCaseAreReportedWhereOwnersMatter) {
  Schema target = sample();
  target.Views[1].Owner = target.StoredProcs[1].Owner = target.Functions[1].Owner =
      target.UDDTs[1].Owner = target.Tables[1].Owner = u"DBO";
  cComparisonOptions options = *allOptions();
  options.Views_Definition = options.UDDTs_Definition = False;
  EXPECT_THAT(
      lines(differences(sample(), target, options, False)),
      ElementsAre("View dbo.v: Owner [dbo] [DBO]", "StoredProc dbo.p: Owner [dbo] [DBO]",
                  "Function dbo.f: Owner [dbo] [DBO]", "UDDT dbo.money2: Owner [dbo] [DBO]"));
}

TEST(DriverTest, SwappedSidesMirror) {
  const Schema full = sample();
  std::vector<std::string> gone = linesOf(full, Schema{});
  EXPECT_EQ(gone.size(), 7u);
  for (std::string& line : gone) line.replace(line.find("source"), 6, "target");
  EXPECT_EQ(linesOf(Schema{}, full), gone);

  Schema changed = full;
  changed.Tables[1].Columns[1].Length = 8;
  changed.UDDTs[1].BoundRule = u"s";
  EXPECT_THAT(linesOf(full, changed), ElementsAre("Table dbo.orders Columns id: Length [4] [8]",
                                                  "UDDT dbo.money2: Bound Rule [r] [s]"));
  EXPECT_THAT(linesOf(changed, full), ElementsAre("Table dbo.orders Columns id: Length [8] [4]",
                                                  "UDDT dbo.money2: Bound Rule [s] [r]"));
}

TEST(DriverTest, DefinitionsLeaveOutWhatThePreferencesIgnore) {
  struct Case {
    const char16_t *a, *b;
    Boolean Preferences::*ignoring;  // with this alone the two are equal, without it they differ
  };
  for (const Case& one : {Case{u"a\tb", u"ab\t\t", &Preferences::tabs},
                          {u"a b", u"ab", &Preferences::spaces},
                          {u"a\r\nb\r", u"\na\nb", &Preferences::lineBreaks},
                          {u"", u"\n", &Preferences::lineBreaks}}) {
    Schema source = sample(), target = source;
    source.Views[1].Definition = source.Tables[1].Triggers[1].Definition = one.a;
    target.Views[1].Definition = target.Tables[1].Triggers[1].Definition = one.b;
    Preferences preferences;
    preferences.tabs = preferences.spaces = preferences.lineBreaks = True;
    preferences.*one.ignoring = False;
    EXPECT_EQ(linesOf(source, target, False, preferences).size(), 2u);
    preferences = {};
    preferences.*one.ignoring = True;
    EXPECT_THAT(linesOf(source, target, True, preferences), IsEmpty());
    target.Views[1].Definition += u"x";
    EXPECT_EQ(linesOf(source, target, True, preferences).size(), 1u);
  }
}

TEST(DriverTest, WithoutOptionsOrPreferencesItSaysSo) {
  cCompareSchema engine;
  EXPECT_FALSE(engine.Compare(sample(), Schema{}));
  EXPECT_EQ(engine.LastError(), u"Compare Options are not set");
  EXPECT_EQ(engine.Results(), diffSchema{});

  engine.CompareOptions = allOptions();
  Schema target = sample();
  target.Tables[1].Columns[1].Length = 9;
  try {
    engine.Compare(sample(), target);
    FAIL() << "definitions were compared without preferences";
  } catch (const RuntimeError& error) {
    EXPECT_EQ(error.Number(), static_cast<std::int32_t>(ErrorNumber::notSet));
  }
  EXPECT_THAT(lines(engine.Results()), ElementsAre("Table dbo.orders Columns id: Length [4] [9]"));

  EXPECT_TRUE(engine.Compare(Schema{}, Schema{}, output_DiffTree));
  EXPECT_EQ(engine.LastError(), u"Compare Options are not set");
}

TEST(DriverTest, EveryCompareAddsToTheOneCollector) {
  cCompareSchema engine;
  const auto collector = engine.cCompareDifference();
  EXPECT_EQ(collector->IsSchemaCaseSensitive(), True);
  engine.CompareOptions = allOptions();
  engine.Compare(withTables({{u"dbo", u"a"}}), withTables({{u"x", u"b"}, {u"dbo", u"a"}}));
  EXPECT_EQ(collector->Entity(), u"a");  // the last that was visited
  EXPECT_EQ(collector->Owner(), u"dbo");
  engine.IsSchemaCaseSensitive(False);
  EXPECT_EQ(collector->IsSchemaCaseSensitive(), False);
  engine.Cancel();
  engine.Compare(withTables({{u"X", u"B"}}), Schema{});
  EXPECT_EQ(engine.cCompareDifference(), collector);
  EXPECT_THAT(lines(engine.Results()),
              ElementsAre("Table x.b: is on target only", "Table x.b: is on source only"));
  EXPECT_TRUE(engine.GetArrayOfDifferences().empty());
}

TEST(DriverTest, IndentsWithNonBreakingSpaces) {
  struct Engine : cCompareSchema {
    using cCompareSchema::NbspIndent;
  };
  EXPECT_EQ(Engine::NbspIndent(2), u"&nbsp;&nbsp;");
  EXPECT_EQ(Engine::NbspIndent(-1), u"");
}

// A host that starts another comparison on the same engine while a message is shown.
TEST(DriverTest, AHostMayCompareAgainFromWithinAMessageBox) {
  struct ReentrantHost : RecordingHost {
    void MessageBox(std::u16string_view text, MessageIcon icon) override {
      RecordingHost::MessageBox(text, icon);
      if (messages.size() == 1) engine->Compare(Schema{}, withTables({{u"dbo", u"inner"}}));
      *outer = Schema{};
    }
    cCompareSchema* engine = nullptr;
    Schema* outer = nullptr;
  } host;
  cCompareSchema engine(host);
  engine.CompareOptions = allOptions();
  Schema source = withTables({{u"dbo", u"back\\slash"}, {u"dbo", u"after"}});
  host.engine = &engine;
  host.outer = &source;
  engine.Compare(source, Schema{});
  EXPECT_THAT(lines(engine.Results()), ElementsAre("Table dbo.inner: is on target only",
                                                   "Table dbo.after: is on source only"));
}

}  // namespace
}  // namespace kelvane::test
