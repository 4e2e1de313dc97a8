#include <string>
#include <utility>
#include <vector>

#include "report/diff_walk.h"
#include "report/drawn_tree.h"
#include "report/kind_words.h"
#include "report/phrases.h"
#include "report/readable_diff.h"
#include "report/renames.h"
#include "report/text_report.h"
#include "report/visible_text.h"

namespace kelvane {
namespace report {
namespace {

// Makes the nodes of the tree.
class Tree {
 public:
  Tree(const std::vector<Rename>& renames, Colors colors) : renames_(renames), colors_(colors) {}

  template <class Object>
  Node kind(const Kind<Object>& kind, const Array<Object>& objects) const {
    Node node = kindNode({kind.singular, kind.plural, countsOf(objects)});
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
                renames_.of(wordOf(kind.entityType), difference.Location, object.FullName))
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
    if (values.shortLines) return {difference.SubEntityType + u": " + valuesLine(values, colors_)};
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
  std::vector<report::Node> kinds;
  report::forEachKind(shown, [&](const auto& kind, const auto& objects) {
    if (!objects.empty()) kinds.push_back(tree.kind(kind, objects));
  });
  report::drawTree(kinds, report::talliesOf(shown), header, colors, out);
}

}  // namespace kelvane
