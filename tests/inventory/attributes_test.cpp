// What every attribute and every part of the lists must do, whatever they are.

#include <gtest/gtest.h>

#include "inventory/compare/compare.h"
#include "inventory/shown.h"
#include "tests/inventory/change_text.h"
#include "tests/inventory/mutations.h"

namespace kelvane::inventory {
namespace {

Rules everything() {
  Rules rules;
  rules.compared.set();
  return rules;
}

std::size_t differences(const Database& a, const Database& b, const Rules& rules = everything()) {
  return countOf(compare(a, b, rules));
}

/// Changes every attribute of the record within `database`, one at a time, and expects that and
/// nothing else to be found; then the same for what it is made of.
template <class Record>
void expectEachAttribute(Database& database, Record& record, const std::string& path) {
  forEachAttribute<Record>([&]<class Owner, class Value>(const Attribute<Owner, Value>& one) {
    SCOPED_TRACE(path + ": " + std::string(one.label));
    // `record` is a part of the database, so that it changes.
    const Database before = database;  // NOLINT(performance-unnecessary-copy-initialization)
    const Value kept = record.*one.member;
    mutate(record.*one.member);
    const std::vector<Change> found = compare(before, database, everything());
    const std::vector<Change> back = compare(database, before, everything());
    constexpr bool isName = std::is_same_v<Value, GivenName>;
    EXPECT_EQ(countOf(found), isName || one.style == Style::name ? 2U : 1U)
        << ::testing::PrintToString(lines(found));
    EXPECT_EQ(countOf(back), countOf(found));
    if (one.style != Style::name && one.family != Family::always) {
      Rules without = everything();
      without.compared.reset(static_cast<std::size_t>(one.family));
      EXPECT_EQ(differences(before, database, without), 0U);
    }
    record.*one.member = kept;
    EXPECT_EQ(differences(before, database), 0U);
  });
  forEachParts<Record>([&]<class Owner, class Item>(const Parts<Owner, Item>& parts) {
    const std::string inner = path + " > " + std::string(rowOf(parts.kind).singular);
    SCOPED_TRACE(inner);
    const Database without = database;
    std::vector<Item>& items = record.*parts.member;
    items.emplace_back();
    EXPECT_EQ(differences(without, database), 1U);
    EXPECT_EQ(differences(database, without), 1U);
    expectEachAttribute(database, items.back(), inner);
    items.clear();
  });
}

TEST(Attributes, AChangeOfEachIsFoundAndNothingElse) {
  Database database;
  expectEachAttribute(database, database.settings, "database");
  forEachObjects([&]<class Object>(const Parts<Database, Object>& objects) {
    const Database without = database;
    std::vector<Object>& all = database.*objects.member;
    all.emplace_back();
    EXPECT_EQ(differences(without, database), 1U);
    expectEachAttribute(database, all.back(), std::string(rowOf(objects.kind).singular));
    all.clear();
  });
}

template <class Record>
std::size_t listedSize() {
  std::size_t size = 0;
  forEachAttribute<Record>(
      [&]<class Owner, class Value>(const Attribute<Owner, Value>&) { size += sizeof(Value); });
  forEachParts<Record>([&]<class Owner, class Item>(const Parts<Owner, Item>&) {
    size += sizeof(std::vector<Item>);
  });
  return size;
}

template <class Record>
void expectNothingUnlisted(const char* name) {
  // What is not listed is at most the gaps between members.
  EXPECT_LT(sizeof(Record) - listedSize<Record>(), 32U) << name;
}

TEST(Attributes, NoMemberIsUnlisted) {
  expectNothingUnlisted<Table>("Table");
  expectNothingUnlisted<Column>("Column");
  expectNothingUnlisted<KeyConstraint>("KeyConstraint");
  expectNothingUnlisted<Index>("Index");
  expectNothingUnlisted<ForeignKey>("ForeignKey");
  expectNothingUnlisted<View>("View");
  expectNothingUnlisted<Procedure>("Procedure");
  expectNothingUnlisted<Function>("Function");
  expectNothingUnlisted<Trigger>("Trigger");
  expectNothingUnlisted<Permission>("Permission");
  expectNothingUnlisted<UserType>("UserType");
  expectNothingUnlisted<EncryptionKey>("EncryptionKey");
  expectNothingUnlisted<Settings>("Settings");
}

TEST(Families, RowsStandInTheirOrder) {
  for (std::size_t at = 0; at < kFamilyCount; ++at)
    EXPECT_EQ(static_cast<std::size_t>(kFamilies[at].family), at);
  for (std::size_t at = 0; at < kKindCount; ++at)
    EXPECT_EQ(static_cast<std::size_t>(kKinds[at].kind), at);
}

}  // namespace
}  // namespace kelvane::inventory
