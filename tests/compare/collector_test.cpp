// What the collector does with paths, owners, letter case and values.
#include <algorithm>
#include <gmock/gmock.h>
#include <random>

#include "diff/compare_diff.h"
#include "model/text.h"
#include "support.h"

namespace kelvane::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr auto kLengthsDiffer = "Array bounds are not identical, can't use this description";
constexpr auto kNothingPassed = "Nothing was passed in, can't use this description";
constexpr auto kNeverHappens = "THIS SHOULD NEVER HAPPEN";

class CollectorTest : public testing::Test {
 protected:
  void add(std::u16string_view types, std::u16string_view names, std::u16string_view label = u"X") {
    collector_.Add(u"", label, types, names, location_Source, diff_DoesNotExist);
  }
  std::vector<std::string> found() { return lines(collector_.GetDifferences()); }

  RecordingHost host_;
  cCompareDiff collector_{host_};
};

TEST_F(CollectorTest, PathsThatLeadNowhereAreReportedOnceAndIgnored) {
  struct Case {
    std::u16string_view types, names;
    std::string message;
  };
  for (const Case& one : {Case{u"Table", u"", kLengthsDiffer},
                          {u"", u"t", kLengthsDiffer},
                          {u"Table", u"a\\b", kLengthsDiffer},
                          {u"Table\\Column", u"a\\b\\c", kLengthsDiffer},
                          {u"", u"", kNothingPassed},
                          {u"Server", u"t", kNeverHappens},
                          {u"Server\\Column", u"t\\c", kNeverHappens},
                          {u"\\", u"\\", kNeverHappens}}) {
    add(one.types, one.names);
    EXPECT_THAT(host_.messages, ElementsAre(one.message));
    EXPECT_EQ(collector_.GetDifferences(), diffSchema{});
    host_.messages.clear();
  }
}

TEST_F(CollectorTest, AnUnknownSecondWordLeavesTheObjectWithoutDifferences) {
  add(u"Table\\Data", u"t\\1");
  add(u"View\\Parameter", u"v\\c");
  EXPECT_THAT(host_.messages, IsEmpty());
  add(u"uddt\\anything", u"d\\x");
  EXPECT_THAT(host_.messages, ElementsAre(kNeverHappens));
  const diffSchema result = collector_.GetDifferences();
  EXPECT_EQ(result.TableCount, 1);
  EXPECT_EQ(result.Tables[1].DataCount, 0);
  EXPECT_EQ(result.ViewCount, 1);
  EXPECT_EQ(result.UDDTCount, 1);
  EXPECT_THAT(lines(result), IsEmpty());
}

TEST_F(CollectorTest, ObjectsAreToldApartByOwnerAndName) {
  collector_.Owner(u"A");
  add(u"Table\\Column", u"T\\C");
  add(u"TABLE\\cOLUMN", u"T\\C\\deeper", u"lengths differ");
  add(u"Table\\Column\\Deeper", u"T\\C\\ignored", u"Y");
  collector_.Owner(u"B");
  add(u"Table", u"T");
  add(u"Table\\Reference", u"T\\");
  EXPECT_THAT(found(), ElementsAre("Table A.T Columns C: X is on source only",
                                   "Table A.T Columns C: Y is on source only",
                                   "Table B.T: X is on source only",
                                   "Table B.T References : X is on source only"));
}

TEST_F(CollectorTest, UsersAndRolesAreKeyedByNameAndOnlyRolesKeepTheOwner) {
  for (const auto* owner : {u"x", u"y"}) {
    collector_.Owner(owner);
    add(u"User", u"n");
    add(u"Role", u"n");
  }
  const diffSchema result = collector_.GetDifferences();
  ASSERT_EQ(result.UserCount, 1);
  EXPECT_EQ(result.Users[1].Owner, u"");
  EXPECT_EQ(result.Users[1].FullName, u"n");
  EXPECT_EQ(result.Users[1].DiffCount, 2);
  ASSERT_EQ(result.GroupCount, 1);
  EXPECT_EQ(result.Groups[1].Owner, u"x");
  EXPECT_EQ(result.Groups[1].FullName, u"n");
}

// Under changing ways to compare the names of objects, against plain scans.
TEST_F(CollectorTest, EntriesAreTheFirstThatMatch) {
  struct Entry {
    std::u16string fullName;
    std::vector<std::u16string> columns;
  };
  std::vector<Entry> expected[2];
  std::mt19937 dice(1);
  CaseMode mode = CaseMode::exact;
  for (int call = 0; call < 2000; ++call) {
    if (dice() % 50 == 0) mode = mode == CaseMode::exact ? CaseMode::ignore : CaseMode::exact;
    collector_.IsSchemaCaseSensitive(mode == CaseMode::exact);
    const std::u16string name(1, u"abcdefghijABCDEFGHIJ\u00e9\u00c9"[dice() % 22]);
    const std::u16string column = decimalText(dice() % 15) + (dice() % 2 ? u"c" : u"C");
    const std::size_t kind = dice() % 2;
    add(kind == 0 ? u"Table\\Column" : u"View\\Column", name + u"\\" + column);

    auto& entries = expected[kind];
    auto entry = std::find_if(entries.begin(), entries.end(), [&](const Entry& one) {
      return equalText(one.fullName, u"." + name, mode);
    });
    if (entry == entries.end()) entry = entries.insert(entry, {u"." + name, {}});
    if (!std::count(entry->columns.begin(), entry->columns.end(), column))
      entry->columns.push_back(column);
  }
  const auto expectEntries = [](const auto& found, const std::vector<Entry>& entries) {
    ASSERT_EQ(static_cast<std::size_t>(found.count()), entries.size());
    for (const auto& entity : found) {
      const Entry& entry = entries[static_cast<std::size_t>(&entity - found.begin())];
      EXPECT_EQ(entity.FullName, entry.fullName);
      std::vector<std::u16string> columns;
      for (const diffEntity& column : entity.Columns) columns.push_back(column.Name);
      EXPECT_EQ(columns, entry.columns);
    }
  };
  const diffSchema result = collector_.GetDifferences();
  expectEntries(result.Tables, expected[0]);
  expectEntries(result.Views, expected[1]);
}

TEST_F(CollectorTest, ValuesBecomeText) {
  collector_.Add(u"", u"L", u"UDDT", u"d", location_Source, diff_Different, std::int16_t{-7}, True);
  collector_.Add(u"", u"L", u"UDDT", u"d", location_Source, diff_Different, u"text", False);
  collector_.Add(u"", u"L", u"UDDT", u"d", location_Source, diff_Different, true, false);
  collector_.Add(u"", u"L", u"UDDT", u"d");
  EXPECT_THAT(found(), ElementsAre("UDDT .d: L [-7] [True]", "UDDT .d: L [text] [False]",
                                   "UDDT .d: L [True] [False]", "UDDT .d: L [] []"));
}

TEST_F(CollectorTest, CopiesAreIndependentOfWhatFollows) {
  add(u"Table\\Column", u"t\\c");
  const diffSchema first = collector_.GetDifferences();
  diffSchema second = collector_.GetDifferences();
  EXPECT_EQ(first, second);
  second.Tables[1].Columns[1].Diff[1].SubEntityType = u"changed";
  add(u"Table\\Column", u"t\\c");
  EXPECT_EQ(first.Tables[1].Columns[1].DiffCount, 1);
  EXPECT_EQ(first.Tables[1].Columns[1].Diff[1].SubEntityType, u"X");
  EXPECT_EQ(collector_.GetDifferences().Tables[1].Columns[1].DiffCount, 2);
}

}  // namespace
}  // namespace kelvane::test
