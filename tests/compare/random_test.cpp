// Small random schemas and random calls, against plain scans: duplicates, letter case, empty names
// and names with separators included.
#include <random>

#include <gtest/gtest.h>

#include "reference.h"
#include "support.h"

namespace kelvane::test {
namespace {

class Dice {
 public:
  explicit Dice(unsigned seed) : engine_(seed) {}
  int upTo(int most) { return static_cast<int>(engine_() % static_cast<unsigned>(most + 1)); }
  bool rarely() { return upTo(7) == 0; }
  Boolean flag() { return upTo(1) == 1; }
  std::u16string name() {
    static const std::u16string kNames[] = {
        u"a", u"A", u"\u00e9", u"\u00c9", u"customer_name", u"CUSTOMER_NAME",
        u"b", u"c", u"d",      u"e"};
    if (rarely()) return rarely() ? u"" : u"x\\y";
    return kNames[upTo(9)];
  }
  std::u16string owner() { return rarely() ? u"DBO" : u"dbo"; }
  std::u16string text() { return rarely() ? u"t \t\r\nT" : flag() ? u"tT" : u"t T"; }

  template <class Record>
  Array<Record> list(int most, Record (Dice::*one)()) {
    Array<Record> records;
    for (int left = upTo(most); left > 0; --left) records.append((this->*one)());
    return records;
  }
  Column column() { return {name(), text(), upTo(1), 0, 0, flag(), u"", 0}; }
  Schema schema() {
    Schema made;
    made.Tables = list(4, &Dice::table);
    made.Groups = list(3, &Dice::role);
    return made;
  }
  // The schema with some records taken over from another: most things then stand at their place.
  Schema variation(const Schema& schema, const Schema& other) {
    Schema result = schema;
    for (int i = 1; i <= std::min(result.Tables.count(), other.Tables.count()); ++i)
      if (flag()) result.Tables[i].Columns = other.Tables[i].Columns;
    if (!result.Tables.empty() && !result.Tables[1].Columns.empty())
      result.Tables[1].Columns[1].Length = 9;
    if (flag()) result.Groups = other.Groups;
    return result;
  }

 private:
  index keys() { return {name(), name(), text()}; }
  Trigger trigger() { return {name(), text(), flag(), flag(), flag()}; }
  PermissionEntity permission() {
    PermissionEntity granted;
    granted.EntityName = name();
    granted.EntityOwner = owner();
    granted.Delete = flag();
    return granted;
  }
  Table table() {
    Table made;
    made.Name = name();
    made.Owner = owner();
    made.Columns = list(rarely() ? 40 : 5, &Dice::column);
    made.Indexes = list(3, &Dice::keys);
    made.Triggers = list(3, &Dice::trigger);
    made.Miscallaneous = {upTo(1), upTo(1)};
    return made;
  }
  User member() { return {name(), owner(), u"", {}}; }
  Group role() {
    Permission granted;
    granted.PermissionEntities = list(4, &Dice::permission);
    return {name(), owner(), u"", list(3, &Dice::member), granted};
  }

  std::mt19937 engine_;
};

TEST(RandomTest, CompareAgreesWithPlainScans) {
  for (unsigned seed = 1; seed <= 600; ++seed) {
    Dice dice(seed);
    const Schema source = dice.schema();
    const Schema other = dice.schema();
    const Schema target = dice.flag() ? dice.variation(source, other) : other;
    cComparisonOptions options;
    for (const Switch& one : kSwitches) options.*one.value = !dice.rarely();
    Preferences preferences;
    preferences.tabs = dice.flag();
    preferences.spaces = dice.flag();
    preferences.lineBreaks = dice.flag();
    for (const CaseMode mode : {CaseMode::exact, CaseMode::ignore}) {
      const diffSchema expected = scanningCompare(source, target, options, mode, preferences);
      const diffSchema found =
          differences(source, target, options, mode == CaseMode::exact, preferences);
      ASSERT_EQ(lines(found), lines(expected)) << "seed " << seed;
      ASSERT_TRUE(found == expected) << "seed " << seed;
    }
  }
}

TEST(RandomTest, TheCollectorAgreesWithPlainScans) {
  const std::u16string kinds[] = {u"Table", u"vIEW", u"StoredProc", u"Function", u"UDDT",
                                  u"User",  u"Role", u"Nothing",    u"",         u"table"};
  const std::u16string parts[] = {
      u"Column",    u"PrimaryKey",       u"foreignkey",       u"Trigger", u"Index",
      u"REFERENCE", u"SystemPermission", u"ObjectPermission", u"User",    u"Parameter",
      u"Data",      u"Column\\More"};
  for (unsigned seed = 1; seed <= 100; ++seed) {
    Dice dice(seed);
    RecordingHost host;
    cCompareDiff collector(host);
    ScanningCollector reference;
    for (int call = 0; call < 200; ++call) {
      if (dice.rarely()) {
        const Boolean exact = dice.flag();
        collector.IsSchemaCaseSensitive(exact);
        reference.mode = exact ? CaseMode::exact : CaseMode::ignore;
      }
      reference.owner = dice.owner();
      collector.Owner(reference.owner);
      std::u16string types = kinds[dice.flag() ? dice.upTo(1) : dice.upTo(9)];
      std::u16string names = dice.name();
      if (!dice.rarely()) {
        types += u"\\" + parts[dice.flag() ? 0 : dice.upTo(11)];
        names += u"\\" + dice.name() + (dice.flag() ? u"" : dice.name());
        if (types.ends_with(u"More")) names += u"\\" + dice.name();
      }
      const auto side = dice.flag() ? location_Source : location_target;
      collector.Add(u"", u"label", types, names, side, diff_Different, call, u"");
      reference.add(u"label", types, names, side, diff_Different, call, u"");
    }
    ASSERT_TRUE(collector.GetDifferences() == reference.result) << "seed " << seed;
  }
}

}  // namespace
}  // namespace kelvane::test
