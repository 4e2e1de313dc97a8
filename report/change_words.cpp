#include "report/change_words.h"

#include <algorithm>
#include <iterator>

#include "inventory/compare/titles.h"
#include "model/text.h"
#include "report/visible_text.h"

namespace kelvane::report {

using inventory::AttributeChange;
using inventory::Change;

namespace {

constexpr std::u16string_view kNone = u"(none)", kAll = u"(all)";

// Parts and text say what these are.
bool isSaidByItsParts(inventory::Kind kind) {
  using enum inventory::Kind;
  return kind == table || kind == view || kind == procedure || kind == function || kind == database;
}

}  // namespace

std::optional<enumLocation> sideOf(const Change& change) {
  if (change.isOnBothSides()) return std::nullopt;
  return change.isOnlyInSource() ? location_Source : location_target;
}

Tallies talliesOf(const std::vector<Change>& changes) {
  Tallies tallies;
  forEachKind(changes, [&](const inventory::KindRow& kind, auto first, auto last) {
    KindCounts counts;
    for (; first != last; ++first)
      counts.add(sideOf(*first), static_cast<std::int64_t>(countOf(*first)));
    tallies.push_back({kind.singular, kind.plural, counts});
  });
  return tallies;
}

std::u16string headingOf(const Change& change, std::string_view owner) {
  const inventory::Title title = titleOf(change, owner);
  std::u16string text = toUtf16(title.word);
  if (title.name.empty()) return text;
  if (!text.empty()) text += u' ';
  return text + showValue(toUtf16(title.name));
}

std::u16string onlyInLine(const Change& change, std::string_view owner, Colors colors) {
  std::u16string line = onlyIn(*sideOf(change), colors);
  if (isSaidByItsParts(change.kind) || titleOf(change, owner).isDeclaration) return line;
  const std::string declared =
      declarationOf(change.isOnlyInSource() ? change.source : change.target);
  if (declared.empty()) return line;
  return line + u": " + showValue(toUtf16(declared));
}

ShownChange::ShownChange(inventory::Kind kind, const AttributeChange& change)
    : label_(toUtf16(change.label)),
      was_(toUtf16(change.was)),
      is_(toUtf16(change.is)),
      nothing_(kind == inventory::Kind::permission && change.label == "columns" ? kAll : kNone) {}

bool ShownChange::isShort() const { return valuesOf(was_, is_).shortLines; }

std::u16string ShownChange::shown(const std::u16string& value) const {
  if (value.empty()) return std::u16string(nothing_);
  return value == nothing_ ? u'"' + value + u'"' : showValue(value);
}

std::u16string ShownChange::line(Colors colors) const {
  if (was_.empty() || is_.empty() || was_ == nothing_ || is_ == nothing_)
    return painted(shown(was_), Ink::source, colors) + u" -> " +
           painted(shown(is_), Ink::target, colors);
  return valuesLine(valuesOf(was_, is_), colors);
}

Inline inlineOf(const Change& change, Place place, Colors colors) {
  Inline result;
  const bool isAlone =
      place == Place::part && change.attributes.size() == 1 && change.parts.empty();
  for (const AttributeChange& one : change.attributes) {
    ShownChange shown(change.kind, one);
    const bool isBare = one.style == inventory::Style::bare;
    if (result.text.empty() && shown.isShort() && (isBare || isAlone)) {
      result.label = one.label;
      result.text = (isBare ? u"" : shown.label() + u": ") + shown.line(colors);
    } else {
      result.rest.push_back(std::move(shown));
    }
  }
  return result;
}

}  // namespace kelvane::report
