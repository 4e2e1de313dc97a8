#include "tests/inventory/change_text.h"

namespace kelvane::inventory {
namespace {

void add(const std::vector<Change>& changes, const std::string& path,
         std::vector<std::string>& all) {
  for (const Change& change : changes) {
    std::string here = path + std::string(rowOf(change.kind).singular);
    if (!change.name.empty()) here += ' ' + change.name;
    if (!change.isOnBothSides()) {
      const bool inSource = change.isOnlyInSource();
      const std::string said = declarationOf(inSource ? change.source : change.target);
      all.push_back(here + (inSource ? ": only in source" : ": only in target") +
                    (said.empty() ? "" : ": " + said));
    }
    for (const AttributeChange& one : change.attributes) {
      const std::string label = one.style == Style::bare ? "" : std::string(one.label) + ": ";
      all.push_back(here + ": " + label + one.was + " -> " + one.is);
    }
    add(change.parts, here + " > ", all);
  }
}

}  // namespace

std::vector<std::string> lines(const std::vector<Change>& changes) {
  std::vector<std::string> all;
  add(changes, "", all);
  return all;
}

}  // namespace kelvane::inventory
