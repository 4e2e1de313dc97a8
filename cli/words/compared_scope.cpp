#include "cli/words/compared_scope.h"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

#include "cli/words/object_kinds.h"

namespace kelvane::cli {
namespace {

// The word of a sub-entity or the label of a difference, and what names of switches have for it.
struct SwitchWord {
  std::u16string_view word, inSwitches;
};

constexpr auto kParts = std::to_array<SwitchWord>({
    {u"column", u"Columns"},
    {u"parameter", u"Columns"},
    {u"primary-key", u"PrimaryKeys"},
    {u"foreign-key", u"ForeignKeys"},
    {u"index", u"Indexes"},
    {u"trigger", u"Triggers"},
    {u"system-permissions", u"SystemPermissions"},
    {u"permissions-on", u"ObjectPermissions"},
    {u"member", u"Users"},
});
constexpr auto kDetails = std::to_array<SwitchWord>({
    {u"Data Type", u"DataTypes"},
    {u"Default", u"Defaults"},
    {u"Scale", u"Scales"},
    {u"Length", u"Lengths"},
    {u"Nullable", u"Nullables"},
    {u"Ordinal Position", u"OrdinalPositions"},
    {u"Precision", u"Precisions"},
    {u"Name", u"Names"},
    {u"Description", u"Descriptions"},
    {u"Attributes", u"Attributes"},
    {u"References Primary Key", u"PKRefs"},
});
constexpr auto kOfObjects = std::to_array<SwitchWord>({
    {u"Row Count", u"RowCount"},
    {u"Max Width", u"MaxWidth"},
    {u"Definition", u"Definition"},
});
constexpr std::u16string_view kOwner = u"Owner", kIndex = u"index", kDefinition = u"Definition";

template <std::size_t kCount>
std::u16string_view inSwitches(const std::array<SwitchWord, kCount>& words,
                               std::u16string_view word) {
  const auto found = std::ranges::find(words, word, &SwitchWord::word);
  return found == words.end() ? std::u16string_view() : found->inSwitches;
}

// There need not be a switch of that name.
bool isOff(const cComparisonOptions& switches, const std::u16string& name) {
  const auto one = std::ranges::find(kSwitches, name, &Switch::name);
  return one != kSwitches.end() && !(switches.*one->value);
}

bool isSwitchedOff(const cComparisonOptions& switches, const KnownDifference& difference) {
  const auto kind = std::ranges::find(kObjectKinds, difference.kind, &ObjectKind::list);
  const std::u16string ofKind(kind->group);
  if (isOff(switches, ofKind)) return true;
  const std::u16string part = toUtf16(difference.part);
  if (part.empty()) {
    const bool ofType =
        difference.kind == entity_UDDT && !difference.label.empty() && difference.label != kOwner;
    const auto word = ofType ? kDefinition : inSwitches(kOfObjects, difference.label);
    return isOff(switches, ofKind + u"_" + std::u16string(word));
  }
  const std::u16string ofPart = ofKind + u"_" + std::u16string(inSwitches(kParts, part));
  // Indexes are called by their names, and those of primary keys are among them where keys are not
  // read.
  const bool isOtherIndex =
      part == kIndex && (isOff(switches, ofPart + u"_Names") || !switches.Tables_PrimaryKeys);
  return isOtherIndex || isOff(switches, ofPart) ||
         isOff(switches, ofPart + u"_" + std::u16string(inSwitches(kDetails, difference.label)));
}

bool isIgnored(const Rules& rules, const KnownDifference& difference) {
  const bool ignoresText = rules.ignoreTabs || rules.ignoreSpaces || rules.ignoreLineBreaks;
  return (ignoresText && difference.label == kDefinition) ||
         (rules.ignoreCase && difference.label.empty());
}

bool isSelected(const KnownDifference& difference, const Selection& selection, CaseMode names) {
  std::u16string_view name = difference.object;
  if (difference.kind != entity_USER && difference.kind != entity_GROUP)
    name.remove_prefix(name.find(u'.') + 1);
  Selection::Tally uncounted;
  return selection.takes(kindOf(difference.kind), {name, difference.object}, names, uncounted);
}

}  // namespace

bool ComparedScope::couldFind(const KnownDifference& difference) const {
  return isReadInFull && !isSwitchedOff(switches, difference) && !isIgnored(rules, difference) &&
         isSelected(difference, selection, names);
}

}  // namespace kelvane::cli
