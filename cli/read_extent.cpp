#include "cli/read_extent.h"

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
void keepComparable(int category, Array<Record> Schema::*member, std::array<Schema, 2>& schemas,
                    const std::array<std::optional<ReadExtent>, 2>& extents) {
  Names unread;
  for (std::size_t side = 0; side < 2; ++side) {
    const std::optional<ReadExtent>& extent = extents[side];
    if (!extent || category < extent->categories) continue;
    if (category > extent->categories || !extent->listed) {
      for (Schema& schema : schemas) (schema.*member).clear();
      return;
    }
    const Array<Record>& records = schemas[side].*member;
    for (int position = extent->objects + 1; position <= records.count(); ++position)
      unread.insert(foldCase(records[position].FullName));
  }
  if (unread.empty()) return;
  for (Schema& schema : schemas) remove(schema.*member, unread);
}

template <class... Records>
void keepComparable(std::array<Schema, 2>& schemas,
                    const std::array<std::optional<ReadExtent>, 2>& extents,
                    Array<Records> Schema::*... members) {
  int category = 0;
  (keepComparable(category++, members, schemas, extents), ...);
}

}  // namespace

void keepComparable(std::array<Schema, 2>& schemas,
                    const std::array<std::optional<ReadExtent>, 2>& extents) {
  keepComparable(schemas, extents, &Schema::Tables, &Schema::Views, &Schema::StoredProcs,
                 &Schema::Functions, &Schema::UDDTs, &Schema::Users, &Schema::Groups);
}

}  // namespace kelvane::cli
