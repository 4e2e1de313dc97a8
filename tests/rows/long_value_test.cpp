// Values that are too long to be kept.
#include "rows/long_value.h"

#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <random>
#include <vector>

#include "rows/compare_rows.h"

namespace kelvane::rows {
namespace {

std::mt19937 random(42);

std::size_t below(std::size_t end) { return random() % end; }

std::u16string textOf(std::size_t units) {
  std::u16string text(units, u' ');
  for (char16_t& unit : text) unit = static_cast<char16_t>(u'a' + below(26));
  return text;
}

std::string packedByParts(std::u16string_view text, std::size_t parts) {
  LargeValue value;
  for (; parts > 1; --parts) {
    const std::size_t end = below(text.size() + 1);
    value.add(ado::Value(text.substr(0, end)));
    text.remove_prefix(end);
  }
  value.add(ado::Value(text));
  std::string row;
  value.appendTo(row);
  return row;
}

std::string packed(const ado::Value& value) {
  std::string row;
  pack(value, Form::large, row);
  return row;
}

LongView viewOf(const std::string& row) {
  std::string_view cells = row;
  const auto view = longValueIn(takeCell(cells));
  EXPECT_TRUE(cells.empty());
  return view.value();
}

TEST(LongValues, AreTheSameHoweverTheyCome) {
  for (const std::size_t units :
       {std::size_t{0}, std::size_t{1}, kLongestWhole - 1, kLongestWhole, kLongestWhole + 1,
        std::size_t{262'144}, std::size_t{262'145}, std::size_t{500'000}}) {
    const std::u16string text = textOf(units);
    const std::string whole = packed(std::u16string_view(text));
    for (std::size_t parts = 1; parts < 9; ++parts)
      EXPECT_EQ(packedByParts(text, parts), whole) << units;
    std::string asItIs;
    pack(std::u16string_view(text), Form::asItIs, asItIs);
    EXPECT_EQ(whole == asItIs, units <= kLongestWhole) << units;
    const std::string bytes = packed(std::as_bytes(std::span(text)));
    EXPECT_NE(bytes, whole) << units;
    if (units > kLongestWhole) {
      EXPECT_EQ(viewOf(bytes).size, 2 * units);
    }
  }
  for (const ado::Value& other : {ado::Value(), ado::Value(std::int64_t{7})}) {
    std::string asItIs;
    pack(other, Form::asItIs, asItIs);
    EXPECT_EQ(packed(other), asItIs);
  }
}

TEST(LongValues, DifferWhereTheyDiffer) {
  constexpr std::size_t kUnits = 300'000;
  const std::u16string text = textOf(kUnits);
  const std::string row = packed(std::u16string_view(text));
  for (int time = 0; time < 200; ++time) {
    const std::size_t at = below(kUnits);
    std::u16string other = text;
    other[at] = u'A';
    const std::string otherRow = packed(std::u16string_view(other));
    const DifferentPart part = firstDifferentPart(viewOf(row), viewOf(otherRow));
    EXPECT_LE(part.first, at + 1);
    EXPECT_GE(part.last, at + 1);
    EXPECT_LE(part.last, part.first + 65535);
  }
  for (const std::size_t more : {std::size_t{1}, std::size_t{200'000}}) {
    const std::u16string longer = text + textOf(more);
    const DifferentPart part =
        firstDifferentPart(viewOf(row), viewOf(packed(std::u16string_view(longer))));
    EXPECT_LE(part.first, kUnits + 1);
    EXPECT_GT(part.last, kUnits);
    EXPECT_LE(part.last, kUnits + more);
  }
}

TEST(LongValues, BeginAsTheyBeginAndCountCharacters) {
  std::u16string text = textOf(kLongestWhole + 10);
  // One pair ends what is shown, the other one is behind it.
  for (const std::size_t at : {std::size_t{999}, std::size_t{150'000}})
    text.replace(at, 2, u"\xD83D\xDE00");
  const std::string row = packed(std::u16string_view(text));
  const LongView view = viewOf(row);
  std::u16string storage;
  EXPECT_EQ(std::get<std::u16string_view>(view.begins(storage)), text.substr(0, 999));
  EXPECT_EQ(view.size, text.size());
  EXPECT_EQ(view.characters, text.size() - 2);
  EXPECT_EQ(row.size(), packedByParts(text, 5).size());
  EXPECT_LT(row.size(), 2'500U);
}

}  // namespace
}  // namespace kelvane::rows
