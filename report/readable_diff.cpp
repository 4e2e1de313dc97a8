#include "report/readable_diff.h"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

namespace kelvane::report {
namespace {

constexpr std::size_t kLongestShortLine = 100;

// The row exists because the flags differ, so that the one tells the other.
std::optional<std::u16string_view> oppositeFlag(std::u16string_view flag) {
  if (flag == u"True") return u"False";
  if (flag == u"False") return u"True";
  return std::nullopt;
}

std::u16string_view withoutTrailingBlanks(std::u16string_view text) {
  return text.substr(0, text.find_last_not_of(u" \t\r\n") + 1);
}

bool isShortLine(std::u16string_view value) {
  return value.size() <= kLongestShortLine && value.find_first_of(u"\r\n") == value.npos;
}

// Key lists come with the server's leading blank.
std::u16string_view withoutLeadingBlanks(std::u16string_view keys) {
  return keys.substr(std::min(keys.find_first_not_of(u' '), keys.size()));
}

Title titled(std::u16string_view word, NameOf nameOf, std::u16string_view name) {
  return {word, nameOf, nameOf == NameOf::keys ? withoutLeadingBlanks(name) : name};
}

struct PartWord {
  Part part;
  std::u16string_view word;
  NameOf nameOf = NameOf::thing;
};
constexpr auto kPartWords = std::to_array<PartWord>({
    {Part::column, u"column"},
    {Part::parameter, u"parameter"},
    {Part::primaryKey, u"primary key", NameOf::keys},
    {Part::foreignKey, u"foreign key", NameOf::keys},
    {Part::reference, u"reference"},
    {Part::index, u"index"},
    {Part::trigger, u"trigger"},
    {Part::data, u"data"},
    {Part::systemPermission, u"system permissions", NameOf::nothing},
    {Part::objectPermission, u"permissions on"},
    {Part::member, u"member"},
});

}  // namespace

diffSchema withOwnersOfGroups(const diffSchema& differences) {
  diffSchema result = differences;
  result.Tables.clear();
  const auto groupNamed = [&](const diffTable& table) {
    std::int32_t at = 1;
    while (at <= result.Groups.count() && std::as_const(result.Groups)[at].Name != table.Name) ++at;
    if (at > result.Groups.count()) {
      diffGroup group;
      group.Name = group.FullName = table.Name;
      group.Owner = table.Owner;
      result.Groups.append(std::move(group));
    }
    return at;
  };
  for (const diffTable& table : differences.Tables) {
    diffTable kept = table;
    kept.Diff.clear();
    for (const typeDiff& row : table.Diff) {
      if (row.SubEntityType == u"Owner")
        result.Groups.edit(groupNamed(table), [&](diffGroup& group) { group.Diff.append(row); });
      else
        kept.Diff.append(row);
    }
    if (differencesOf(kept) > 0) result.Tables.append(std::move(kept));
  }
  return result;
}

typeDiff readable(Part part, const typeDiff& difference) {
  typeDiff result = difference;
  if (part == Part::trigger &&
      (difference.SubEntityType == u"On Insert" || difference.SubEntityType == u"On Update"))
    if (const auto flag = oppositeFlag(difference.DataOnTarget)) result.DataOnSource = *flag;
  return result;
}

Values valuesOf(std::u16string_view wholeBefore, std::u16string_view wholeAfter) {
  const std::u16string_view before = withoutTrailingBlanks(wholeBefore);
  const std::u16string_view after = withoutTrailingBlanks(wholeAfter);
  if (before != after && isShortLine(before) && isShortLine(after)) return {before, after, true};
  return {wholeBefore, wholeAfter, isShortLine(wholeBefore) && isShortLine(wholeAfter)};
}

Values valuesOf(const typeDiff& difference) {
  return valuesOf(std::u16string_view(difference.DataOnSource), difference.DataOnTarget);
}

Title titleOf(Part part, const diffEntity& entity) {
  const PartWord& word = *std::ranges::find(kPartWords, part, &PartWord::part);
  return titled(word.word, word.nameOf, entity.Name);
}

// An index that only the target has is known by its key list, one of the source by its name.
Title titleOfMissing(Part part, const diffEntity& entity, const typeDiff& difference) {
  if (part == Part::index && difference.Location == location_target)
    return titled(u"index on", NameOf::keys, entity.Name);
  return titleOf(part, entity);
}

std::optional<enumLocation> missingSideOf(const Array<typeDiff>& own) {
  const auto* missing = std::ranges::find(own, diff_DoesNotExist, &typeDiff::DiffType);
  if (missing == own.end()) return std::nullopt;
  return missing->Location;
}

Tallies talliesOf(const diffSchema& shown) {
  Tallies tallies;
  forEachKind(shown, [&](const auto& kind, const auto& objects) {
    if (!objects.empty()) tallies.push_back({kind.singular, kind.plural, countsOf(objects)});
  });
  return tallies;
}

}  // namespace kelvane::report
