#include "drivers/odbc/value_text.h"

#include <gtest/gtest.h>

#include "model/text.h"

namespace kelvane::odbc {
namespace {

template <class Value>
std::string shown(const std::optional<Value>& value) {
  return value ? toUtf8(value->text()) : "none";
}

TEST(ValueText, KeepsEveryDigitOfAnExactNumber) {
  struct Case {
    const char* text;
    int scale;
    const char* expected;
  };
  for (const Case& c : {
           Case{"12.5", 1, "12.5"},
           {"-.05", 2, "-0.05"},
           {"7", 4, "7.0000"},
           {"+922337203685477.5807", 4, "922337203685477.5807"},
           {"-99999999999999999999999999999999999999", 0,
            "-99999999999999999999999999999999999999"},
           {"0.00000000000000000000000000000000000001", 38,
            "0.00000000000000000000000000000000000001"},
           {" 1.25 ", 1, "1.25"},
           {"-0", 0, "0"},
           {"100000000000000000000000000000000000000", 0, "none"},
           {"1e5", 0, "none"},
           {"1.2.3", 0, "none"},
           {"-", 0, "none"},
           {".", 0, "none"},
           {"", 0, "none"},
       })
    EXPECT_EQ(shown(decimalOf(c.text, c.scale)), c.expected) << c.text;
}

TEST(ValueText, KeepsTheFractionOfATimeOfDay) {
  struct Case {
    const char* text;
    const char* expected;
  };
  for (const Case& c : {
           Case{"13:05:00", "13:05:00"},
           {"23:59:59.996667", "23:59:59.996667"},
           {"1900-01-01 00:00:00.003", "00:00:00.003"},
           {"07:30", "07:30:00"},
           {"24:00:00", "none"},
           {"12:61:00", "none"},
           {"12:00:00.1234567890", "none"},
           {"12:00:00.x", "none"},
           {"-1:00:00", "none"},
           {"noon", "none"},
           {"", "none"},
       })
    EXPECT_EQ(shown(timeOf(c.text)), c.expected) << c.text;
}

}  // namespace
}  // namespace kelvane::odbc
