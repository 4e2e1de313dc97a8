// Values as literals, against texts written by hand.
#include "rows/literal.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <span>

namespace kelvane::rows {
namespace {

using inventory::DataType;
using Parts = ado::DateTime::Parts;

DataType type(const std::string& name) { return {.owner = {}, .name = name}; }
DataType type(const std::string& name, int length) {
  return {.owner = {}, .name = name, .length = length};
}
DataType numeric(std::int16_t precision, std::int16_t scale) {
  return {.owner = {}, .name = "numeric", .length = {}, .precision = precision, .scale = scale};
}

std::string literal(const ado::Value& value, const LiteralColumn& column) {
  const Literal result = literalOf(value, column);
  return result.isWritten() ? result.text : "! " + result.obstacle;
}
std::string literal(const ado::Value& value, const DataType& type) {
  return literal(value, LiteralColumn{type});
}

constexpr std::uint64_t kMost64 = std::numeric_limits<std::uint64_t>::max();
constexpr std::int64_t kSecond = 1'000'000'000;

TEST(LiteralOf, ExactNumbers) {
  EXPECT_EQ(literal(ado::Null{}, type("int")), "null");
  EXPECT_EQ(literal(true, type("bit")), "1");
  EXPECT_EQ(literal(std::int64_t{2}, type("bit")), "! it does not fit bit");
  EXPECT_EQ(literal(std::int64_t{-2147483648}, type("int")), "-2147483648");
  EXPECT_EQ(literal(std::int64_t{-2147483649}, type("int")), "! it does not fit int");
  EXPECT_EQ(literal(std::int64_t{256}, type("tinyint")), "! it does not fit tinyint");
  EXPECT_EQ(literal(std::int64_t{-1}, type("unsigned int")), "! it does not fit unsigned int");
  EXPECT_EQ(literal(kMost64, type("unsigned bigint")), "18446744073709551615");
  EXPECT_EQ(literal(ado::Decimal{{150, 0}, 2, true}, numeric(5, 2)), "-1.5");
  EXPECT_EQ(literal(ado::Decimal{{0, 0}, 2, true}, numeric(5, 2)), "0");
  EXPECT_EQ(literal(ado::Decimal{{1, 0}, 3, false}, numeric(5, 2)),
            "! it does not fit numeric(5,2)");
  EXPECT_EQ(literal(std::int64_t{1000}, numeric(5, 2)), "! it does not fit numeric(5,2)");
  EXPECT_EQ(literal(std::int64_t{999}, numeric(5, 2)), "999");
  // 10^38 - 1
  EXPECT_EQ(
      literal(ado::Decimal{{687399551400673279U, 5421010862427522170U}, 0, false}, numeric(38, 0)),
      "99999999999999999999999999999999999999");
  EXPECT_EQ(literal(ado::Decimal{{9223372036854775807U, 0}, 4, false}, type("money")),
            "922337203685477.5807");
  EXPECT_EQ(literal(ado::Decimal{{12345, 0}, 5, false}, type("money")), "! it does not fit money");
  EXPECT_EQ(literal(std::int64_t{214749}, type("smallmoney")), "! it does not fit smallmoney");
}

TEST(LiteralOf, ManyPiecesAreJoinedInGroups) {
  EXPECT_EQ(literal(u"a\n\tb\n", type("text")), "'a' + char(10) + char(9) + 'b' + char(10)");
  EXPECT_EQ(
      literal(u"1\n2\n3\n4\n5\n", type("text")),
      "('1' + char(10) + '2' + char(10) + '3') + (char(10) + '4' + char(10) + '5' + char(10))");
  const std::u16string longest(1200, u'\n');
  const std::string text = literal(std::u16string_view(longest), type("text"));
  std::size_t depth = 0, deepest = 0;
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (text.substr(at, 8) == "char(10)")
      at += 7;
    else if (text[at] == '(')
      deepest = std::max(deepest, ++depth);
    else if (text[at] == ')')
      --depth;
  }
  EXPECT_LE(deepest, 8U);
}

TEST(LiteralOf, ApproximateNumbers) {
  EXPECT_EQ(literal(0.1, type("float")), "1e-01");
  EXPECT_EQ(literal(1.0 / 3, type("float")), "3.333333333333333e-01");
  EXPECT_EQ(literal(-1.7976931348623157e308, type("float")), "-1.7976931348623157e+308");
  EXPECT_EQ(literal(0.1F, type("real")), "1.0000000149011612e-01");
  EXPECT_EQ(literal(2.5, numeric(5, 2)), "2.5");
  EXPECT_EQ(literal(0.1 + 0.2, numeric(5, 2)), "! it does not fit numeric(5,2)");
  EXPECT_EQ(literal(1e300, type("int")), "! it does not fit int");
  EXPECT_EQ(literal(std::nan(""), type("float")), "! it is no number");
}

TEST(LiteralOf, Moments) {
  const ado::DateTime leapDay{45349, std::int64_t{11} * 3600 * kSecond + 5 * kSecond + 123'333'333,
                              Parts::both};
  EXPECT_EQ(literal(leapDay, type("datetime")), "'20240229 11:00:05.123'");
  EXPECT_EQ(literal(ado::DateTime{45349, 0, Parts::dateOnly}, type("date")), "'20240229'");
  EXPECT_EQ(literal(ado::DateTime{45349, 60 * kSecond, Parts::both}, type("smalldatetime")),
            "'20240229 00:01:00'");
  EXPECT_EQ(literal(leapDay, type("smalldatetime")), "! it does not fit smalldatetime");
  EXPECT_EQ(literal(leapDay, type("date")), "! it does not fit date");
  EXPECT_EQ(literal(ado::DateTime{0, 1'000, Parts::timeOnly}, type("bigtime")),
            "'00:00:00.000001'");
  EXPECT_EQ(literal(ado::DateTime{0, 1'000, Parts::timeOnly}, type("time")),
            "! it does not fit time");
  EXPECT_EQ(literal(ado::DateTime{0, 997'000'000, Parts::timeOnly}, type("time")),
            "'00:00:00.997'");
  EXPECT_EQ(literal(ado::DateTime{0, 996'666'667, Parts::timeOnly}, type("time")),
            "'00:00:00.997'");
  EXPECT_EQ(literal(ado::DateTime{0, 1'500'000, Parts::both}, type("datetime")),
            "! it does not fit datetime");
  EXPECT_EQ(literal(ado::DateTime{-53691, 0, Parts::both}, type("datetime")),
            "! it does not fit datetime");
  EXPECT_EQ(literal(ado::DateTime{-53691, 0, Parts::both}, type("bigdatetime")), "'17521231'");
  EXPECT_EQ(literal(leapDay, type("varchar", 40)), "! a value of another type than varchar(40)");
}

TEST(LiteralOf, Texts) {
  const DataType varchar = type("varchar", 20), unichar = type("univarchar", 20);
  EXPECT_EQ(literal(u"it's", varchar), "'it''s'");
  EXPECT_EQ(literal(u"a\r\n\ngo\n", varchar),
            "'a' + char(13) + char(10) + char(10) + 'go' + char(10)");
  EXPECT_EQ(literal(u"\t'", varchar), "char(9) + ''''");
  EXPECT_EQ(literal(u" ", varchar), "' '");
  EXPECT_EQ(literal(u"", varchar), "! the server keeps an empty text as a blank");
  EXPECT_EQ(literal(u"", type("char", 5)), "' '");
  EXPECT_EQ(literal(u"\u20ac\U0001F600", unichar), "'\u20ac\U0001F600'");
  EXPECT_EQ(literal(std::u16string_view(u"\xD83D"), unichar),
            "! half of a surrogate pair has no literal");
  EXPECT_EQ(literal(std::u16string_view(u"123456789012345678901"), varchar),
            "! it is too long for varchar(20)");
  EXPECT_EQ(literal(std::u16string(kLongestLiteral - 1, u'a'), type("text")),
            "! it is too long for a literal");
  EXPECT_EQ(literal(std::u16string(kLongestLiteral - 2, u'a'), type("text")),
            "'" + std::string(kLongestLiteral - 2, 'a') + "'");
  EXPECT_EQ(literal(u"1", type("int")), "! a value of another type than int");
}

TEST(LiteralOf, TextsOfOtherCharacterSets) {
  const LiteralColumn latin1{type("varchar", 3), CharacterSet::latin1, TextUnit::characters};
  EXPECT_EQ(literal(u"\u00e4\u00f6\u00fc", latin1), "'\u00e4\u00f6\u00fc'");
  EXPECT_EQ(literal(u"\u20ac", latin1),
            "! the server's character set may not have the character '\u20ac'");
  const LiteralColumn unicode{type("unitext"), CharacterSet::ascii, TextUnit::characters};
  EXPECT_EQ(literal(u"a\u20acb", unicode), "'a' + to_unichar(0x20ac) + 'b'");
  EXPECT_EQ(literal(u"\u00e4\u00f6", LiteralColumn{type("varchar", 3)}),
            "! it is too long for varchar(3)");
  EXPECT_EQ(literal(u"\u00e4\u00f6", LiteralColumn{type("nvarchar", 3)}), "'\u00e4\u00f6'");
}

TEST(LiteralOf, Bytes) {
  const std::array<std::byte, 3> bytes{std::byte{0}, std::byte{0xAB}, std::byte{0x0C}};
  EXPECT_EQ(literal(ado::Bytes(bytes), type("varbinary", 3)), "0x00ab0c");
  EXPECT_EQ(literal(ado::Bytes(bytes), type("binary", 2)), "! it is too long for binary(2)");
  EXPECT_EQ(literal(ado::Bytes(), type("image")), "! the server keeps no bytes without a length");
  const std::vector<std::byte> many(8001);
  EXPECT_EQ(literal(ado::Bytes(many), type("image")), "! it is too long for a literal");
}

TEST(LiteralOf, NamesWhatItDoesNotKnow) {
  EXPECT_EQ(literal(std::int64_t{1}, type("xml")), "! there is no literal of type xml");
}

}  // namespace
}  // namespace kelvane::rows
