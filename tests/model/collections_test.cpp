#include "model/collections.h"

#include <gmock/gmock.h>

#include "model/text.h"

namespace kelvane {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

cKeyPairs pairs(std::initializer_list<std::pair<const char16_t*, const char16_t*>> items) {
  cKeyPairs made;
  for (const auto& [name, value] : items) made.Add(name, value);
  return made;
}

template <class Items>
std::vector<std::string> names(const Items& items) {
  std::vector<std::string> result;
  for (const auto& item : items) result.push_back(toUtf8(item->Name));
  return result;
}

template <class Call>
std::int32_t errorOf(Call&& call) {
  try {
    call();
  } catch (const RuntimeError& error) {
    return error.Number();
  }
  return 0;
}

TEST(CollectionsTest, ItemsAreReachedByPositionAndByKeyWhateverItsCase) {
  cKeyPairs list = pairs({{u"Owner", u"dbo"}, {u"\u00c9tat", u"1"}});
  list.Add(u"Rows", 12);
  EXPECT_EQ(list.Count(), 3);
  EXPECT_EQ(list.Item(1)->Value, u"dbo");
  EXPECT_EQ(list.Item(u"OWNER")->Value, u"dbo");
  EXPECT_EQ(list.Item(u"\u00e9TAT")->Value, u"1");
  EXPECT_EQ(list.Item(u"rows")->Value, u"12");
  for (const auto& wrong : {std::function<void()>([&] { list.Item(0); }),
                            {[&] { list.Item(4); }},
                            {[&] { list.Item(u"none"); }},
                            {[&] { list.Remove(4); }}})
    EXPECT_EQ(errorOf(wrong), 5);
  EXPECT_EQ(errorOf([&] { list.Add(u"owner", u""); }), 457);
  EXPECT_EQ(list.Count(), 3);
  list.Remove(u"owner");
  list.Remove(1);
  list.Add(u"owner", True);
  EXPECT_THAT(names(list), ElementsAre("Rows", "owner"));
  EXPECT_EQ(list.Item(2)->Value, u"True");
  list.Clear();
  EXPECT_EQ(list.Count(), 0);
}

TEST(CollectionsTest, Sort) {
  struct Case {
    std::initializer_list<std::pair<const char16_t*, const char16_t*>> items;
    const char16_t* property;
    Boolean ascending;
    Boolean numeric;
    std::vector<std::string> expected;
  };
  const Boolean almostTrue = Boolean::fromRaw(1);
  for (const Case& one : {
           Case{{}, u"Name", True, False, {}},
           {{{u"a", u"10"}, {u"b", u"9"}, {u"c", u"100"}}, u"Value", True, False, {"a", "c", "b"}},
           {{{u"a", u"10"}, {u"b", u"9"}, {u"c", u"100"}}, u"value", True, True, {"b", "a", "c"}},
           {{{u"a", u"10"}, {u"b", u"9"}, {u"c", u"100"}}, u"VALUE", False, True, {"c", "a", "b"}},
           // only the exact True asks for numbers; anything that is not zero asks for ascending
           {{{u"a", u"10"}, {u"b", u"9"}}, u"Value", almostTrue, almostTrue, {"a", "b"}},
           {{{u"x", u"b"}, {u"y", u"B"}, {u"z", u"a"}}, u"Value", True, False, {"y", "z", "x"}},
           {{{u"x", u"1"}, {u"y", u"0"}, {u"z", u"1"}}, u"Value", True, False, {"y", "x", "z"}},
           {{{u"x", u"1"}, {u"y", u"0"}, {u"z", u"1"}}, u"Value", False, False, {"x", "z", "y"}},
           {{{u"x", u"u"}, {u"y", u"-1"}, {u"z", u""}}, u"Value", True, True, {"y", "x", "z"}},
           {{{u"x", u"1e400"}, {u"y", u"7"}, {u"z", u"+-5"}, {u"u", u"++5"}, {u"v", u"-1e400"}},
            u"Value",
            True,
            True,
            {"v", "z", "u", "y", "x"}},
       }) {
    cKeyPairs list = pairs(one.items);
    list.Sort(one.property, one.ascending, one.numeric);
    EXPECT_EQ(names(list), one.expected);
    for (const auto& item : list) EXPECT_EQ(errorOf([&] { list.Item(item->Name); }), 5);
  }
}

TEST(CollectionsTest, ASortThatFailsChangesNothing) {
  cEntities list;
  for (const auto* name : {u"b", u"a"}) {
    auto entity = std::make_shared<cEntity>();
    entity->Name = name;
    EXPECT_EQ(list.Add(entity, name), entity);
  }
  EXPECT_EQ(errorOf([&] { list.Sort(u"Owner"); }), 438);
  EXPECT_EQ(errorOf([&] { list.Sort(u"Properties"); }), 13);
  EXPECT_THAT(names(list), ElementsAre("b", "a"));
  EXPECT_EQ(list.Item(u"B")->Name, u"b");
  list.Sort(u"name");
  EXPECT_THAT(names(list), ElementsAre("a", "b"));
  list.Item(1)->Properties->Add(u"Length", 4);
  EXPECT_THAT(names(*list.Item(2)->Properties), IsEmpty());
}

}  // namespace
}  // namespace kelvane
