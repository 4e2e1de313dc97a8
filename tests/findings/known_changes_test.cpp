// Known differences: every difference has a line that accepts it alone, bad lines are refused, and
// a list is brought up to date without losing what people wrote.
#include "findings/known_changes.h"

#include <gtest/gtest.h>
#include <sstream>

#include "inventory/compare/compare.h"
#include "tests/support/made_inventory.h"

namespace kelvane::findings {
namespace {

using namespace std::chrono_literals;
using inventory::Change;
using inventory::testing::MadeInventories;

constexpr auto kToday = 2026y / 6 / 15;

std::string written(const std::vector<Change>& changes, const KnownChanges& list = {},
                    const KnownChanges& others = {}, bool couldBeFound = true) {
  std::ostringstream out;
  writeKnownChanges(
      changes, list, others, [&](const KnownChange&) { return couldBeFound; }, out);
  return out.str();
}

// Names and values that look like the signs of the file, and an index with parts of its own.
MadeInventories oddInventories() {
  MadeInventories made;
  made.source.tables.push_back(inventory::testing::table("a # b, \"c\": d -> *"));
  made.target.tables.push_back(inventory::testing::table("\xC3\xA9\u200B\n end"));
  inventory::Table odd = inventory::testing::table("odd");
  const std::pair<std::string, std::string> defaults[] = {
      {"", "*"},
      {"*", ""},
      {"only", "until"},
      {"until", "in"},
      {"<3 characters, 0>", "->"},
      {"-", "-1"},
      {"a ", "a"},
      {std::string(100, 'x') + "y", std::string(100, 'x') + "z"}};
  for (std::size_t at = 0; at < std::size(defaults); ++at)
    odd.columns.push_back(inventory::testing::column(std::to_string(at), "int"));
  inventory::Index index;
  index.name = "local";
  index.partitions = {{{"p", false}, "", "default"}};
  odd.indexes = {index};
  for (std::size_t at = 0; at < std::size(defaults); ++at)
    odd.columns[at].defaultValue = inventory::DefaultValue{defaults[at].first, {}};
  made.source.tables.push_back(odd);
  for (std::size_t at = 0; at < std::size(defaults); ++at)
    odd.columns[at].defaultValue = inventory::DefaultValue{defaults[at].second, {}};
  odd.indexes[0].partitions[0].segment = "other";
  made.target.tables.push_back(odd);
  return made;
}

TEST(KnownChanges, AreWrittenAsPeopleReadThem) {
  const MadeInventories made;
  std::string file = written(compare(made.source, made.target));
  const std::string reason = "  # not explained yet\n";
  for (std::size_t at = file.find(reason); at != file.npos; at = file.find(reason, at))
    file.replace(at, reason.size(), "\n");
  EXPECT_EQ("\n" + file, R"~(
# Accepted differences, one per line, each with a reason after '#'. The optional last day
# comes before that: until 2027-01-31. '*' instead of both values accepts any values.
database, option "allow nulls by default": only in source
table dbo.customer, lock: allpages -> datarows
table dbo.customer, column phone, type: "char(16) not null" -> "varchar(20) null"
table dbo.customer, column phone, default: "" -> "' '"
table dbo.customer, column fax: only in source
table dbo.customer, column note, rule: "" -> dbo.note_rule
table dbo.customer, column birthday: only in target
table dbo.customer, primary-key "(id)", columns: "(id)" -> "(id, phone)"
table dbo.customer, constraint uq_phone, fillfactor: "" -> 80
table dbo.customer, foreign-key "(id) references dbo.person (id)": only in target
table dbo.customer, check "(id > 0)": only in source
table dbo.customer, index ix: only in target
table dbo.customer, trigger dbo.tr: only in target
table dbo.customer, permission "grant select (id, fax) to clerks with grant option": only in source
table dbo.customer, permission "grant update to clerks", columns: "(id)" -> ""
table dbo.customer, permission "revoke delete from ann granted by anna": only in target
table dbo.gone: only in source
table dbo.come: only in target
view dbo.big, definition: <4 characters, a6bfccd58028ca95> -> <4 characters, 87d22de55d850d76>
view dbo.hidden, definition: "create view" -> "(hidden)"
type dbo.code, base: "char not null" -> "char null"
type dbo.code, default: "" -> dbo.d
type dbo.amount: only in target
user ann: only in source
message "20001 (us_english)", text: "no such %1!" -> "no such\t%1!"
)~");
}

TEST(KnownChanges, EachLineAcceptsItsDifferenceAndNoOther) {
  const MadeInventories made = oddInventories();
  const std::vector<Change> changes = compare(made.source, made.target);
  const std::string file = written(changes);
  const std::vector<KnownChange> known = readKnownChanges(file).known;
  ASSERT_EQ(known.size(), countOf(changes)) << file;
  ASSERT_EQ(known.size(), 36U);

  const ChangeAcceptance all = accept(changes, known, kToday);
  EXPECT_TRUE(all.rest.empty());
  EXPECT_EQ(all.accepted.size(), known.size());
  EXPECT_EQ(all.accepted[1].difference, "table dbo.customer, lock: allpages -> datarows");
  EXPECT_TRUE(all.unused.empty());
  for (std::size_t without = 0; without < known.size(); ++without) {
    auto others = known;
    others.erase(others.begin() + static_cast<std::ptrdiff_t>(without));
    const ChangeAcceptance some = accept(changes, others, kToday);
    EXPECT_EQ(countOf(some.rest), 1U) << known[without].difference;
    EXPECT_EQ(some.accepted.size(), others.size());
  }
  EXPECT_EQ(countOf(accept(changes, {}, kToday).rest), known.size());
}

TEST(KnownChanges, AStarAcceptsAnyValuesUntilItsLastDay) {
  const MadeInventories made;
  const std::vector<Change> changes = compare(made.source, made.target);
  const auto known = readKnownChanges(
                         "table dbo.customer, lock: * until 2026-06-15 # a\n"
                         "table dbo.customer, lock: datarows -> allpages # b\n")
                         .known;
  const ChangeAcceptance today = accept(changes, known, kToday);
  ASSERT_EQ(today.accepted.size(), 1U);
  EXPECT_EQ(today.accepted[0].reason, "a");
  EXPECT_EQ(today.accepted[0].until, "2026-06-15");
  EXPECT_EQ(today.unused, std::vector{&known[1]});
  const ChangeAcceptance later = accept(changes, known, 2026y / 6 / 16);
  EXPECT_TRUE(later.accepted.empty());
  EXPECT_EQ(later.expired, std::vector{&known[0]});
}

TEST(KnownChanges, AnUpdateKeepsWhatPeopleWrote) {
  const MadeInventories made;
  std::vector<Change> changes = compare(made.source, made.target);
  std::erase_if(changes, [](const Change& one) { return one.kind != inventory::Kind::type; });
  const std::string file =
      "# ours\r\ntype  dbo.code,  base: * # the old one\r\ntype dbo.x: only in source # gone\r\n";
  const KnownChanges list = readKnownChanges(file);
  EXPECT_EQ(written(changes, list),
            "# ours\r\ntype  dbo.code,  base: * # the old one\r\n"
            "type dbo.code, default: \"\" -> dbo.d  # not explained yet\r\n"
            "type dbo.amount: only in target  # not explained yet\r\n");
  EXPECT_NE(written(changes, list, {}, false).find("dbo.x"), std::string::npos);
  EXPECT_NE(written(changes, {}, list).find("# the old one"), std::string::npos);
}

TEST(KnownChanges, BadLinesSayWhatIsExpected) {
  const struct {
    std::string line, complaint;
  } cases[] = {
      {"tabel x: only in source # r", "'tabel' is not a kind of object such as table"},
      {"column x: only in source # r", "'column' is not a kind of object such as table"},
      {"table x, colum y: only in source # r", "'colum' is not a kind of part such as column"},
      {"table x, column y, Length: 1 -> 2 # r",
       "'Length' is nothing in which one column can differ from another"},
      {"database x: only in source # r", "expected ':', not 'x: only in source # r'"},
      {"table x, lock: a -> b", "expected '#', but the line ends"},
  };
  for (const auto& [line, complaint] : cases) {
    try {
      readKnownChanges("# kept\n" + line + "\n");
      ADD_FAILURE() << line;
    } catch (const KnownDifferencesError& error) {
      EXPECT_EQ(error.what(), "2: " + complaint);
    }
  }
}

TEST(KnownChanges, WhatIsNotComparedCannotBeFound) {
  const auto isComparedWithout = [](const std::string& difference, inventory::Family family) {
    inventory::Families families;
    families.set().reset(static_cast<std::size_t>(family));
    return isCompared(readKnownChanges(difference + ": * # r").known.at(0), families);
  };
  using enum inventory::Family;
  EXPECT_FALSE(isComparedWithout("table t, lock", lock));
  EXPECT_TRUE(isComparedWithout("table t, lock", segments));
  EXPECT_FALSE(isComparedWithout("table t, index i, partition p, segment", segments));
  EXPECT_FALSE(isComparedWithout("table t, index i, partition p, segment", indexes));
  EXPECT_FALSE(isComparedWithout("table t, \"column order\"", columnOrder));
  EXPECT_FALSE(isComparedWithout("view v, quoted_identifier", quotedIdentifier));
  EXPECT_TRUE(isComparedWithout("view v, definition", quotedIdentifier));
  EXPECT_FALSE(isComparedWithout("encryption-key k, algorithm", encryption));
}

}  // namespace
}  // namespace kelvane::findings
