#include "report/side_by_side.h"

#include <gtest/gtest.h>
#include <random>
#include <string>
#include <vector>

#include "model/text.h"

namespace kelvane::report {
namespace {

std::string shown(const Pieces& pieces) {
  std::string text;
  for (std::size_t at = 0; at < pieces.size(); ++at)
    text += at % 2 == 0 ? toUtf8(pieces[at]) : "[" + toUtf8(pieces[at]) + "]";
  return text;
}

std::string joined(const Pieces& pieces) {
  std::string text;
  for (const auto piece : pieces) text += toUtf8(piece);
  return text;
}

// "a|b" for a line on both sides, "a|" and "|b" for one on one side, "a" where both are the same.
std::vector<std::string> drawn(std::u16string_view before, std::u16string_view after) {
  std::vector<std::string> lines;
  const auto text = [](const std::optional<std::u16string_view>& line) {
    return line ? toUtf8(line->substr(0, line->find(u'\n'))) : std::string();
  };
  for (const Row& row : sideBySide(before, after))
    lines.push_back(row.same ? text(row.before) : text(row.before) + "|" + text(row.after));
  return lines;
}

TEST(SideBySide, MarksWhatDiffersWithinALine) {
  struct Case {
    std::u16string_view before, after;
    std::string shownBefore, shownAfter;
  };
  const Case cases[] = {
      {u"a int", u"a int null", "a int", "a int[ null]"},
      {u"varchar(80)", u"varchar(255)", "varchar([80])", "varchar([255])"},
      {u"60", u"120", "[60]", "[120]"},
      {u"one two", u"three four", "[one two]", "[three four]"},
      {u"\tx = 1", u"    x = 1", "[\t]x = 1", "[    ]x = 1"},
      {u"end\r\n", u"end\n", "end[\r\n]", "end[\n]"},
      {u"@a_1 #t", u"@a_2 #t", "[@a_1] #t", "[@a_2] #t"},
      {u"gr\u00F6\u00DFe x", u"grosse x", "[gr\u00F6\u00DFe] x", "[grosse] x"},
      {u"", u"x", "", "[x]"},
      {u" ", u"  ", "[ ]", "[  ]"},
  };
  for (const auto& [before, after, shownBefore, shownAfter] : cases) {
    const MarkedPair pair = markChanges(before, after);
    EXPECT_EQ(shown(pair.before), shownBefore);
    EXPECT_EQ(shown(pair.after), shownAfter);
  }
}

TEST(SideBySide, LinesThatAreAlikeShareARow) {
  using Drawn = std::vector<std::string>;
  EXPECT_EQ(drawn(u"a\nb\n", u"a\nb\n"), (Drawn{"a", "b"}));
  EXPECT_EQ(drawn(u"", u"new\n"), Drawn{"|new"});
  EXPECT_EQ(drawn(u"f (\n@note char(80)\n)\n", u"f (\n@rebate int,\n@note char(255)\n)\n"),
            (Drawn{"f (", "|@rebate int,", "@note char(80)|@note char(255)", ")"}));
  EXPECT_EQ(drawn(u"quite another line\nx = 1\n", u"x = 2\n"),
            (Drawn{"quite another line|", "x = 1|x = 2"}));
  EXPECT_EQ(drawn(u"\tx\n", u"  x\n"), Drawn{"\tx|  x"});
}

TEST(SideBySide, LargeBlocksArePairedInTheirOrder) {
  std::u16string before, after;
  for (int line = 0; line < 150; ++line) {
    before += u"old " + decimalText(line) + u"\n";
    after += u"new " + decimalText(line) + u"\n";
  }
  const auto rows = drawn(before, after + u"last\n");
  ASSERT_EQ(rows.size(), 151U);
  EXPECT_EQ(rows[149], "old 149|new 149");
  EXPECT_EQ(rows[150], "|last");
}

TEST(SideBySide, NothingIsLostOnEitherSide) {
  std::mt19937 random(1);
  const auto text = [&] {
    static constexpr std::u16string_view kWords[] = {u"a",    u"b ", u" ", u"\n",
                                                     u"\r\n", u"(",  u"\t"};
    std::u16string result;
    for (auto count = random() % 30; count > 0; --count)
      result += kWords[random() % std::size(kWords)];
    return result;
  };
  for (int run = 0; run < 500; ++run) {
    const std::u16string before = text(), after = text();
    std::u16string rowsBefore, rowsAfter;
    for (const Row& row : sideBySide(before, after)) {
      EXPECT_TRUE(row.before || row.after);
      EXPECT_EQ(row.same, row.before == row.after);
      rowsBefore += row.before.value_or(u"");
      rowsAfter += row.after.value_or(u"");
    }
    EXPECT_EQ(rowsBefore, before);
    EXPECT_EQ(rowsAfter, after);
    const MarkedPair pair = markChanges(before, after);
    EXPECT_EQ(joined(pair.before), toUtf8(before));
    EXPECT_EQ(joined(pair.after), toUtf8(after));
  }
}

}  // namespace
}  // namespace kelvane::report
