// Texts of several lists in one file.
#include "rows/spool.h"

#include <array>
#include <gtest/gtest.h>

namespace kelvane::rows {
namespace {

TEST(Spool, GivesEachListItsTextsInTheirOrder) {
  Spool spool;
  std::array<Spool::List, 3> lists;
  std::array<std::vector<std::string>, 3> expected;
  // Some texts are longer than what a list keeps in memory.
  for (std::size_t at = 0; at < 3000; ++at) {
    const std::size_t list = at % 7 % 3;
    const std::string text =
        std::to_string(at) + std::string(at % 100 == 0 ? 70'000 : at % 90, 'x');
    spool.add(lists[list], text);
    expected[list].push_back(text);
    if (at == 1500) spool.close(lists[0]);
  }
  for (const std::size_t list : {2U, 0U, 1U}) {
    std::vector<std::string> found;
    spool.forEach(lists[list], [&](std::string_view text) { found.emplace_back(text); });
    EXPECT_EQ(found, expected[list]);
    EXPECT_EQ(lists[list].count(), static_cast<std::int64_t>(expected[list].size()));
  }
}

TEST(Spool, NeedsNoTexts) {
  Spool spool;
  const Spool::List none;
  spool.forEach(none, [](std::string_view) { FAIL(); });
}

}  // namespace
}  // namespace kelvane::rows
