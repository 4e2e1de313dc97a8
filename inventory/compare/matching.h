// Which records of two lists are the same object.
//
// Free functions; positions refer to the lists.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <unordered_map>
#include <utility>
#include <vector>

#include "inventory/compare/definition_text.h"
#include "inventory/shown.h"
#include "model/text.h"

namespace kelvane::inventory {

/// Positions in the source and in the target, of which one may be none.
struct Match {
  std::optional<std::size_t> source, target;
};

/// The text under which names are equal.
inline std::string folded(std::string text, CaseMode mode) {
  if (mode == CaseMode::exact) return text;
  return toUtf8(foldCase(toUtf16(text)));
}

// What two constraints have alike although the server made the name of one of them.
inline std::string substance(const KeyConstraint& key, const Rules&) {
  return key.primary ? "primary" : shown(key.columns);
}
inline std::string substance(const ForeignKey& key, const Rules&) { return shown(key.columns); }
inline std::string substance(const Check& check, const Rules& rules) {
  return reduced(check.condition.text, rules);
}
inline std::string substance(const Partition&, const Rules&) { return {}; }

/// All that it says, as the rules see it.
template <class Record>
std::string everythingSaid(const Record& record, const Rules& rules) {
  if constexpr (std::is_same_v<Record, Check>) return substance(record, rules);
  return folded(declaration(record), rules.names);
}

template <class Record>
concept MayHaveGeneratedName = requires(const Record& record) {
  record.name.generated;
};

/// Whether the names are the same without any folding.
template <class Record>
bool sameName(const Record& a, const Record& b) {
  if constexpr (MayHaveGeneratedName<Record>) {
    return !a.name.generated && !b.name.generated && a.name.name == b.name.name;
  } else {
    bool same = true;
    forEachAttribute<Record>([&](const auto& one) {
      if (one.style == Style::name) same = same && a.*one.member == b.*one.member;
    });
    return same;
  }
}

/// Several grants of one action to one grantee differ in what else they say.
inline std::string fullName(const Permission& one) {
  return nameOf(one) + '\n' + one.grantor + '\n' + one.condition +
         (one.grantOption ? "\nwith grant option" : "");
}
inline bool sameName(const Permission& a, const Permission& b) {
  return fullName(a) == fullName(b);
}

/// Pairs the records of two lists. A key serves once: of several records with the same, the first
/// belong together, then the second.
template <class Record>
class Matching {
 public:
  Matching(const std::vector<Record>& source, const std::vector<Record>& target, const Rules& rules)
      : source_(source),
        target_(target),
        rules_(rules),
        partner_(source.size()),
        taken_(target.size()) {}

  /// In the order of the source; what only the target has comes behind, in its order.
  std::vector<Match> matches() {
    const auto everyone = [](const Record&) { return true; };
    pairUnmoved();
    if constexpr (std::is_same_v<Record, Permission>) {
      pairBy(everyone, [this](const Record& one) { return everythingSaid(one, rules_); });
      pairBy(everyone, [this](const Record& one) { return folded(fullName(one), rules_.names); });
      pairBy(everyone, [this](const Record& one) {
        return folded(nameOf(one) + '\n' + one.grantor, rules_.names);
      });
    }
    pairBy(everyone, [this](const Record& one) { return folded(nameOf(one), rules_.names); });
    if constexpr (MayHaveGeneratedName<Record>) {
      const auto isGenerated = [](const Record& one) { return one.name.generated; };
      pairBy(isGenerated, [this](const Record& one) { return everythingSaid(one, rules_); });
      pairGenerated([this](const Record& one) { return everythingSaid(one, rules_); });
      pairGenerated(
          [this](const Record& one) { return folded(substance(one, rules_), rules_.names); });
    }
    std::vector<Match> all;
    all.reserve(source_.size());
    for (std::size_t at = 0; at < source_.size(); ++at) all.push_back({at, partner_[at]});
    for (std::size_t at = 0; at < target_.size(); ++at) {
      if (!taken_[at]) all.push_back({std::nullopt, at});
    }
    return all;
  }

 private:
  void pair(std::size_t source, std::size_t target) {
    partner_[source] = target;
    taken_[target] = true;
  }

  // Equal databases mostly list their objects alike.
  void pairUnmoved() {
    for (std::size_t at = 0; at < source_.size() && at < target_.size(); ++at) {
      if (!sameName(source_[at], target_[at])) return;
      pair(at, at);
    }
  }

  /// Pairs what is left and wanted under equal keys; records without a key are not paired.
  template <class Wanted, class Key>
  void pairBy(Wanted wanted, Key key) {
    std::unordered_map<std::string, std::vector<std::size_t>> left;
    for (std::size_t at = target_.size(); at-- > 0;) {
      if (taken_[at] || !wanted(target_[at])) continue;
      std::string its = key(target_[at]);
      if (!its.empty()) left[std::move(its)].push_back(at);
    }
    if (left.empty()) return;
    for (std::size_t at = 0; at < source_.size(); ++at) {
      if (partner_[at] || !wanted(source_[at])) continue;
      const auto found = left.find(key(source_[at]));
      if (found == left.end() || found->second.empty()) continue;
      pair(at, found->second.back());
      found->second.pop_back();
    }
  }

  /// One with a name and one without may be the same constraint; two with names are not.
  template <class Key>
  void pairGenerated(Key key) {
    for (std::size_t at = 0; at < source_.size(); ++at) {
      if (partner_[at]) continue;
      const std::string wanted = key(source_[at]);
      for (std::size_t other = 0; other < target_.size(); ++other) {
        if (taken_[other]) continue;
        if (!source_[at].name.generated && !target_[other].name.generated) continue;
        if (key(target_[other]) != wanted) continue;
        pair(at, other);
        break;
      }
    }
  }

  const std::vector<Record>& source_;
  const std::vector<Record>& target_;
  const Rules& rules_;
  std::vector<std::optional<std::size_t>> partner_;
  std::vector<bool> taken_;
};

}  // namespace kelvane::inventory
