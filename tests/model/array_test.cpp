// Arrays are values: whatever storage copies share, no program can tell.
#include "model/array.h"

#include <gtest/gtest.h>
#include <string>
#include <utility>

#include "model/schema.h"

namespace kelvane {
namespace {

using Names = Array<std::string>;

const std::string* storage(const Names& names) { return names.begin(); }

TEST(ArrayTest, CountsFromOne) {
  Names names;
  EXPECT_EQ(names.upperBound(), -1);
  EXPECT_EQ(SafeUpperBound(names), -1);
  for (int i = 1; i <= 20; ++i) names.append("n" + std::to_string(i));
  EXPECT_EQ(names.upperBound(), 20);
  EXPECT_EQ(names[1], "n1");
  EXPECT_EQ(names[20], "n20");
  names.append(names[1]);
  EXPECT_EQ(names[21], "n1");
  names.recreate(2);
  EXPECT_EQ(names, (Names{"", ""}));
  names.recreate(0);
  EXPECT_EQ(names, Names{});
}

TEST(ArrayTest, RefusesIndexesOutsideItsBounds) {
  for (Names names : {Names{}, Names{"x", "y"}}) {
    for (const std::int32_t index : {-1, 0, 3}) {
      EXPECT_THROW(std::as_const(names)[index], std::out_of_range);
      EXPECT_THROW(names[index], std::out_of_range);
      EXPECT_THROW(names.edit(index, [](std::string&) {}), std::out_of_range);
    }
  }
}

TEST(ArrayTest, AHeldReferenceReachesNoCopy) {
  Names a{"x", "y"};
  std::string& held = a[1];
  std::vector<Names> copies{a};
  copies.push_back(copies[0]);
  held = "changed";
  EXPECT_EQ(a[1], "changed");
  for (const Names& copy : copies) EXPECT_EQ(copy[1], "x");
  Names d;
  d = a;
  held = "again";
  EXPECT_EQ(d[1], "changed");
}

TEST(ArrayTest, CopiesShareUntilEitherIsWritten) {
  using Write = void (*)(Names&);
  for (const Write write :
       {Write([](Names& n) { n[1] = "changed"; }), Write([](Names& n) { *n.begin() = "changed"; }),
        Write([](Names& n) { n.edit(1, [](std::string& s) { s += "!"; }); }),
        Write([](Names& n) { n.append("z"); }), Write([](Names& n) { n.recreate(1); }),
        Write([](Names& n) { n.clear(); })}) {
    const Names kept{"x", "y"};
    Names original = kept;
    Names copy = original;
    ASSERT_EQ(storage(copy), storage(original));
    write(copy);
    EXPECT_EQ(original, kept);
    EXPECT_NE(copy, kept);
    write(original);
    EXPECT_EQ(original, copy);
    EXPECT_EQ(kept, (Names{"x", "y"}));
  }
}

TEST(ArrayTest, EditsLeaveAnArrayShareable) {
  Names names{"x"};
  names.edit(1, [](std::string& name) { name = "y"; });
  EXPECT_EQ(storage(Names(names)), storage(names));
}

TEST(ArrayTest, AReferenceHeldDeepInARecordReachesNoCopy) {
  Schema schema;
  schema.Tables.recreate(2);
  schema.Tables[2].Columns.recreate(1);
  Column& held = schema.Tables[2].Columns[1];
  const Schema copy = schema;
  held.Name = u"changed";
  EXPECT_EQ(copy.Tables[2].Columns[1].Name, u"");
  EXPECT_NE(copy, schema);
}

}  // namespace
}  // namespace kelvane
