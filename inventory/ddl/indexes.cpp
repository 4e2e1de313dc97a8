// Indexes, and what constraints have of them.

#include "inventory/ddl/tables.h"
#include "inventory/shown.h"

namespace kelvane::inventory {
namespace {

struct StorageOption {
  std::string_view label;
  std::string_view option;
  TargetRelease since = TargetRelease::ase125;
};

// By the labels of attributes.h; what is missing here has a clause of its own.
constexpr StorageOption kStorageOptions[] = {
    {"fillfactor", "fillfactor = "},
    {"max_rows_per_page", "max_rows_per_page = "},
    {"reservepagegap", "reservepagegap = "},
    {"compression", "index_compression = ", TargetRelease::ase16},
    {"latch free", "latch_free_index = ", TargetRelease::ase16},
};

bool isOnPagesOfData(const Table& table, const IndexStorage& storage) {
  return storage.clustered && table.lock == "allpages";
}

}  // namespace

void addStorage(Writing& writing, Statement& statement, const Table& table, const std::string& what,
                const IndexStorage& storage, std::vector<std::string> options, Phase phase) {
  const std::string title = titleOf(table) + ": " + what + ": ";
  const auto add = [&](const auto& one) {
    for (const StorageOption& option : kStorageOptions) {
      if (option.label != one.label || storage.*one.member == IndexStorage{}.*one.member) continue;
      if (!writing.allows(option.since, phase, title + std::string(one.label))) continue;
      const std::string value = shown(storage.*one.member);
      options.push_back(std::string(option.option) + (value == shown(true) ? "1" : value));
    }
  };
  std::apply([&](const auto&... one) { (add(one), ...); }, kIndexStorage);
  std::string_view separator = " with ";
  for (const std::string& option : options) statement << std::exchange(separator, ", ") << option;
  const std::string segment =
      isOnPagesOfData(table, storage) ? dataAndTexts(table.segment, ", ").first : storage.segment;
  if (!segment.empty()) statement << " on " << segmentName(segment);
  if (!storage.local || !writing.allows(TargetRelease::ase15, phase, title + "local index")) return;
  statement << " local index";
  if (storage.partitions.empty() || storage.partitions.front().name.generated) return;
  // Without parentheses, and without bounds, which are those of the table.
  std::string_view blank = " ";
  for (const Partition& one : storage.partitions) {
    statement << std::exchange(blank, ", ");
    statement.name(one.name.name);
    if (!one.segment.empty()) statement << " on " << segmentName(one.segment);
  }
}

void writeIndexes(Writing& writing, const Table& table) {
  for (const Index& index : table.indexes) {
    const std::string title = titleOf(table) + ": index " + index.name;
    bool isLater = false;
    for (const KeyColumn& key : index.columns) isLater = isLater || key.isExpression;
    if (isLater && !writing.allows(TargetRelease::ase15, Phase::indexes, title)) continue;
    if (!writing.allowsName(index.name, Phase::indexes, title)) continue;
    Statement create("create ");
    create << (index.unique ? "unique " : "") << (index.clustered ? "clustered " : "nonclustered ")
           << "index ";
    create.name(index.name) << " on ";
    create.name(table.name) << " ";
    addKeyColumns(create, index);
    std::vector<std::string> options;
    for (const auto& [is, word] : {std::pair(index.ignoreDuplicateKey, "ignore_dup_key"),
                                   std::pair(index.ignoreDuplicateRow, "ignore_dup_row"),
                                   std::pair(index.allowDuplicateRow, "allow_dup_row")}) {
      if (is) options.emplace_back(word);
    }
    addStorage(writing, create, table, "index " + index.name, index, std::move(options),
               Phase::indexes);
    writing.add(Phase::indexes, create);
  }
}

}  // namespace kelvane::inventory
