#include "cli/verbs/data_progress.h"

#include <gtest/gtest.h>

namespace kelvane::cli {
namespace {

TEST(DataProgress, Pace) {
  EXPECT_EQ(paceText(0, 1, 5), u"");
  EXPECT_EQ(paceText(500, 2, std::nullopt), u"250 rows/s");
  EXPECT_EQ(paceText(500, 2, 29'750), u"250 rows/s, 119 s left");
  EXPECT_EQ(paceText(500, 2, 30'000), u"250 rows/s, 2 min left");
  EXPECT_EQ(paceText(500, 2, 2'250'000), u"250 rows/s, 3 h left");
}

}  // namespace
}  // namespace kelvane::cli
