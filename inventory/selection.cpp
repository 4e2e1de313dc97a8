#include "inventory/selection.h"

#include <algorithm>
#include <utility>

#include "inventory/attributes.h"
#include "inventory/name_pattern.h"
#include "inventory/near_names.h"
#include "inventory/shown.h"

namespace kelvane::inventory {
namespace {

bool matchesName(const Selection::Name& name, std::u16string_view pattern) {
  return matchesPattern(name.name, pattern) ||
         (pattern.find(u'.') != pattern.npos && matchesPattern(name.fullName, pattern));
}

/// What precedes a colon must be a kind.
std::optional<Kind> kindBefore(const Selection::Pattern& pattern) {
  const auto colon = pattern.text.find(':');
  if (colon == pattern.text.npos) return std::nullopt;
  const std::string word = pattern.text.substr(0, colon);
  if (const auto kind = objectKindOf(word)) return kind;
  throw UnknownKind(pattern.called + " '" + pattern.text + "': '" + word + "' is not a kind; use " +
                    objectKindWords());
}

/// The name without its owner, and with it.
template <class Object>
std::pair<std::u16string, std::u16string> namesOf(const Object& object) {
  std::u16string full = toUtf16(nameOf(object));
  if constexpr (requires { object.name.owner; }) {
    return {full.substr(std::min(full.size(), toUtf16(object.name.owner).size() + 1)), full};
  } else {
    return {full, full};
  }
}

}  // namespace

Selection::Selection(const std::vector<Pattern>& patterns, std::optional<CaseMode> names)
    : names_(names) {
  patterns_.reserve(patterns.size());
  for (const Pattern& one : patterns) {
    const auto kind = kindBefore(one);
    const std::u16string name =
        toUtf16(std::string_view(one.text).substr(kind ? one.text.find(':') + 1 : 0));
    patterns_.push_back({one.effect, one.called, one.text, kind, name, foldCase(name)});
  }
}

bool Selection::takes(Kind kind, const Name& name, CaseMode mode, Tally& tally) const {
  tally.matched.resize(patterns_.size());
  if (std::ranges::any_of(patterns_, [](auto& one) { return one.includes() && one.isName(); })) {
    tally.names.emplace_back(name.name);
    tally.fullNames.emplace_back(name.fullName);
  }
  const bool ignore = mode == CaseMode::ignore;
  const std::u16string folded = ignore ? foldCase(name.name) : u"";
  const std::u16string foldedFull = ignore ? foldCase(name.fullName) : u"";
  const Name compared = ignore ? Name{folded, foldedFull} : name;
  bool anyIncludes = false, included = false, excluded = false;
  for (std::size_t at = 0; at < patterns_.size(); ++at) {
    const Parsed& pattern = patterns_[at];
    const bool includes = pattern.includes();
    anyIncludes |= includes;
    if (pattern.kind && *pattern.kind != kind) continue;
    if (!matchesName(compared, ignore ? pattern.foldedName : pattern.name)) continue;
    tally.matched[at] = true;
    (includes ? included : excluded) = true;
  }
  return (included || !anyIncludes) && !excluded;
}

bool Selection::leavesUnread(Kind kind, const Name& name, CaseMode server, Tally& tally) const {
  const bool undecided = !names_ && server == CaseMode::ignore;
  const bool taken = takes(kind, name, names_.value_or(server), tally) ||
                     (undecided && takes(kind, name, CaseMode::exact, tally));
  if (!taken) ++tally.leftOut;
  return !taken;
}

bool Selection::mayTake(Kind kind, const QualifiedName& object) const {
  const std::u16string plain = toUtf16(object.name), full = toUtf16(object.owner) + u"." + plain;
  const std::u16string foldedPlain = foldCase(plain), foldedFull = foldCase(full);
  const bool isGroup = kind == Kind::procedure;
  bool anyIncludes = false, included = false;
  for (const Parsed& pattern : patterns_) {
    anyIncludes |= pattern.includes();
    if (pattern.kind && *pattern.kind != kind) continue;
    // The way of comparing by which more objects take part.
    const CaseMode mode = names_.value_or(pattern.includes() ? CaseMode::ignore : CaseMode::exact);
    const bool matches = mode == CaseMode::ignore
                             ? matchesName({foldedPlain, foldedFull}, pattern.foldedName)
                             : matchesName({plain, full}, pattern.name);
    if (pattern.includes()) {
      included |= matches || (isGroup && pattern.mayMeanNumber());
    } else if (matches && (!isGroup || pattern.name.ends_with(u'*'))) {
      return false;
    }
  }
  return included || !anyIncludes;
}

void Selection::leaveOut(const Unread& object, CaseMode mode, Tally& tally) const {
  std::u16string plain = toUtf16(object.name.name);
  if (object.number > 1) plain += u';' + toUtf16(std::to_string(object.number));
  takes(object.kind, {plain, toUtf16(object.name.owner) + u"." + plain}, mode, tally);
  ++tally.leftOut;
}

void Selection::apply(Database& database, CaseMode mode, Tally& tally) const {
  if (takesAll()) return;
  const std::u16string self = toUtf16(database.server.database);
  if (!takes(Kind::database, {self, self}, mode, tally)) {
    tally.leftOut += database.settings != Settings() ? 1 : 0;
    database.settings = {};
  }
  forEachObjects([&](const auto& objects) {
    tally.leftOut += std::erase_if(database.*objects.member, [&](const auto& object) {
      const auto [name, fullName] = namesOf(object);
      return !takes(objects.kind, {name, fullName}, mode, tally);
    });
  });
}

Selection::Unmatched Selection::unmatched(std::span<const Tally* const> sides,
                                          const std::function<bool(Kind)>& isCompared) const {
  const auto isMatched = [&](const Parsed& pattern) {
    const auto at = static_cast<std::size_t>(&pattern - patterns_.data());
    return std::ranges::any_of(
        sides, [&](const Tally* side) { return at < side->matched.size() && side->matched[at]; });
  };
  const bool anyIncluded = std::ranges::any_of(
      patterns_, [&](const Parsed& pattern) { return pattern.includes() && isMatched(pattern); });
  Unmatched result;
  for (const Parsed& pattern : patterns_) {
    if (isMatched(pattern)) continue;
    const bool isAboutCompared = std::ranges::all_of(kKinds, [&](const KindRow& row) {
      return !isObject(row.kind) || (pattern.kind && *pattern.kind != row.kind) ||
             isCompared(row.kind);
    });
    const bool isError = pattern.includes() && (isAboutCompared || !anyIncluded);
    (isError ? result.errors : result.others)
        .push_back(pattern.called + " '" + pattern.given + "' matches no object" +
                   nameMeant(pattern, sides));
  }
  return result;
}

std::string Selection::nameMeant(const Parsed& pattern, std::span<const Tally* const> sides) {
  if (!pattern.includes() || !pattern.isName()) return "";
  std::vector<std::string> names;
  for (const Tally* side : sides) {
    for (const std::u16string& name : pattern.isQualified() ? side->fullNames : side->names) {
      if (foldCase(name) == pattern.foldedName) return "; did you mean '" + toUtf8(name) + "'?";
      names.push_back(toUtf8(name));
    }
  }
  return nearestName(toUtf8(pattern.name),
                     std::vector<std::string_view>(names.begin(), names.end()));
}

}  // namespace kelvane::inventory
