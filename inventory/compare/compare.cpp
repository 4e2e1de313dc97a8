#include "inventory/compare/compare.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <map>
#include <type_traits>
#include <utility>

#include "inventory/compare/definition_text.h"
#include "inventory/compare/matching.h"
#include "inventory/shown.h"

namespace kelvane::inventory {
namespace {

// What decides whether two values are the same: names as the servers compare them, texts without
// what the rules ignore, everything else exactly.
template <class Value>
std::string compared(const Value& value, const Rules&) {
  return shown(value);
}
template <class Name>
std::string comparedName(const Name& name, const Rules& rules) {
  return folded(shown(name), rules.names);
}
std::string compared(const std::string& value, const Rules& rules) {
  return comparedName(value, rules);
}
std::string compared(const QualifiedName& value, const Rules& rules) {
  return comparedName(value, rules);
}
std::string compared(const DatabaseObjectName& value, const Rules& rules) {
  return comparedName(value, rules);
}
std::string compared(const std::vector<std::string>& value, const Rules& rules) {
  return comparedName(value, rules);
}
std::string compared(const DataType& value, const Rules& rules) {
  return comparedName(value, rules);
}
std::string compared(const ColumnType& value, const Rules& rules) {
  return comparedName(value, rules);
}
std::string compared(const DefaultValue& value, const Rules& rules) {
  if (value.state != Definition::State::whole) return shown(value);
  return reduced(value.text, rules) + '\n' + comparedName(value.bound, rules);
}
std::string compared(const std::vector<KeyColumn>& value, const Rules& rules) {
  std::string all;
  for (const KeyColumn& key : value) {
    all += key.state != Definition::State::whole ? shown(key)
           : key.isExpression                    ? reduced(key.name, rules)
                                                 : folded(key.name, rules.names);
    all += key.descending ? " desc\n" : "\n";
  }
  return all;
}
template <class Value>
std::string compared(const Rare<Value>& value, const Rules& rules) {
  return compared(*value, rules);
}

template <class Record>
concept HasDefinition = requires(const Record& record) {
  { record.definition } -> std::convertible_to<const Definition&>;
};

// Whether both sides grant the same in the end, by whomever, where grantors do not count.
template <class Record>
class SameRights {
 public:
  SameRights(const std::vector<Record>&, const std::vector<Record>&, const Rules&) {}
  bool operator()(const Record&) const { return false; }
};

template <>
class SameRights<Permission> {
 public:
  SameRights(const std::vector<Permission>& source, const std::vector<Permission>& target,
             const Rules& rules)
      : rules_(rules) {
    if (rules.compares(Family::grantors)) return;
    add(source, 0);
    add(target, 1);
  }
  bool operator()(const Permission& permission) const {
    if (rules_.compares(Family::grantors)) return false;
    const auto& [was, is] = rights_.at(nameIn(permission));
    return was == is;
  }

 private:
  // By column, the whole object being one without a name: with the grant option or without.
  using Rights = std::map<std::string, bool>;

  std::string nameIn(const Permission& permission) const {
    return folded(nameOf(permission) + ' ' + permission.condition, rules_.names);
  }
  void add(const std::vector<Permission>& permissions, std::size_t side) {
    for (const Permission& one : permissions) {
      Rights& rights = rights_[nameIn(one)][side];
      if (one.columns.empty()) rights[{}] |= one.grantOption;
      for (const std::string& column : one.columns)
        rights[folded(column, rules_.names)] |= one.grantOption;
    }
  }

  const Rules& rules_;
  std::map<std::string, std::array<Rights, 2>> rights_;
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
    const SameRights<Record> sameRights(source, target, rules_);
    for (const Match& match : Matching<Record>(source, target, rules_).matches()) {
      const Record* was = match.source ? &source[*match.source] : nullptr;
      const Record* is = match.target ? &target[*match.target] : nullptr;
      if (was && is && *was == *is) continue;
      if (sameRights(was ? *was : *is)) continue;
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
      if (parts.kind == Kind::partition)
        countUnnamed(changed, (was->*parts.member).size(), (is->*parts.member).size(),
                     change.attributes);
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
      if (saysTheSame(attribute, a, b)) return;
      add(attribute, shown(a), shown(b), changes);
    }
  }

  template <class Owner, class Value>
  bool saysTheSame(const Attribute<Owner, Value>&, const Value& a, const Value& b) const {
    if constexpr (std::is_same_v<Owner, Partition> && std::is_same_v<Value, std::string>) {
      return reduced(a, rules_) == reduced(b, rules_);
    } else if constexpr (std::is_same_v<Value, Rare<DefaultValue>>) {
      // A gap says so; what is in it is not known.
      using State = Definition::State;
      return a->state == State::unreadable || b->state == State::unreadable ||
             compared(a, rules_) == compared(b, rules_);
    } else if constexpr (std::is_same_v<Value, std::vector<KeyColumn>>) {
      const auto isUnreadable = [](const KeyColumn& key) {
        return key.state == Definition::State::unreadable;
      };
      return std::ranges::any_of(a, isUnreadable) || std::ranges::any_of(b, isUnreadable) ||
             compared(a, rules_) == compared(b, rules_);
    } else {
      return compared(a, rules_) == compared(b, rules_);
    }
  }

  template <class Owner, class Value>
  static AttributeChange& add(const Attribute<Owner, Value>& attribute, std::string was,
                              std::string is, std::vector<AttributeChange>& changes) {
    return changes.emplace_back(AttributeChange{attribute.label, attribute.family, attribute.style,
                                                false, std::move(was), std::move(is)});
  }

  /// Partitions that nobody named or placed are told apart by nothing but their number.
  static void countUnnamed(std::vector<Change>& changed, std::size_t was, std::size_t is,
                           std::vector<AttributeChange>& attributes) {
    const auto isUnnamed = [](const Change& change) {
      const auto& record = change.isOnlyInTarget() ? change.target : change.source;
      const Partition& partition = *std::get<const Partition*>(record);
      return !change.isOnBothSides() && partition.name.generated && partition.bound.empty() &&
             partition.segment.empty();
    };
    if (std::erase_if(changed, isUnnamed) == 0) return;
    const auto shownCount = [](std::size_t count) {
      return std::to_string(std::max(count, std::size_t{1}));
    };
    attributes.push_back({kPartitionCount, Family::partitions, Style::labelled, false,
                          shownCount(was), shownCount(is)});
  }

  template <class Record>
  void compareOrder(Kind kind, const std::vector<Record>& source, const std::vector<Record>& target,
                    std::vector<AttributeChange>& changes) {
    const Family family = kind == Kind::column ? Family::columnOrder : Family::always;
    if (!rules_.compares(family)) return;
    std::vector<std::pair<std::size_t, std::size_t>> common;
    for (const Match& match : Matching<Record>(source, target, rules_).matches()) {
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
