// What every attribute and every part must do where an object is shown, whatever they are.

#include "inventory/browse/sheet.h"

#include <gtest/gtest.h>

#include "inventory/attributes.h"
#include "inventory/shown.h"
#include "tests/inventory/mutations.h"

namespace kelvane::inventory {
namespace {

std::string valueIn(const Sheet& sheet, std::string_view label) {
  for (const SheetValue& value : sheet.values) {
    if (value.label == label) return value.text;
  }
  return "(no such label)";
}

/// Declares every attribute of the record, one at a time, and expects that `sheet` has it; then the
/// same for what it is made of.
template <class Record, class MakeSheet>
void expectEachAttribute(Record& record, bool isPart, const MakeSheet& sheet) {
  static const Record kUsual{};
  forEachAttribute<Record>([&]<class Owner, class Value>(const Attribute<Owner, Value>& one) {
    const bool isHeading =
        !isPart && (one.style == Style::name || std::is_same_v<Value, GivenName>);
    if (isHeading) return;
    SCOPED_TRACE(one.label);
    const Value kept = record.*one.member;
    mutate(record.*one.member);
    std::string expected = shown(record.*one.member);
    if constexpr (std::is_same_v<Value, GivenName>) expected = (record.*one.member).name;
    EXPECT_EQ(valueIn(sheet(), one.label), expected);
    EXPECT_NE(expected, "");
    record.*one.member = kept;
  });
  forEachParts<Record>([&]<class Owner, class Item>(const Parts<Owner, Item>& parts) {
    SCOPED_TRACE(rowOf(parts.kind).plural);
    std::vector<Item>& items = record.*parts.member;
    items.emplace_back();
    expectEachAttribute(items.back(), true, [&] {
      const Sheet whole = sheet();
      EXPECT_EQ(whole.lists.size(), 1U);
      EXPECT_EQ(whole.lists.at(0).title, rowOf(parts.kind).plural);
      return whole.lists.at(0).rows.at(0);
    });
    items.clear();
  });
}

TEST(Sheets, HaveEveryAttributeThatIsDeclared) {
  Database database;
  const auto sheetOfOnly = [&](Kind kind) {
    return [&database, kind] { return sheetOf(findObject(database, {kind, ""}), database); };
  };
  expectEachAttribute(database.settings, false, sheetOfOnly(Kind::database));
  forEachObjects([&]<class Object>(const Parts<Database, Object>& objects) {
    SCOPED_TRACE(rowOf(objects.kind).singular);
    std::vector<Object>& all = database.*objects.member;
    Object& object = all.emplace_back();
    const std::string name = nameOf(object);
    expectEachAttribute(object, false, [&] {
      return sheetOf(findObject(database, {objects.kind, name}), database);
    });
    all.clear();
  });
}

}  // namespace
}  // namespace kelvane::inventory
