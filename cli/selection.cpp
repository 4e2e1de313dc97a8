#include "cli/selection.h"

#include <algorithm>
#include <utility>

#include "cli/name_pattern.h"
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
  throw UsageError(called + " '" + given + "': '" + word + "' is no kind; write " +
                   objectKindWords());
}

}  // namespace

Selection::Selection(const Arguments& arguments, std::optional<CaseMode> names) : names_(names) {
  for (const std::string_view option : {kInclude, kExclude}) {
    for (const std::string& given : arguments.values(option)) {
      const auto kind = kindOf(arguments.called(option), given);
      const std::u16string name =
          toUtf16(std::string_view(given).substr(kind ? given.find(':') + 1 : 0));
      patterns_.push_back({option, given, kind, name, foldCase(name)});
    }
  }
}

bool Selection::takes(enumEntityType kind, const Name& name, CaseMode mode, Tally& tally) const {
  tally.matched.resize(patterns_.size());
  const bool ignore = mode == CaseMode::ignore;
  const std::u16string folded = ignore ? foldCase(name.name) : u"";
  const std::u16string foldedFull = ignore ? foldCase(name.fullName) : u"";
  const Name compared = ignore ? Name{folded, foldedFull} : name;
  bool anyIncludes = false, included = false, excluded = false;
  for (std::size_t at = 0; at < patterns_.size(); ++at) {
    const Pattern& pattern = patterns_[at];
    const bool includes = pattern.option == kInclude;
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

std::vector<std::string> Selection::unmatched(std::span<const Tally* const> sides) const {
  std::vector<std::string> result;
  for (std::size_t at = 0; at < patterns_.size(); ++at) {
    const bool matched = std::ranges::any_of(
        sides, [&](const Tally* side) { return at < side->matched.size() && side->matched[at]; });
    if (!matched) result.push_back(std::string(patterns_[at].option) + " " + patterns_[at].given);
  }
  return result;
}

}  // namespace kelvane::cli
