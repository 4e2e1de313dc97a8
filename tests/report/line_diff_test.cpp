// Properties of the comparison of lines: nothing is lost, nothing more than needed is changed.
#include "report/line_diff.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <random>
#include <string>

namespace kelvane::report {
namespace {

std::u16string sideOf(const std::vector<DiffLine>& lines, LineChange other) {
  std::u16string text;
  for (const DiffLine& line : lines)
    if (line.change != other) text += line.text;
  return text;
}

// By the textbook's table, for texts whose lines have one letter.
std::size_t longestCommon(const std::u16string& a, const std::u16string& b) {
  std::vector<std::vector<std::size_t>> best(a.size() + 1, std::vector<std::size_t>(b.size() + 1));
  for (std::size_t i = 1; i <= a.size(); ++i)
    for (std::size_t j = 1; j <= b.size(); ++j)
      best[i][j] =
          a[i - 1] == b[j - 1] ? best[i - 1][j - 1] + 1 : std::max(best[i - 1][j], best[i][j - 1]);
  return best[a.size()][b.size()];
}

std::u16string asLines(const std::u16string& letters) {
  std::u16string text;
  for (const char16_t letter : letters) text += std::u16string{letter, u'\n'};
  return text;
}

TEST(LineDiff, IsCompleteAndShortest) {
  std::mt19937 random(7);
  const auto letters = [&] {
    std::u16string result(random() % 12, u'a');
    for (char16_t& letter : result) letter = static_cast<char16_t>(u'a' + random() % 4);
    return result;
  };
  for (int round = 0; round < 500; ++round) {
    const std::u16string a = letters(), b = letters();
    const std::u16string before = asLines(a), after = asLines(b);
    const auto lines = diffLines(before, after);
    ASSERT_EQ(sideOf(lines, LineChange::added), before);
    ASSERT_EQ(sideOf(lines, LineChange::removed), after);
    ASSERT_EQ(lines.size(), a.size() + b.size() - longestCommon(a, b));
  }
}

}  // namespace
}  // namespace kelvane::report
