#include <string>
#include <utility>
#include <vector>

#include "inventory/compare/titles.h"
#include "model/text.h"
#include "report/change_report.h"
#include "report/change_words.h"
#include "report/drawn_tree.h"
#include "report/renames.h"
#include "report/visible_text.h"

namespace kelvane {
namespace report {
namespace {

using inventory::Change;

// Makes the nodes of the tree.
class ChangeTree {
 public:
  ChangeTree(const std::vector<Rename>& renames, Colors colors)
      : renames_(renames), colors_(colors) {}

  Node object(const Change& object) const {
    const std::string_view kind = inventory::rowOf(object.kind).singular;
    const std::u16string name = toUtf16(object.name.empty() ? kind : object.name);
    Node node{painted(showValue(name), Ink::title, colors_) + u": "};
    const std::string owner = ownerOf(object);
    if (const auto side = sideOf(object)) {
      node.text += onlyInLine(object, owner, colors_);
      if (const Rename* rename = renames_.of(kind, *side, name))
        node.text += u", " + renameNote(*rename, *side);
      return node;
    }
    node.text += counted(static_cast<std::int64_t>(countOf(object)), "difference", "differences");
    for (const inventory::AttributeChange& one : object.attributes)
      node.children.push_back({leaf(ShownChange(object.kind, one))});
    for (const Change& inner : object.parts) node.children.push_back(part(inner, owner));
    return node;
  }

 private:
  Node part(const Change& part, std::string_view owner) const {
    Node node{headingOf(part, owner)};
    if (!part.isOnBothSides()) {
      node.text += u": " + onlyInLine(part, owner, colors_);
      return node;
    }
    const auto [text, label, rest] = inlineOf(part, Place::part, colors_);
    if (!text.empty()) node.text += u": " + text;
    for (const ShownChange& one : rest) node.children.push_back({leaf(one)});
    for (const Change& inner : part.parts) node.children.push_back(this->part(inner, owner));
    return node;
  }

  std::u16string leaf(const ShownChange& one) const {
    return one.label() + u":" +
           (one.isShort() ? u" " + one.line(colors_) : firstChange(one.was(), one.is(), colors_));
  }

  RenameIndex renames_;
  Colors colors_;
};

}  // namespace
}  // namespace report

void writeTextTree(const std::vector<inventory::Change>& changes, const ReportHeader& header,
                   Colors colors, std::ostream& out) {
  const report::ChangeTree tree(header.renames, colors);
  const report::Tallies tallies = report::talliesOf(changes);
  std::vector<report::Node> kinds;
  report::forEachKind(changes, [&](const inventory::KindRow&, auto first, auto last) {
    report::Node& kind = kinds.emplace_back(report::kindNode(tallies[kinds.size()]));
    for (; first != last; ++first) kind.children.push_back(tree.object(*first));
  });
  report::drawTree(kinds, tallies, header, colors, out);
}

}  // namespace kelvane
