#include "report/compared_target.h"

#include <utility>

#include "findings/known_changes.h"
#include "inventory/attributes.h"
#include "inventory/compare/titles.h"
#include "inventory/shown.h"
#include "model/text.h"
#include "report/change_words.h"

namespace kelvane::report {
namespace {

// Calls visit(what differs, the line) for each difference of an object and its parts.
template <class Visit>
class Listing {
 public:
  Listing(const inventory::Change& object, std::u16string_view source, Visit visit)
      : owner_(inventory::ownerOf(object)), source_(source), visit_(visit) {
    add(object, {}, findings::placeOf(object), Place::object);
  }

 private:
  void add(const inventory::Change& change, const std::u16string& around, const std::string& known,
           Place place) {
    const std::u16string title =
        around + headingOf(change, place == Place::part ? owner_ : std::string_view());
    if (!change.isOnBothSides()) {
      std::u16string line = onlyInLine(change, owner_, Colors::none);
      constexpr std::u16string_view kOnlyInSource = u"only in source";
      if (line.starts_with(kOnlyInSource))
        line.replace(0, kOnlyInSource.size(), u"only in " + source_);
      visit_(known, title + u": " + line);
      return;
    }
    const auto [text, label, rest] = inlineOf(change, place, Colors::none);
    if (!text.empty()) visit_(known + findings::placeWithin(label), title + u": " + text);
    for (const ShownChange& one : rest)
      visit_(known + findings::placeWithin(toUtf8(one.label())),
             title + u": " + one.label() +
                 (one.isShort() ? u": " + one.line(Colors::none) : u" differs"));
    for (const inventory::Change& part : change.parts)
      add(part, title + u", ", known + findings::placeWithin(part, owner_), Place::part);
  }

  std::string owner_;
  std::u16string source_;
  Visit visit_;
};

Difference::Side sideOfObject(const inventory::Change& change) {
  using enum Difference::Side;
  return change.isOnlyInSource() ? source : change.isOnlyInTarget() ? target : both;
}

}  // namespace

std::vector<Difference> differencesOf(const std::vector<inventory::Change>& changes,
                                      std::u16string_view source) {
  std::vector<Difference> all;
  for (const inventory::Change& change : changes) {
    Listing(change, source, [&](std::string place, const std::u16string& line) {
      all.push_back(
          {{change.kind, change.name}, std::move(place), toUtf8(line), sideOfObject(change)});
    });
  }
  return all;
}

std::vector<ObjectName> objectsOf(const inventory::Database& database) {
  std::vector<ObjectName> all;
  inventory::forEachObjects(
      [&]<class Item>(const inventory::Parts<inventory::Database, Item>& objects) {
        for (const Item& one : database.*objects.member) all.push_back({objects.kind, nameOf(one)});
      });
  return all;
}

}  // namespace kelvane::report
