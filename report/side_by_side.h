// Two texts beside each other: which lines stand for each other, and what differs within them.
//
// Lifetime: results are views into the texts. Threading: free functions without state.
#pragma once

#include <optional>
#include <string_view>
#include <vector>

namespace kelvane::report {

// What both lines have and what only one of them has, in turn, beginning with what both have (which
// may be empty). Lines without anything in common are one piece that only one has.
using Pieces = std::vector<std::u16string_view>;

struct MarkedPair {
  Pieces before, after;
};
MarkedPair markChanges(std::u16string_view before, std::u16string_view after);

// A line on either side or on both.
struct Row {
  std::optional<std::u16string_view> before, after;  // with their line ends
  bool same = false;
};

// All lines of both texts in order. Among lines that changed, those that are alike share a row.
std::vector<Row> sideBySide(std::u16string_view before, std::u16string_view after);

}  // namespace kelvane::report
