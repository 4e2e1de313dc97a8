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
      {Text(u"+7"), 7},
      {Text(u"1e3"), 1000},
      // through a double these would round the other way, or not fit
      {exact(14999999999999999999u, 19), 1},
      {exact(15000000000000000001u, 19), 2},
      {exact(2500000000000000000u, 18, true), -2},
      {exact(2147483647499999999, 9), 2147483647},
      {exact(21474836485, 1, true), -2147483648},
      {Text(u"1.4999999999999999999"), 1},
      {Text(u"-2147483648.49999999999999999999"), -2147483648},
      {Decimal{{0, 1}, 19, false}, 2},  // 2^64 / 10^19
  };
  for (const auto& [value, number] : cases)
    EXPECT_EQ(value.toLong(), number) << toUtf8(value.toText());
  constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
  constexpr double kInfinite = std::numeric_limits<double>::infinity();
  const Value misfits[] = {Text(u""),
                           Text(u"12 a"),
                           Text(u"nan"),
                           Text(u"+-5"),
                           Text(u"++5"),
                           Text(u"."),
                           Text(u"1e400"),
                           std::int64_t{2147483648},
                           exact(21474836475, 1),
                           Decimal{{0, 1}, 0, false},
                           1e300,
                           kNan,
                           kInfinite,
                           -std::numeric_limits<float>::infinity(),
                           std::numeric_limits<float>::quiet_NaN(),
                           DateTime{},
                           Bytes(kBytes)};
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

struct Pair {
  Value a, b;
};
std::string shown(const Pair& pair) {
  const auto one = [](const Value& value) {
    return std::to_string(value.index()) + ":" + toUtf8(NullToString(value));
  };
  return one(pair.a) + " and " + one(pair.b);
}

constexpr std::int64_t kHour = 3'600'000'000'000;
constexpr DateTime moment(std::int32_t days, std::int64_t hours) { return {days, hours * kHour}; }
constexpr DateTime date(std::int32_t days) { return {days, 0, DateTime::Parts::dateOnly}; }
constexpr DateTime timeOfDay(std::int64_t hours) {
  return {0, hours * kHour, DateTime::Parts::timeOnly};
}

// What an automation host says of two variants, for each pair of types that can be equal.
TEST(Value, EqualOnesOfDifferingTypes) {
  constexpr double kInfinite = std::numeric_limits<double>::infinity();
  const Pair pairs[] = {
      // a null is never different
      {Null{}, Null{}},
      {Null{}, Text(u"")},
      {std::int64_t{5}, Null{}},
      // exact numbers
      {std::int64_t{5}, std::uint64_t{5}},
      {std::int64_t{5}, exact(500, 2)},
      {std::uint64_t{18446744073709551615u}, exact(18446744073709551615u, 0)},
      {true, std::int64_t{-1}},
      {false, std::uint64_t{0}},
      {true, exact(100, 2, true)},
      // against single precision
      {0.1f, 0.1},
      {0.1f, 0.10000000149011612},
      {0.1f, exact(1, 1)},
      {0.1f, exact(1000, 4)},
      {0.1f, exact(100000000000000000, 18)},
      {16777216.0f, std::int64_t{16777217}},
      {16777216.0f, exact(167772170, 1)},
      {18446744073709551616.0f, std::uint64_t{18446744073709551615u}},
      {-1.0f, true},
      {3.0f, moment(1, 0)},
      {3.5f, moment(1, 12)},
      {std::numeric_limits<float>::infinity(), kInfinite},
      // against double precision
      {0.1, exact(1, 1)},
      {0.1, exact(1000, 4)},
      {0.1234567890123456789, exact(1234567890123456789, 19)},
      {1e22, Decimal{{1864712049423024128u, 542u}, 0, false}},
      {9007199254740992.0, std::int64_t{9007199254740993}},
      {18446744073709551616.0, std::uint64_t{18446744073709551615u}},
      {-1.0, true},
      {0.0, -0.0},
      // days count from 1899-12-30
      {moment(1, 0), date(1)},
      {DateTime{1, 7, DateTime::Parts::dateOnly}, date(1)},
      {moment(-2, 13), timeOfDay(13)},
      {moment(1, 0), std::int64_t{3}},
      {date(1), std::uint64_t{3}},
      {date(1), exact(300, 2)},
      {moment(1, 12), 3.5},
      {moment(-3, 6), -1.25},
      {moment(-3, 0), true},
      {timeOfDay(12), exact(5, 1)},
      // the same type
      {Text(u"a"), Text(u"a")},
      {Bytes(kBytes), Bytes(std::span(kBytes))},
  };
  for (const Pair& pair : pairs) {
    EXPECT_FALSE(different(pair.a, pair.b)) << shown(pair);
    EXPECT_FALSE(different(pair.b, pair.a)) << shown(pair);
  }
}

TEST(Value, DifferentOnesOfAllTypes) {
  constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
  const Pair pairs[] = {
      // text is equal to the same text alone, whatever it says
      {Text(u"a"), Text(u"A")},
      {Text(u"a"), Text(u"a ")},
      {Text(u"5"), std::int64_t{5}},
      {Text(u"5"), std::uint64_t{5}},
      {Text(u"0.1"), 0.1},
      {Text(u"0.1"), 0.1f},
      {Text(u"1.50"), exact(150, 2)},
      {Text(u"True"), true},
      {Text(u""), std::int64_t{0}},
      {Text(u"1900-01-02"), date(1)},
      {Text(u"0x00af"), Bytes(kBytes)},
      {Bytes(kBytes), Bytes(kBytes).first(1)},
      {Bytes(kBytes), std::int64_t{0xAF}},
      {Bytes(kBytes), 175.0},
      // exact numbers
      {std::int64_t{-5}, std::uint64_t{18446744073709551611u}},
      {std::int64_t{9007199254740993}, exact(9007199254740992, 0)},
      {true, std::int64_t{1}},
      {true, exact(1, 0)},
      {false, exact(1, 9)},
      // against single precision
      {0.1f, 0.1000001},
      {0.1f, exact(1000001, 7)},
      {0.1f, std::int64_t{0}},
      {16777216.0f, std::int64_t{16777218}},
      {1.0f, true},
      {std::numeric_limits<float>::max(), 1e39},
      {std::numeric_limits<float>::infinity(), 1e39},
      {1e30f, exact(1, 0)},
      // against double precision
      {0.1, exact(1000000000000001, 16)},
      {0.30000000000000004, exact(3, 1)},
      {9007199254740992.0, exact(9007199254740995, 0)},
      {0.5, std::int64_t{0}},
      {1.0, true},
      {1e300, exact(1, 0)},
      {kNan, kNan},
      {kNan, std::int64_t{0}},
      // days
      {moment(1, 0), moment(1, 1)},
      {DateTime{1, 0}, DateTime{1, 1}},
      {moment(1, 12), date(1)},
      {moment(0, 13), timeOfDay(13)},
      {date(1), timeOfDay(0)},
      {date(1), std::int64_t{1}},
      {timeOfDay(12), 0.25},
  };
  for (const Pair& pair : pairs) {
    EXPECT_TRUE(different(pair.a, pair.b)) << shown(pair);
    EXPECT_TRUE(different(pair.b, pair.a)) << shown(pair);
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
