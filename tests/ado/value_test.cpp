#include "ado/value.h"

#include <gtest/gtest.h>
#include <limits>
#include <vector>

#include "model/runtime_error.h"
#include "model/text.h"

namespace kelvane::ado {
namespace {

using Text = std::u16string_view;

Decimal exact(std::uint64_t magnitude, std::uint8_t scale, bool negative = false) {
  return {{magnitude, 0}, scale, negative};
}

// Its number, or 0 when nothing is raised.
template <class Call>
std::int32_t errorOf(Call&& call) {
  try {
    call();
  } catch (const RuntimeError& error) {
    return error.Number();
  }
  return 0;
}

constexpr auto kNull = static_cast<std::int32_t>(ErrorNumber::invalidNull);
constexpr auto kMismatch = static_cast<std::int32_t>(ErrorNumber::typeMismatch);

const std::byte kBytes[] = {std::byte{0x00}, std::byte{0xAF}};

TEST(Value, BecomesText) {
  const std::pair<Value, const char*> cases[] = {
      {Text(u" a "), " a "},
      {true, "True"},
      {false, "False"},
      {std::int64_t{-42}, "-42"},
      {std::numeric_limits<std::int64_t>::min(), "-9223372036854775808"},
      {std::numeric_limits<std::uint64_t>::max(), "18446744073709551615"},
      {1.5, "1.5"},
      {0.1f, "0.1"},
      {exact(150, 2), "1.50"},
      {Bytes(kBytes), "0x00af"},
      {DateTime{}, "1900-01-01 00:00:00"},
  };
  for (const auto& [value, text] : cases) EXPECT_EQ(toUtf8(value.toText()), text);
  EXPECT_EQ(errorOf([] { Value().toText(); }), kNull);
  EXPECT_EQ(NullToString(Value()), u"");
  EXPECT_EQ(NullToString(std::int64_t{7}), u"7");
}

TEST(Value, BecomesALong) {
  const std::pair<Value, std::int32_t> cases[] = {
      {Text(u" 12 "), 12},
      {Text(u"-2.5"), -2},
      {std::int64_t{-2147483648}, -2147483648},
      {true, -1},
      {false, 0},
      {0.5, 0},
      {1.5, 2},
      {exact(250, 2), 2},
      {exact(351, 2, true), -4},
      {2.5f, 2},
      {std::uint64_t{2147483647}, 2147483647},
  };
  for (const auto& [value, number] : cases)
    EXPECT_EQ(value.toLong(), number) << toUtf8(value.toText());
  const Value misfits[] = {Text(u""), Text(u"12 a"), Text(u"nan"), std::int64_t{2147483648},
                           1e300,     DateTime{},    Bytes(kBytes)};
  for (const Value& value : misfits)
    EXPECT_EQ(errorOf([&] { value.toLong(); }), kMismatch) << toUtf8(value.toText());
  EXPECT_EQ(errorOf([] { Value().toLong(); }), kNull);
  EXPECT_EQ(NullToLong(Value()), 0);
  EXPECT_EQ(NullToLong(Text(u"31")), 31);
  EXPECT_EQ(NullToShort(Value()), 0);
  EXPECT_EQ(NullToShort(std::int64_t{-32768}), -32768);
  EXPECT_EQ(errorOf([] { NullToShort(std::int64_t{32768}); }), kMismatch);
}

TEST(Value, BecomesABoolean) {
  for (const Value& value : {Value(true), Value(std::int64_t{-7}), Value(0.1), Value(Text(u"TRUE")),
                             Value(Text(u"2")), Value(exact(1, 2))})
    EXPECT_TRUE(value.toBoolean()) << toUtf8(value.toText());
  for (const Value& value : {Value(false), Value(std::int64_t{0}), Value(Text(u"false")),
                             Value(Text(u"0")), Value(exact(0, 2, true))})
    EXPECT_FALSE(value.toBoolean()) << toUtf8(value.toText());
  EXPECT_EQ(errorOf([] { Value(Text(u"yes")).toBoolean(); }), kMismatch);
  EXPECT_EQ(errorOf([] { Value().toBoolean(); }), kNull);
}

TEST(Value, ComparesAcrossTypes) {
  struct Case {
    Value a, b;
    bool different;
  };
  const Case cases[] = {
      {Null{}, Null{}, false},
      {Null{}, Text(u""), false},
      {std::int64_t{5}, Null{}, false},
      {Text(u"a"), Text(u"A"), true},
      {Text(u"a"), Text(u"a "), true},
      {std::int64_t{5}, exact(500, 2), false},
      {std::int64_t{-5}, std::uint64_t{18446744073709551611u}, true},
      {std::int64_t{9007199254740993}, exact(9007199254740992, 0), true},
      {1.5, exact(15, 1), false},
      {1.5f, 1.5, false},
      {true, std::int64_t{-1}, false},
      {true, std::int64_t{1}, true},
      {Text(u"5"), std::int64_t{5}, true},
      {DateTime{1, 0}, DateTime{1, 1}, true},
      {DateTime{1, 0}, DateTime{1, 0}, false},
      {DateTime{1, 0}, std::int64_t{1}, true},
      {Bytes(kBytes), Bytes(kBytes).first(1), true},
      {Bytes(kBytes), Bytes(std::span(kBytes)), false},
  };
  for (const Case& one : cases) {
    const std::string shown = toUtf8(NullToString(one.a)) + " and " + toUtf8(NullToString(one.b));
    EXPECT_EQ(different(one.a, one.b), one.different) << shown;
    EXPECT_EQ(different(one.b, one.a), one.different) << shown;
  }
}

TEST(Decimal, HasItsDecimalsInTextAndNotInItsValue) {
  EXPECT_EQ(exact(5, 3).text(), u"0.005");
  EXPECT_EQ(exact(0, 2, true).text(), u"0.00");
  EXPECT_EQ(exact(1234, 2, true).text(), u"-12.34");
  constexpr auto kAll = std::numeric_limits<std::uint64_t>::max();
  EXPECT_EQ((Decimal{{kAll, kAll}, 0, false}.text()), u"340282366920938463463374607431768211455");
  EXPECT_EQ(exact(15, 1), exact(1500, 3));
  EXPECT_EQ(exact(0, 0), exact(0, 5, true));
  EXPECT_NE(exact(15, 1), exact(15, 1, true));
  EXPECT_NE(exact(15, 1), exact(15, 2));
}

TEST(DateTime, TextHasWhatTheTypeHas) {
  constexpr std::int64_t kSecond = 1'000'000'000;
  constexpr std::int64_t kTime = (13 * 3600 + 5 * 60) * kSecond;
  EXPECT_EQ((DateTime{45350, kTime + 123'000'000}.text()), u"2024-03-01 13:05:00.123");
  EXPECT_EQ((DateTime{45349, kTime, DateTime::Parts::dateOnly}.text()), u"2024-02-29");
  EXPECT_EQ((DateTime{9, kTime + 1000, DateTime::Parts::timeOnly}.text()), u"13:05:00.000001");
  EXPECT_EQ((DateTime{-53690, 300'000'000}.text()), u"1753-01-01 00:00:00.300");
}

}  // namespace
}  // namespace kelvane::ado
