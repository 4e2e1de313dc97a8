#include "cli/words/selection.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "cli/words/object_kinds.h"
#include "report/kind_words.h"

namespace kelvane::cli {

Selection selectionOf(const Arguments& arguments, std::optional<CaseMode> names) {
  using Effect = Selection::Effect;
  std::vector<Selection::Pattern> patterns;
  for (const auto& [option, effect] :
       {std::pair{kInclude, Effect::include}, {kExclude, Effect::exclude}}) {
    for (const std::string& given : arguments.values(option))
      patterns.push_back({effect, given, arguments.called(option)});
  }
  try {
    return Selection(patterns, names);
  } catch (const inventory::UnknownKind& error) {
    throw UsageError(error.what());
  }
}

inventory::Kind kindOf(enumEntityType kind) { return *inventory::objectKindOf(wordOf(kind)); }

void apply(const Selection& selection, Schema& schema, CaseMode mode, Selection::Tally& tally) {
  if (selection.takesAll()) return;
  const auto one = [&]<class Record>(enumEntityType kind, Array<Record>& records) {
    Array<Record> kept;
    for (const Record& record : std::as_const(records)) {
      if (selection.takes(kindOf(kind), {record.Name, record.FullName}, mode, tally))
        kept.append(record);
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

std::function<bool(inventory::Kind)> comparedKinds(const cComparisonOptions& switches) {
  return [switches](inventory::Kind kind) {
    const auto known = std::ranges::find_if(
        kObjectKinds, [&](const ObjectKind& one) { return kindOf(one.list) == kind; });
    if (known == kObjectKinds.end()) return true;
    const auto one = std::ranges::find(kSwitches, known->group, &Switch::name);
    return bool(switches.*one->value);
  };
}

}  // namespace kelvane::cli
