#include "model/text.h"

#include <gtest/gtest.h>
#include <limits>

namespace kelvane {
namespace {

TEST(TextTest, CaseIsFoldedSimplyAndBeyondAscii) {
  struct Case {
    std::u16string_view a, b;
    bool equal;
  };
  for (const auto& [a, b, equal] : {Case{u"Orders", u"oRDERS", true},
                                    {u"\u00c9t\u00e9", u"\u00e9T\u00c9", true},
                                    {u"\u03a3\u03c3", u"\u03c2\u03c2", true},  // final sigma
                                    {u"\u0416\u0438", u"\u0436\u0418", true},  // Cyrillic
                                    {u"\U00010400", u"\U00010428", true},      // Deseret
                                    {u"\u212a", u"k", true},                   // the Kelvin sign
                                    {u"\u1e9e", u"\u00df", true},
                                    {u"stra\u00dfe", u"strasse", false},
                                    {u"\u0130", u"i", false},
                                    {u"e\u0301", u"\u00e9", false},
                                    {u"@[`{", u"`{@[", false},
                                    {u"a", std::u16string_view(u"a\0", 2), false}}) {
    EXPECT_EQ(equalText(a, b, CaseMode::ignore), equal) << toUtf8(a) << " " << toUtf8(b);
    EXPECT_EQ(compareText(a, b, CaseMode::ignore) == 0, equal) << toUtf8(a);
    EXPECT_FALSE(equalText(a, b, CaseMode::exact));
    EXPECT_EQ(hashText(a, CaseMode::ignore) == hashText(b, CaseMode::ignore), equal);
  }
}

// Equal texts may stand anywhere in a longer one, and equality relies on equal lengths.
TEST(TextTest, FoldingKeepsLengthsAndHashesFollowIt) {
  for (char32_t code = 0; code < 0x1F000; ++code) {
    std::u16string text = u"name";
    if (code >= 0x10000) text.push_back(static_cast<char16_t>(0xD7C0 + (code >> 10)));
    text.push_back(static_cast<char16_t>(code >= 0x10000 ? 0xDC00 + (code & 0x3FF) : code));
    const std::u16string folded = foldCase(text);
    ASSERT_EQ(folded.size(), text.size()) << std::hex << static_cast<std::uint32_t>(code);
    ASSERT_EQ(foldCase(folded), folded);
    ASSERT_TRUE(equalText(text, folded, CaseMode::ignore));
    ASSERT_EQ(hashText(text, CaseMode::ignore), hashText(folded, CaseMode::ignore));
  }
}

// Letters that folding makes equal are told apart when both are small, and met when one is not.
TEST(TextTest, LowerCaseIsNotFolding) {
  const struct {
    std::u16string_view a, b;
    bool equal;
  } cases[] = {
      {u"ORDERS", u"oRders", true},
      {u"\u00c9t\u00e9", u"\u00e9T\u00c9", true},
      {u"\u03a3", u"\u03c3", true},
      {u"\u03c3", u"\u03c2", false},             // small and final sigma
      {u"\u017felect", u"select", false},        // long s
      {u"\u00b5", u"\u03bc", false},             // micro sign and mu
      {u"\u1e9e", u"\u00df", true},              // capital and small sharp s
      {u"\u212aey", u"KEY", true},               // the Kelvin sign
      {u"\u0130", u"i", false},                  // I with a dot
      {u"\u13a0\u13f0", u"\uab70\u13f8", true},  // Cherokee
      {u"\U00010400", u"\U00010428", true},      // Deseret
      {u"a", u"ab", false},
  };
  for (const auto& [a, b, equal] : cases) {
    EXPECT_EQ(compareLowerCase(a, b) == 0, equal) << toUtf8(a) << ' ' << toUtf8(b);
    EXPECT_EQ(compareLowerCase(b, a) == 0, equal) << toUtf8(a) << ' ' << toUtf8(b);
  }
  EXPECT_LT(compareLowerCase(u"A", u"b"), 0);
  EXPECT_LT(compareLowerCase(u"a", u"B"), 0);
}

TEST(TextTest, OrderIsThatOfCodeUnits) {
  EXPECT_LT(compareText(u"B", u"a", CaseMode::exact), 0);
  EXPECT_GT(compareText(u"B", u"a", CaseMode::ignore), 0);
  EXPECT_LT(compareText(u"a", u"ab", CaseMode::ignore), 0);
  EXPECT_LT(compareText(u"\U00010428", u"\uffee", CaseMode::exact), 0);
}

TEST(TextTest, MalformedUtf8BecomesOneReplacementAByte) {
  const std::u16string r = u"\ufffd";
  EXPECT_EQ(toUtf16("a\xFFz"), u"a" + r + u"z");
  EXPECT_EQ(toUtf16("\x80"), r);
  EXPECT_EQ(toUtf16("\xC3"), r);
  EXPECT_EQ(toUtf16("\xE2\x82"), r + r);
  EXPECT_EQ(toUtf16("\xE2\x82z"), r + r + u"z");
  EXPECT_EQ(toUtf16("\xC0\xAF"), r + r);                  // overlong
  EXPECT_EQ(toUtf16("\xE0\x80\x80"), r + r + r);          // overlong
  EXPECT_EQ(toUtf16("\xED\xA0\x80"), r + r + r);          // a surrogate
  EXPECT_EQ(toUtf16("\xF4\x90\x80\x80"), r + r + r + r);  // beyond the last code point
  EXPECT_EQ(toUtf8(u"a\xD800z"), "a\xEF\xBF\xBDz");
  EXPECT_EQ(toUtf8(u"\xDC00\xD800"), "\xEF\xBF\xBD\xEF\xBF\xBD");
  const std::string all =
      "A\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80\xF4\x8F\xBF\xBF";
  EXPECT_EQ(toUtf8(toUtf16(all)), all);
}

TEST(TextTest, PiecesAndNumbers) {
  using Pieces = std::vector<std::u16string_view>;
  EXPECT_EQ(split(u"", u'.'), Pieces{});
  EXPECT_EQ(split(u".a..b.", u'.'), (Pieces{u"", u"a", u"", u"b", u""}));
  EXPECT_EQ(replaceAll(u"aab\r\nab", u"ab", u"b"), u"ab\r\nb");
  EXPECT_EQ(decimalText(std::numeric_limits<std::int64_t>::min()), u"-9223372036854775808");
}

TEST(TextTest, TheNumberThatATextBeginsWith) {
  constexpr double kInfinite = std::numeric_limits<double>::infinity();
  const struct {
    std::u16string_view text;
    double value;
    std::u16string_view behind;
  } cases[] = {
      {u" \t12 rows", 12, u" rows"},
      {u"-3.5e2x", -350, u"x"},
      {u"+.5", .5, u""},
      {u"5.", 5, u""},
      {u"7e", 7, u"e"},
      {u"7e+", 7, u"e+"},
      {u"1-2", 1, u"-2"},
      {u"1e400", kInfinite, u""},
      {u"-1E+400 m", -kInfinite, u" m"},
      {u"1e99999999999999999999", kInfinite, u""},
      {u"-0.00001e-400", 0, u""},
      {u"1e-99999999999999999999", 0, u""},
      {u"0e400", 0, u""},
      {u"0.000e999999", 0, u""},
  };
  for (const auto& [text, value, behind] : cases) {
    EXPECT_EQ(leadingNumber(text).value, value) << toUtf8(text);
    EXPECT_EQ(leadingNumber(text).behind, behind) << toUtf8(text);
  }
  const std::u16string zeros(500, u'0');
  EXPECT_EQ(leadingNumber(zeros + u"5").value, 5);
  EXPECT_EQ(leadingNumber(u"9" + zeros).value, kInfinite);
  EXPECT_EQ(leadingNumber(u"." + zeros + u"1e501").value, 1);
  for (const auto* none : {u"", u"rows 12", u"inf", u"-nan", u"-", u"+", u"+-5", u"++5", u"-+5",
                           u"--5", u"- 5", u".", u"e5", u"\u0663"}) {
    EXPECT_EQ(leadingNumber(none).value, 0) << toUtf8(none);
    EXPECT_EQ(leadingNumber(none).behind, none);
  }
}

}  // namespace
}  // namespace kelvane
