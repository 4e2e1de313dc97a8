// A tree drawn with plain characters, and how its leaves show long texts.
//
// Lifetime and threading: plain values and free functions.
#pragma once

#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

#include "report/phrases.h"
#include "report/tallies.h"

namespace kelvane::report {

struct Node {
  std::u16string text;
  std::vector<Node> children = {};
};

// "tables: 1 differ, 2 only in source"
Node kindNode(const KindTally& tally);

// " -1 +2 lines, first line 4: a -> b": how many lines differ, and the beginning of the first.
std::u16string firstChange(std::u16string_view before, std::u16string_view after, Colors colors);

// Writes UTF-8: a line for each node.
void drawNodes(const std::vector<Node>& nodes, std::ostream& out);
// Writes UTF-8: which side is which, the kinds, and the closing line.
void drawTree(const std::vector<Node>& kinds, const Tallies& tallies, const ReportHeader& header,
              Colors colors, std::ostream& out);

}  // namespace kelvane::report
