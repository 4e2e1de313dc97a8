#include "report/declared_sides.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <string_view>
#include <type_traits>
#include <unordered_set>
#include <utility>
#include <variant>
#include <vector>

#include "inventory/compare/matching.h"
#include "inventory/compare/titles.h"
#include "inventory/shown.h"
#include "model/text.h"

namespace kelvane::report {
namespace {

const inventory::Rules kMatchingRules{.names = CaseMode::ignore};

using namespace inventory;

template <class Record>
const Record* recordIn(const RecordPointer& pointer) {
  const auto* record = std::get_if<const Record*>(&pointer);
  return record == nullptr ? nullptr : *record;
}

/// How a part stands among the lines of its object.
template <class Record>
std::string lineOf(Kind kind, const Record& record, std::string_view owner) {
  const Title title = titleOf(Change{kind, nameOf(record), &record, {}, {}, {}}, owner);
  std::string line(title.word);
  const auto add = [&](const std::string& text) {
    if (!line.empty() && !text.empty()) line += ' ';
    line += text;
  };
  add(title.name);
  if (!title.isDeclaration) add(declaration(record));
  return line;
}

// Then what follows from the text was not compared.
bool hasOtherText(const Change& change) {
  return std::ranges::any_of(change.attributes, &AttributeChange::isText);
}

/// Where the order of parts counts, what only the target has stands behind what is before it there.
std::vector<Match> inPlace(std::vector<Match> matches, std::size_t sourceSize,
                           std::size_t targetSize, Order order) {
  if (order == Order::none) return matches;
  constexpr std::size_t kFirst = 0;  // of the source's parts, from 1
  std::vector<std::optional<std::size_t>> partner(targetSize);
  for (const Match& match : matches)
    if (match.source && match.target) partner[*match.target] = match.source;
  std::vector<std::vector<std::size_t>> behind(sourceSize + 1);
  std::size_t place = kFirst;
  for (std::size_t at = 0; at < targetSize; ++at) {
    if (partner[at])
      place = *partner[at] + 1;
    else
      behind[place].push_back(at);
  }
  std::vector<Match> all;
  for (std::size_t at = 0; at <= sourceSize; ++at) {
    if (at > kFirst) all.push_back(matches[at - 1]);
    for (const std::size_t one : behind[at]) all.push_back({std::nullopt, one});
  }
  return all;
}

class Sides {
 public:
  explicit Sides(std::string owner) : owner_(std::move(owner)) {}

  template <class Record>
  void writeObject(const Record* was, const Record* is, const Change& change) {
    forEachAttribute<Record>([&](const auto& one) { writeAttribute(one, was, is, change); });
    forEachParts<Record>([&]<class Owner, class Item>(const Parts<Owner, Item>& parts) {
      static const std::vector<Item> kNone;
      writeList(parts, was ? was->*parts.member : kNone, is ? is->*parts.member : kNone, change);
    });
  }
  std::vector<DeclaredRow> take() { return std::move(rows_); }

 private:
  template <class Record, class Owner, class Value>
  void writeAttribute(const Attribute<Owner, Value>& one, const Record* was, const Record* is,
                      const Change& change) {
    if (one.style == Style::name || std::is_same_v<Value, Definition>) return;
    const bool hasChanged = std::ranges::find(change.attributes, one.label,
                                              &AttributeChange::label) != change.attributes.end();
    const auto line = [&](const Record* record) {
      static const Record kUsual{};
      if (record == nullptr || record->*one.member == kUsual.*one.member) return std::string();
      std::string value = shown(record->*one.member);
      if (one.style == Style::bare) return value;
      const bool isYes = std::is_same_v<Value, bool> && value == shown(true);
      return isYes ? std::string(one.label) : std::string(one.label) + ' ' + value;
    };
    const std::array lines{line(was), line(is)};
    const bool areOfBoth = was != nullptr && is != nullptr;
    if (areOfBoth && !hasChanged && lines[0] != lines[1]) return;  // not compared
    write(lines[0], lines[1]);
  }

  template <class Owner, class Item>
  void writeList(const Parts<Owner, Item>& parts, const std::vector<Item>& source,
                 const std::vector<Item>& target, const Change& change) {
    if (parts.origin == Origin::definition && hasOtherText(change)) return;
    std::unordered_set<const Item*> changed;
    for (const Change& one : change.parts) {
      if (const Item* record = recordIn<Item>(one.source)) changed.insert(record);
      if (const Item* record = recordIn<Item>(one.target)) changed.insert(record);
    }
    const bool isWholeOnOneSide = !change.isOnBothSides();
    for (const Match& match : inPlace(Matching<Item>(source, target, kMatchingRules).matches(),
                                      source.size(), target.size(), parts.order)) {
      const Item* was = match.source ? &source[*match.source] : nullptr;
      const Item* is = match.target ? &target[*match.target] : nullptr;
      const bool hasChanged = (was && changed.contains(was)) || (is && changed.contains(is));
      if (!(was && is) && !hasChanged && !isWholeOnOneSide) continue;  // not compared
      writePart(parts.kind, was, was && is && !hasChanged ? was : is, {});
    }
  }

  template <class Item>
  void writePart(Kind kind, const Item* was, const Item* is, const std::string& indent) {
    write(was ? indent + lineOf(kind, *was, owner_) : "",
          is ? indent + lineOf(kind, *is, owner_) : "");
    forEachParts<Item>([&]<class Owner, class Inner>(const Parts<Owner, Inner>& parts) {
      static const std::vector<Inner> kNone;
      const std::vector<Inner>& source = was ? was->*parts.member : kNone;
      const std::vector<Inner>& target = is ? is->*parts.member : kNone;
      for (const Match& match : Matching<Inner>(source, target, kMatchingRules).matches())
        writePart(parts.kind, match.source ? &source[*match.source] : nullptr,
                  match.target ? &target[*match.target] : nullptr, indent + "    ");
    });
  }

  void write(const std::string& source, const std::string& target) {
    if (!source.empty() || !target.empty()) rows_.push_back({toUtf16(source), toUtf16(target)});
  }

  std::string owner_;
  std::vector<DeclaredRow> rows_;
};

}  // namespace

std::vector<DeclaredRow> declaredSides(const Change& object) {
  Sides sides(ownerOf(object));
  std::visit(
      [&]<class Pointer>(Pointer) {
        if constexpr (!std::is_same_v<Pointer, std::monostate>) {
          using Record = std::remove_const_t<std::remove_pointer_t<Pointer>>;
          sides.writeObject(recordIn<Record>(object.source), recordIn<Record>(object.target),
                            object);
        }
      },
      object.isOnlyInTarget() ? object.target : object.source);
  return sides.take();
}

}  // namespace kelvane::report
