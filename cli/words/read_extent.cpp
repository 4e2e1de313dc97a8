#include "cli/words/read_extent.h"

#include <string>
#include <unordered_set>
#include <utility>

#include "model/text.h"

namespace kelvane::cli {
namespace {

using Names = std::unordered_set<std::u16string>;

template <class Record>
void remove(Array<Record>& records, const Names& names) {
  Array<Record> kept;
  for (const Record& record : std::as_const(records)) {
    if (!names.contains(foldCase(record.FullName))) kept.append(record);
  }
  records.swap(kept);
}

template <class Record>
void keepComparable(enumEntityType kind, Array<Record> Schema::*member,
                    std::array<Schema, 2>& schemas,
                    const std::array<std::optional<ReadExtent>, 2>& extents) {
  Names incomplete;
  for (std::size_t side = 0; side < 2; ++side) {
    if (!extents[side]) continue;
    const KindExtent& extent = (*extents[side])[kind];
    if (!extent.listed) {
      for (Schema& schema : schemas) (schema.*member).clear();
      return;
    }
    const Array<Record>& records = schemas[side].*member;
    for (std::int32_t position = 1; position <= records.count(); ++position) {
      if (!extent.isComplete(position)) incomplete.insert(foldCase(records[position].FullName));
    }
  }
  if (incomplete.empty()) return;
  for (Schema& schema : schemas) remove(schema.*member, incomplete);
}

}  // namespace

void keepComparable(std::array<Schema, 2>& schemas,
                    const std::array<std::optional<ReadExtent>, 2>& extents) {
  keepComparable(entity_TABLE, &Schema::Tables, schemas, extents);
  keepComparable(entity_VIEW, &Schema::Views, schemas, extents);
  keepComparable(entity_STOREDPROC, &Schema::StoredProcs, schemas, extents);
  keepComparable(entity_FUNCTION, &Schema::Functions, schemas, extents);
  keepComparable(entity_UDDT, &Schema::UDDTs, schemas, extents);
  keepComparable(entity_USER, &Schema::Users, schemas, extents);
  keepComparable(entity_GROUP, &Schema::Groups, schemas, extents);
}

}  // namespace kelvane::cli
