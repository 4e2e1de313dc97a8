#include "cli/selection.h"

#include <algorithm>
#include <utility>

#include "cli/name_pattern.h"
#include "cli/near_names.h"
#include "cli/object_kinds.h"

namespace kelvane::cli {
namespace {

bool matchesName(const Selection::Name& name, std::u16string_view pattern) {
  return matchesPattern(name.name, pattern) ||
         (pattern.find(u'.') != pattern.npos && matchesPattern(name.fullName, pattern));
}

// What precedes a colon must be a kind.
std::optional<enumEntityType> kindOf(const std::string& called, const std::string& given) {
  const auto colon = given.find(':');
  if (colon == given.npos) return std::nullopt;
  const std::string word = given.substr(0, colon);
  if (const ObjectKind* kind = objectKindOf(word)) return kind->list;
  throw UsageError(called + " '" + given + "': '" + word + "' is not a kind; use " +
                   objectKindWords());
}

}  // namespace

Selection::Selection(const Arguments& arguments, std::optional<CaseMode> names) : names_(names) {
  for (const std::string_view option : {kInclude, kExclude}) {
    for (const std::string& given : arguments.values(option)) {
      const auto kind = kindOf(arguments.called(option), given);
      const std::u16string name =
          toUtf16(std::string_view(given).substr(kind ? given.find(':') + 1 : 0));
      patterns_.push_back({option, arguments.called(option), given, kind, name, foldCase(name)});
    }
  }
}

bool Selection::takes(enumEntityType kind, const Name& name, CaseMode mode, Tally& tally) const {
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
    const Pattern& pattern = patterns_[at];
    const bool includes = pattern.includes();
    anyIncludes |= includes;
    if (pattern.kind && *pattern.kind != kind) continue;
    if (!matchesName(compared, ignore ? pattern.foldedName : pattern.name)) continue;
    tally.matched[at] = true;
    (includes ? included : excluded) = true;
  }
  return (included || !anyIncludes) && !excluded;
}

bool Selection::leavesUnread(enumEntityType kind, const Name& name, CaseMode server,
                             Tally& tally) const {
  const bool undecided = !names_ && server == CaseMode::ignore;
  const bool taken = takes(kind, name, names_.value_or(server), tally) ||
                     (undecided && takes(kind, name, CaseMode::exact, tally));
  if (!taken) ++tally.leftOut;
  return !taken;
}

void Selection::apply(Schema& schema, CaseMode mode, Tally& tally) const {
  if (takesAll()) return;
  const auto one = [&]<class Record>(enumEntityType kind, Array<Record>& records) {
    Array<Record> kept;
    for (const Record& record : std::as_const(records)) {
      if (takes(kind, {record.Name, record.FullName}, mode, tally)) kept.append(record);
    }
    tally.leftOut += static_cast<std::size_t>(records.count() - kept.count());
    records.swap(kept);
  };
  one(entity_TABLE, schema.Tables);
  one(entity_VIEW, schema.Views);
  one(entity_STOREDPROC, schema.StoredProcs);
  one(entity_FUNCTION, schema.Functions);
  one(entity_USER, schema.Users);
  one(entity_GROUP, schema.Groups);
  one(entity_UDDT, schema.UDDTs);
}

Selection::Unmatched Selection::unmatched(std::span<const Tally* const> sides,
                                          const cComparisonOptions& switches) const {
  const auto isMatched = [&](const Pattern& pattern) {
    const auto at = static_cast<std::size_t>(&pattern - patterns_.data());
    return std::ranges::any_of(
        sides, [&](const Tally* side) { return at < side->matched.size() && side->matched[at]; });
  };
  const auto isCompared = [&](const ObjectKind& kind) {
    const auto one = std::ranges::find(kSwitches, kind.group, &Switch::name);
    return bool(switches.*one->value);
  };
  const bool anyIncluded = std::ranges::any_of(
      patterns_, [&](const Pattern& pattern) { return pattern.includes() && isMatched(pattern); });
  Unmatched result;
  for (const Pattern& pattern : patterns_) {
    if (isMatched(pattern)) continue;
    const bool isAboutCompared = std::ranges::all_of(kObjectKinds, [&](const ObjectKind& kind) {
      return (pattern.kind && *pattern.kind != kind.list) || isCompared(kind);
    });
    const bool isError = pattern.includes() && (isAboutCompared || !anyIncluded);
    (isError ? result.errors : result.others)
        .push_back(pattern.called + " '" + pattern.given + "' matches no object" +
                   nameMeant(pattern, sides));
  }
  return result;
}

std::string Selection::nameMeant(const Pattern& pattern, std::span<const Tally* const> sides) {
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

}  // namespace kelvane::cli
