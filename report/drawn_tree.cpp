#include "report/drawn_tree.h"

#include <algorithm>
#include <cstdint>
#include <ostream>

#include "model/text.h"
#include "report/line_diff.h"
#include "report/visible_text.h"

namespace kelvane::report {
namespace {

// Of a line of a long text, around the place where it begins to differ.
constexpr std::size_t kLongestExcerpt = 48, kBeforeChange = 16;

void drawChildren(const std::vector<Node>& nodes, const std::string& indent, std::ostream& out) {
  for (const Node& child : nodes) {
    const bool last = &child == &nodes.back();
    out << indent << (last ? "`-- " : "|-- ") << toUtf8(child.text) << '\n';
    drawChildren(child.children, indent + (last ? "    " : "|   "), out);
  }
}

// `at` or the place before it, so that no pair of surrogates is cut.
std::size_t wholeCharacter(std::u16string_view line, std::size_t at) {
  return at > 0 && at < line.size() && (line[at] & 0xFC00) == 0xDC00 ? at - 1 : at;
}

std::u16string excerpt(std::u16string_view line, std::size_t change, Blanks blanks) {
  const std::size_t begin =
      blanks == Blanks::visible ? 0 : std::min(line.find_first_not_of(u" \t"), line.size());
  std::size_t from = begin;
  if (change > begin + kBeforeChange) from = wholeCharacter(line, change - kBeforeChange);
  const std::size_t to = wholeCharacter(line, std::min(from + kLongestExcerpt, line.size()));
  return (from > begin ? u"..." : u"") + showLine(line.substr(from, to - from), blanks) +
         (to < line.size() && !showLine(line.substr(to), blanks).empty() ? u"..." : u"");
}

}  // namespace

Node kindNode(const KindTally& tally) {
  return {toUtf16(tally.plural) + u": " + countsText(tally.counts)};
}

std::u16string firstChange(std::u16string_view before, std::u16string_view after, Colors colors) {
  const std::vector<DiffLine> lines = diffLines(before, after);
  const std::vector<Hunk> changes = hunks(lines, 0);
  if (changes.empty()) return {};
  std::int64_t removed = 0, added = 0;
  for (const Hunk& change : changes) {
    removed += change.beforeCount;
    added += change.afterCount;
  }
  const Hunk& first = changes.front();
  const auto lineOf = [&](LineChange change) {
    return std::ranges::find(lines.begin() + static_cast<std::ptrdiff_t>(first.first), lines.end(),
                             change, &DiffLine::change)
        ->text;
  };
  const bool inSource = first.beforeCount > 0, inTarget = first.afterCount > 0;
  const std::u16string_view was = inSource ? lineOf(LineChange::removed) : u"";
  const std::u16string_view is = inTarget ? lineOf(LineChange::added) : u"";
  const bool blanksAlone =
      withoutBlanks(was) == withoutBlanks(is) ||
      (inSource != inTarget && withoutBlanks(was).empty() && withoutBlanks(is).empty());
  const Blanks blanks = blanksAlone ? Blanks::visible : Blanks::plain;
  const auto change =
      inSource && inTarget
          ? static_cast<std::size_t>(std::ranges::mismatch(was, is).in1 - was.begin())
          : 0;
  const std::u16string source = painted(excerpt(was, change, blanks), Ink::source, colors);
  const std::u16string target = painted(excerpt(is, change, blanks), Ink::target, colors);
  const std::u16string both = source + u" -> " + target + lookAlikeNote(was, is);
  return u" -" + decimalText(removed) + u" +" + decimalText(added) + u" lines, first line " +
         decimalText(inSource ? first.beforeLine : first.afterLine) + u": " +
         (inSource && inTarget ? both
          : inSource           ? u"- " + source
                               : u"+ " + target);
}

void drawNodes(const std::vector<Node>& nodes, std::ostream& out) { drawChildren(nodes, {}, out); }

void drawTree(const std::vector<Node>& kinds, const Tallies& tallies, const ReportHeader& header,
              Colors colors, std::ostream& out) {
  out << toUtf8(sidesLine(header, colors)) << '\n';
  drawChildren(kinds, {}, out);
  out << '\n' << toUtf8(closingLine(tallies, header)) << '\n';
}

}  // namespace kelvane::report
