#include "report/line_diff.h"

#include <algorithm>
#include <optional>
#include <span>

namespace kelvane::report {
namespace {

using Lines = std::span<const std::u16string_view>;
using Pieces = std::vector<std::u16string_view>;

// Bounds the time and memory for texts that have little in common.
constexpr int kMostChanges = 2'000;

std::vector<std::u16string_view> fedLinesOf(std::u16string_view text) {
  std::vector<std::u16string_view> lines;
  while (!text.empty()) {
    const std::size_t length = std::min(text.find(u'\n'), text.size() - 1) + 1;
    lines.push_back(text.substr(0, length));
    text.remove_prefix(length);
  }
  return lines;
}

std::vector<std::u16string_view> linesOf(std::u16string_view text) {
  std::vector<std::u16string_view> lines;
  while (!text.empty()) {
    std::size_t end = std::min(text.find_first_of(u"\r\n"), text.size() - 1);
    if (text.substr(end, 2) == u"\r\n") ++end;
    lines.push_back(text.substr(0, end + 1));
    text.remove_prefix(end + 1);
  }
  return lines;
}

// Myers' greedy search for the shortest way from one text to the other. A diagonal k holds the
// points with (lines of before) - (lines of after) = k; `furthest` is how far each was followed.
class ShortestEdit {
 public:
  ShortestEdit(Lines before, Lines after)
      : before_(before),
        after_(after),
        goalX_(static_cast<int>(before.size())),
        goalY_(static_cast<int>(after.size())) {}

  // The lines in order, or nothing when there are too many changes.
  std::optional<std::vector<DiffLine>> find() {
    std::vector<int> furthest{0};
    const int most = std::min(goalX_ + goalY_, kMostChanges);
    for (int changes = 0; changes <= most; ++changes) {
      std::vector<int> next(2 * static_cast<std::size_t>(changes) + 1, -1);
      for (int k = -changes; k <= changes; k += 2) {
        const int x = follow(startOf(furthest, changes, k), k);
        next[static_cast<std::size_t>(k + changes)] = x;
        if (x >= goalX_ && x - k >= goalY_) return pathTo(changes);
      }
      steps_.push_back(next);
      furthest = std::move(next);
    }
    return std::nullopt;
  }

 private:
  // Along diagonal k, after one change less than `changes`.
  static int at(const std::vector<int>& furthest, int changes, int k) {
    return furthest[static_cast<std::size_t>(k + changes - 1)];
  }
  static bool comesFromAbove(const std::vector<int>& furthest, int changes, int k) {
    return k == -changes ||
           (k != changes && at(furthest, changes, k - 1) < at(furthest, changes, k + 1));
  }
  static int startOf(const std::vector<int>& furthest, int changes, int k) {
    if (changes == 0) return 0;
    return comesFromAbove(furthest, changes, k) ? at(furthest, changes, k + 1)
                                                : at(furthest, changes, k - 1) + 1;
  }
  int follow(int x, int k) const {
    while (x < goalX_ && x - k < goalY_ && line(before_, x) == line(after_, x - k)) ++x;
    return x;
  }
  static std::u16string_view line(Lines lines, int at) {
    return lines[static_cast<std::size_t>(at)];
  }

  std::vector<DiffLine> pathTo(int changes) const {
    std::vector<DiffLine> backwards;
    int x = goalX_, y = goalY_;
    for (; changes > 0; --changes) {
      const auto& furthest = steps_[static_cast<std::size_t>(changes - 1)];
      const int k = x - y;
      const bool added = comesFromAbove(furthest, changes, k);
      const int fromX = at(furthest, changes, added ? k + 1 : k - 1);
      const int fromY = fromX - (added ? k + 1 : k - 1);
      const int startX = added ? fromX : fromX + 1;
      for (; x > startX; --x, --y) backwards.push_back({LineChange::same, line(before_, x - 1)});
      if (added)
        backwards.push_back({LineChange::added, line(after_, fromY)});
      else
        backwards.push_back({LineChange::removed, line(before_, fromX)});
      x = fromX;
      y = fromY;
    }
    for (; x > 0; --x) backwards.push_back({LineChange::same, line(before_, x - 1)});
    std::reverse(backwards.begin(), backwards.end());
    return backwards;
  }

  Lines before_, after_;
  int goalX_, goalY_;
  std::vector<std::vector<int>> steps_;  // `furthest` by the number of changes
};

void append(std::vector<DiffLine>& lines, LineChange change, Lines texts) {
  for (const auto text : texts) lines.push_back({change, text});
}

std::vector<DiffLine> diffPieces(const Pieces& beforeLines, const Pieces& afterLines) {
  const auto [beforeEnd, afterEnd] =
      std::mismatch(beforeLines.begin(), beforeLines.end(), afterLines.begin(), afterLines.end());
  const auto prefix = static_cast<std::size_t>(beforeEnd - beforeLines.begin());
  const auto suffix = static_cast<std::size_t>(
      std::mismatch(beforeLines.rbegin(), std::make_reverse_iterator(beforeEnd),
                    afterLines.rbegin(), std::make_reverse_iterator(afterEnd))
          .first -
      beforeLines.rbegin());
  const Lines removed = Lines(beforeLines).subspan(prefix, beforeLines.size() - prefix - suffix);
  const Lines added = Lines(afterLines).subspan(prefix, afterLines.size() - prefix - suffix);

  std::vector<DiffLine> result;
  append(result, LineChange::same, Lines(beforeLines).first(prefix));
  if (const auto middle = ShortestEdit(removed, added).find()) {
    result.insert(result.end(), middle->begin(), middle->end());
  } else {
    append(result, LineChange::removed, removed);
    append(result, LineChange::added, added);
  }
  append(result, LineChange::same, Lines(beforeLines).last(suffix));
  return result;
}

enum class Letter { blank, name, other };

Letter letterOf(char16_t unit) {
  if (unit == u' ' || (unit >= u'\t' && unit <= u'\r')) return Letter::blank;
  const bool isName = (unit >= u'0' && unit <= u'9') || (unit >= u'A' && unit <= u'Z') ||
                      (unit >= u'a' && unit <= u'z') || unit == u'_' || unit == u'@' ||
                      unit == u'#' || unit == u'$' || unit >= 0x80;
  return isName ? Letter::name : Letter::other;
}

}  // namespace

std::vector<DiffLine> diffLines(std::u16string_view before, std::u16string_view after) {
  return diffPieces(linesOf(before), linesOf(after));
}

std::vector<DiffLine> diffFedLines(std::u16string_view before, std::u16string_view after) {
  return diffPieces(fedLinesOf(before), fedLinesOf(after));
}

std::vector<DiffLine> diffWords(std::u16string_view before, std::u16string_view after) {
  return diffPieces(wordsOf(before), wordsOf(after));
}

std::vector<std::u16string_view> wordsOf(std::u16string_view line) {
  Pieces words;
  while (!line.empty()) {
    const Letter letter = letterOf(line[0]);
    std::size_t end = 1;
    if (letter != Letter::other)
      while (end < line.size() && letterOf(line[end]) == letter) ++end;
    words.push_back(line.substr(0, end));
    line.remove_prefix(end);
  }
  return words;
}

std::vector<Hunk> hunks(const std::vector<DiffLine>& lines, std::size_t context) {
  std::vector<Hunk> result;
  for (std::size_t at = 0; at < lines.size(); ++at) {
    if (lines[at].change == LineChange::same) continue;
    const std::size_t first = at > context ? at - context : 0;
    if (result.empty() || first > result.back().last) result.push_back({.first = first});
    result.back().last = std::min(at + 1 + context, lines.size());
  }
  std::int64_t beforeLine = 1, afterLine = 1;
  std::size_t at = 0;
  for (Hunk& hunk : result) {
    const auto pass = [&](std::size_t end) {
      for (; at < end; ++at) {
        beforeLine += lines[at].change != LineChange::added;
        afterLine += lines[at].change != LineChange::removed;
      }
    };
    pass(hunk.first);
    hunk.beforeLine = beforeLine;
    hunk.afterLine = afterLine;
    pass(hunk.last);
    hunk.beforeCount = beforeLine - hunk.beforeLine;
    hunk.afterCount = afterLine - hunk.afterLine;
  }
  return result;
}

}  // namespace kelvane::report
