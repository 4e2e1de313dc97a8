#include <algorithm>
#include <array>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "model/text.h"
#include "report/diff_walk.h"
#include "report/line_diff.h"
#include "report/phrases.h"
#include "report/readable_diff.h"
#include "report/text_report.h"
#include "report/visible_text.h"

namespace kelvane {
namespace report {
namespace {

// Of a line of a long text, around the place where it begins to differ.
constexpr std::size_t kLongestExcerpt = 48, kBeforeChange = 16;

struct Node {
  std::u16string text;
  std::vector<Node> children = {};
};

void drawChildren(const Node& node, const std::string& indent, std::ostream& out) {
  for (const Node& child : node.children) {
    const bool last = &child == &node.children.back();
    out << indent << (last ? "`-- " : "|-- ") << toUtf8(child.text) << '\n';
    drawChildren(child, indent + (last ? "    " : "|   "), out);
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

// The first line that differs between two texts, and how many do.
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

// Makes the nodes of the tree.
class Tree {
 public:
  Tree(const std::vector<Rename>& renames, Colors colors) : renames_(renames), colors_(colors) {}

  template <class Object>
  Node kind(const Kind<Object>& kind, const Array<Object>& objects) const {
    const KindCounts counts = countsOf(objects);
    std::u16string text;
    for (const auto& [count, words] : {std::pair{counts.differ, u"differ"},
                                       {counts.onlyInSource, u"only in source"},
                                       {counts.onlyInTarget, u"only in target"}}) {
      if (count > 0) text += (text.empty() ? u": " : u", ") + decimalText(count) + u" " + words;
    }
    Node node{toUtf16(kind.plural) + text};
    for (const Object& one : objects) addObject(kind, one, node.children);
    return node;
  }

 private:
  template <class Object>
  void addObject(const Kind<Object>& kind, const Object& object, std::vector<Node>& nodes) const {
    const std::u16string title = painted(showValue(object.FullName), Ink::title, colors_);
    Node whole;
    for (const typeDiff& difference : object.Diff) {
      if (difference.DiffType == diff_DoesNotExist) {
        Node& missing =
            nodes.emplace_back(Node{title + u": " + onlyIn(difference.Location, colors_)});
        if (const Rename* rename =
                renames_.of(kind.entityType, difference.Location, object.FullName))
          missing.text += u", " + renameNote(*rename, difference.Location);
      } else {
        whole.children.push_back(leaf(difference));
      }
    }
    for (const auto& [part, entities, count] : kParts<Object>)
      for (const diffEntity& entity : object.*entities) addPart(part, entity, whole.children);
    if (whole.children.empty()) return;
    whole.text = title + u": " + counted(differencesOf(object), "difference", "differences");
    nodes.push_back(std::move(whole));
  }

  void addPart(Part part, const diffEntity& entity, std::vector<Node>& nodes) const {
    Node whole{heading(titleOf(part, entity))};
    for (const typeDiff& difference : entity.Diff) {
      if (difference.DiffType == diff_DoesNotExist)
        nodes.push_back({heading(titleOfMissing(part, entity, difference)) + u": " +
                         onlyIn(difference.Location, colors_)});
      else
        whole.children.push_back(leaf(readable(part, difference)));
    }
    if (!whole.children.empty()) nodes.push_back(std::move(whole));
  }

  Node leaf(const typeDiff& difference) const {
    const Values values = valuesOf(difference);
    if (values.shortLines) return {valuesLine(difference, values, colors_)};
    return {difference.SubEntityType + u":" + firstChange(values.before, values.after, colors_)};
  }

  RenameIndex renames_;
  Colors colors_;
};

}  // namespace
}  // namespace report

void writeTextTree(const diffSchema& differences, const ReportHeader& header, Colors colors,
                   std::ostream& out) {
  const diffSchema shown = report::withOwnersOfGroups(differences);
  const report::Tree tree(header.renames, colors);
  report::Node root{report::sidesLine(header, colors)};
  report::forEachKind(shown, [&](const auto& kind, const auto& objects) {
    if (!objects.empty()) root.children.push_back(tree.kind(kind, objects));
  });
  out << toUtf8(root.text) << '\n';
  report::drawChildren(root, {}, out);
  out << '\n' << toUtf8(report::closingLine(shown, header)) << '\n';
}

}  // namespace kelvane
