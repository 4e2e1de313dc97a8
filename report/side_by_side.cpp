#include "report/side_by_side.h"

#include <algorithm>

#include "report/line_diff.h"

namespace kelvane::report {
namespace {

using Lines = std::vector<std::u16string_view>;

// Up to so many pairs of changed lines are weighed; larger blocks are paired in their order.
constexpr std::size_t kMostPairs = 10'000;
// Lines share a row when at least this share of their words, in percent, is in both.
constexpr std::size_t kLeastLikeness = 40;

bool isBlank(std::u16string_view word) {
  return word.find_first_not_of(u" \t\r\n\v\f") == word.npos;
}

// The words of a line in order of their letters, without blanks.
Lines sortedWords(std::u16string_view line) {
  Lines words = wordsOf(line);
  std::erase_if(words, isBlank);
  std::ranges::sort(words);
  return words;
}

// From 0, nothing in common, to 100; blank lines are like each other.
std::size_t likeness(const Lines& a, const Lines& b) {
  if (a.empty() && b.empty()) return 100;
  std::size_t common = 0;
  for (auto inA = a.begin(), inB = b.begin(); inA != a.end() && inB != b.end();) {
    if (*inA == *inB) {
      ++common;
      ++inA, ++inB;
    } else if (*inA < *inB) {
      ++inA;
    } else {
      ++inB;
    }
  }
  return 200 * common / (a.size() + b.size());
}

// Pairs the removed with the added lines of one run of changes so that, in order, the pairs are as
// alike as can be.
class Pairing {
 public:
  Pairing(const Lines& removed, const Lines& added)
      : removed_(removed),
        added_(added),
        width_(added.size() + 1),
        best_((removed.size() + 1) * width_) {
    std::vector<Lines> addedWords(added.size());
    std::ranges::transform(added, addedWords.begin(), sortedWords);
    gains_.reserve(removed.size() * added.size());
    for (const auto line : removed) {
      const Lines words = sortedWords(line);
      for (const Lines& others : addedWords) {
        const std::size_t alike = likeness(words, others);
        gains_.push_back(alike < kLeastLikeness ? 0 : alike);
      }
    }
    for (std::size_t r = removed.size(); r-- > 0;)
      for (std::size_t a = added.size(); a-- > 0;)
        best(r, a) = std::max({best(r + 1, a), best(r, a + 1), paired(r, a)});
  }

  void appendTo(std::vector<Row>& rows) {
    std::size_t r = 0, a = 0;
    while (r < removed_.size() || a < added_.size()) {
      const bool both = r < removed_.size() && a < added_.size();
      if (both && gain(r, a) > 0 && best(r, a) == paired(r, a))
        rows.push_back({removed_[r++], added_[a++]});
      else if (a == added_.size() || (both && best(r, a) == best(r + 1, a)))
        rows.push_back({removed_[r++], {}});
      else
        rows.push_back({{}, added_[a++]});
    }
  }

 private:
  std::size_t& best(std::size_t r, std::size_t a) { return best_[r * width_ + a]; }
  std::size_t gain(std::size_t r, std::size_t a) const { return gains_[r * added_.size() + a]; }
  std::size_t paired(std::size_t r, std::size_t a) {
    return gain(r, a) == 0 ? 0 : gain(r, a) + best(r + 1, a + 1);
  }

  const Lines &removed_, &added_;
  std::size_t width_;
  std::vector<std::size_t> best_;   // the likeness to be had from these lines on
  std::vector<std::size_t> gains_;  // likeness of each pair, 0 where they do not share a row
};

void appendInOrder(const Lines& removed, const Lines& added, std::vector<Row>& rows) {
  for (std::size_t at = 0; at < std::max(removed.size(), added.size()); ++at) {
    Row row;
    if (at < removed.size()) row.before = removed[at];
    if (at < added.size()) row.after = added[at];
    rows.push_back(row);
  }
}

// Adds a piece, joined with the last one when both are of the same sort.
void add(Pieces& pieces, bool changed, std::u16string_view text) {
  const bool lastIsChanged = pieces.size() % 2 == 0;
  if (lastIsChanged == changed) {
    pieces.back() = {pieces.back().data(), pieces.back().size() + text.size()};
  } else {
    pieces.push_back(text);
  }
}

}  // namespace

MarkedPair markChanges(std::u16string_view before, std::u16string_view after) {
  const auto words = diffWords(before, after);
  const bool common = std::ranges::any_of(words, [](const DiffLine& word) {
    return word.change == LineChange::same && !isBlank(word.text);
  });
  if (!common && !isBlank(before) && !isBlank(after))
    return {{before.substr(0, 0), before}, {after.substr(0, 0), after}};
  MarkedPair pair{{before.substr(0, 0)}, {after.substr(0, 0)}};
  std::size_t inBefore = 0, inAfter = 0;
  for (const auto& [change, text] : words) {
    if (change != LineChange::added)
      add(pair.before, change == LineChange::removed, before.substr(inBefore, text.size()));
    if (change != LineChange::removed)
      add(pair.after, change == LineChange::added, after.substr(inAfter, text.size()));
    if (change != LineChange::added) inBefore += text.size();
    if (change != LineChange::removed) inAfter += text.size();
  }
  return pair;
}

std::vector<Row> sideBySide(std::u16string_view before, std::u16string_view after) {
  std::vector<Row> rows;
  Lines removed, added;
  const auto flush = [&] {
    if (removed.size() * added.size() > kMostPairs)
      appendInOrder(removed, added, rows);
    else
      Pairing(removed, added).appendTo(rows);
    removed.clear();
    added.clear();
  };
  for (const auto& [change, text] : diffLines(before, after)) {
    if (change == LineChange::same) {
      flush();
      rows.push_back({text, text, true});
    } else {
      (change == LineChange::removed ? removed : added).push_back(text);
    }
  }
  flush();
  return rows;
}

}  // namespace kelvane::report
