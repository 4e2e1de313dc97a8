#include "inventory/compare/compare.h"

#include <algorithm>
#include <cctype>
#include <type_traits>
#include <utility>

#include "inventory/compare/definition_text.h"
#include "inventory/compare/matching.h"
#include "inventory/shown.h"

namespace kelvane::inventory {
namespace {

template <class Value>
inline constexpr bool kIsName =
    std::is_same_v<Value, QualifiedName> || std::is_same_v<Value, DatabaseObjectName> ||
    std::is_same_v<Value, std::vector<std::string>> || std::is_same_v<Value, std::string> ||
    std::is_same_v<Value, std::vector<KeyColumn>> || std::is_same_v<Value, Rare<QualifiedName>> ||
    std::is_same_v<Value, Rare<DatabaseObjectName>>;

template <class Record>
concept HasDefinition = requires(const Record& record) {
  { record.definition } -> std::convertible_to<const Definition&>;
};

const Definition& definitionIn(const Definition& value) { return value; }
const Definition& definitionIn(const Rare<Definition>& value) { return *value; }

class Comparison {
 public:
  explicit Comparison(const Rules& rules) : rules_(rules) {}

  template <class Record>
  std::vector<Change> list(Kind kind, const std::vector<Record>& source,
                           const std::vector<Record>& target) {
    std::vector<Change> changes;
    if (!rules_.compares(rowOf(kind).family)) return changes;
    for (const Match& match : Matching<Record>(source, target, rules_.names).matches()) {
      const Record* was = match.source ? &source[*match.source] : nullptr;
      const Record* is = match.target ? &target[*match.target] : nullptr;
      if (was && is && *was == *is) continue;
      Change change = one(kind, was, is);
      if (countOf(change) > 0) changes.push_back(std::move(change));
    }
    return changes;
  }

  template <class Record>
  Change one(Kind kind, const Record* was, const Record* is) {
    Change change{kind, nameOf(was ? *was : *is), {}, {}, {}, {}};
    if (was) change.source = was;
    if (is) change.target = is;
    if (!was || !is) return change;
    const bool sameText = hasSameText(*was, *is);
    forEachAttribute<Record>([&](const auto& attribute) {
      if (attribute.origin == Origin::own || sameText)
        compareAttribute(attribute, *was, *is, change.attributes);
    });
    forEachParts<Record>([&](const auto& parts) {
      if (parts.origin == Origin::definition && !sameText) return;
      std::vector<Change> changed = list(parts.kind, was->*parts.member, is->*parts.member);
      std::ranges::move(changed, std::back_inserter(change.parts));
      if (parts.order == Order::compared)
        compareOrder(parts.kind, was->*parts.member, is->*parts.member, change.attributes);
    });
    return change;
  }

 private:
  template <class Record>
  bool hasSameText(const Record& was, const Record& is) const {
    if constexpr (HasDefinition<Record>) {
      return sameDefinition(was.definition, is.definition, rules_);
    } else {
      return true;
    }
  }

  template <class Record, class Owner, class Value>
  void compareAttribute(const Attribute<Owner, Value>& attribute, const Record& was,
                        const Record& is, std::vector<AttributeChange>& changes) {
    if (attribute.style == Style::name || !rules_.compares(attribute.family)) return;
    const Value& a = was.*attribute.member;
    const Value& b = is.*attribute.member;
    if (a == b) return;
    if constexpr (std::is_same_v<Value, Definition> || std::is_same_v<Value, Rare<Definition>>) {
      const Definition& x = definitionIn(a);
      const Definition& y = definitionIn(b);
      if (!sameDefinition(x, y, rules_)) add(attribute, shown(x), shown(y), changes).isText = true;
      if (x.quotedIdentifier != y.quotedIdentifier && rules_.compares(Family::quotedIdentifier)) {
        changes.push_back({"quoted_identifier", Family::quotedIdentifier, Style::labelled, false,
                           x.quotedIdentifier ? "on" : "off", y.quotedIdentifier ? "on" : "off"});
      }
    } else if constexpr (std::is_same_v<Value, GivenName>) {
      if (a.generated && b.generated) return;
      if (a.generated == b.generated &&
          folded(a.name, rules_.names) == folded(b.name, rules_.names))
        return;
      add(attribute, a.generated ? "(generated)" : a.name, b.generated ? "(generated)" : b.name,
          changes);
    } else {
      std::string x = shown(a), y = shown(b);
      if (kIsName<Value> && attribute.style == Style::labelled &&
          folded(x, rules_.names) == folded(y, rules_.names))
        return;
      add(attribute, std::move(x), std::move(y), changes);
    }
  }

  template <class Owner, class Value>
  static AttributeChange& add(const Attribute<Owner, Value>& attribute, std::string was,
                              std::string is, std::vector<AttributeChange>& changes) {
    return changes.emplace_back(AttributeChange{attribute.label, attribute.family, attribute.style,
                                                false, std::move(was), std::move(is)});
  }

  template <class Record>
  void compareOrder(Kind kind, const std::vector<Record>& source, const std::vector<Record>& target,
                    std::vector<AttributeChange>& changes) {
    const Family family = kind == Kind::column ? Family::columnOrder : Family::always;
    if (!rules_.compares(family)) return;
    std::vector<std::pair<std::size_t, std::size_t>> common;
    for (const Match& match : Matching<Record>(source, target, rules_.names).matches()) {
      if (match.source && match.target) common.emplace_back(*match.source, *match.target);
    }
    std::vector<std::string> was, is;
    for (const auto& pair : common) was.push_back(nameOf(source[pair.first]));
    std::ranges::sort(common, {}, &std::pair<std::size_t, std::size_t>::second);
    if (std::ranges::is_sorted(common)) return;
    for (const auto& pair : common) is.push_back(nameOf(source[pair.first]));
    const auto shortened = shortenedOrders(std::move(was), std::move(is));
    changes.push_back({kind == Kind::column ? "column order" : "parameter order", family,
                       Style::labelled, false, shortened.first, shortened.second});
  }

  /// Without what both begin and end with.
  static std::pair<std::string, std::string> shortenedOrders(std::vector<std::string> was,
                                                             std::vector<std::string> is) {
    const auto cutBegin = std::ranges::mismatch(was, is).in1 - was.begin();
    const auto cutEnd = std::mismatch(was.rbegin(), was.rend(), is.rbegin()).first - was.rbegin();
    const auto shortened = [&](std::vector<std::string>& names) {
      names.erase(names.end() - cutEnd, names.end());
      names.erase(names.begin(), names.begin() + cutBegin);
      if (cutBegin > 0) names.insert(names.begin(), "...");
      if (cutEnd > 0) names.emplace_back("...");
      return shown(names);
    };
    return {shortened(was), shortened(is)};
  }

  const Rules& rules_;
};

}  // namespace

std::vector<Change> compare(const Database& source, const Database& target, const Rules& rules) {
  Comparison comparison(rules);
  std::vector<Change> changes;
  Change settings = comparison.one(Kind::database, &source.settings, &target.settings);
  if (countOf(settings) > 0) changes.push_back(std::move(settings));
  forEachObjects([&](const auto& objects) {
    std::vector<Change> changed =
        comparison.list(objects.kind, source.*objects.member, target.*objects.member);
    std::ranges::move(changed, std::back_inserter(changes));
  });
  return changes;
}

}  // namespace kelvane::inventory
