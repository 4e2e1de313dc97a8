// Indexes, and what constraints have of them.

#include <algorithm>
#include <utility>

#include "inventory/ddl/tables.h"
#include "inventory/shown.h"

namespace kelvane::inventory {
namespace {

struct StorageOption {
  std::string_view label;
  std::string_view option;
  TargetRelease since = TargetRelease::ase125;
  bool ofIndexesOnly = false;  ///< a constraint does not take it
};

// By the labels of attributes.h; what is missing here has a clause of its own.
constexpr StorageOption kStorageOptions[] = {
    {"fillfactor", "fillfactor = "},
    {"max_rows_per_page", "max_rows_per_page = "},
    {"reservepagegap", "reservepagegap = "},
    {"compression", "index_compression = ", TargetRelease::ase16, true},
    {"latch free", "latch_free_index = ", TargetRelease::ase16, true},
};

constexpr std::string_view kNotOfConstraints = "a constraint cannot declare it";

bool isOnPagesOfData(const Table& table, const IndexStorage& storage) {
  return storage.clustered && table.lock == "allpages";
}

Phase phaseOf(StorageOwner owner) {
  return owner == StorageOwner::index ? Phase::indexes : Phase::tables;
}

/// fillfactor = 10, ...
std::vector<std::string> optionsOf(Writing& writing, const std::string& title,
                                   const IndexStorage& storage, StorageOwner owner) {
  std::vector<std::string> options;
  const auto add = [&](const auto& one) {
    for (const StorageOption& option : kStorageOptions) {
      if (option.label != one.label || storage.*one.member == IndexStorage{}.*one.member) continue;
      const std::string what = title + std::string(one.label);
      if (!writing.allows(option.since, phaseOf(owner), what)) continue;
      if (option.ofIndexesOnly && owner == StorageOwner::constraint) {
        writing.omit(phaseOf(owner), what, std::string(kNotOfConstraints));
        continue;
      }
      const std::string value = shown(storage.*one.member);
      options.push_back(std::string(option.option) + (value == shown(true) ? "1" : value));
    }
  };
  std::apply([&](const auto&... one) { (add(one), ...); }, kIndexStorage);
  return options;
}

/// Without parentheses, and without bounds, which are those of the table.
void addLocal(Statement& statement, const std::vector<Partition>& partitions) {
  statement << " local index";
  if (partitions.empty() || partitions.front().name.generated) return;
  std::string_view blank = " ";
  for (const Partition& one : partitions) {
    statement << std::exchange(blank, ", ");
    statement.name(one.name.name);
    if (!one.segment.empty()) statement << " on " << segmentName(one.segment);
  }
}

void addIndexPartitions(Writing& writing, Statement& statement, const std::string& title,
                        const IndexStorage& storage, StorageOwner owner) {
  const Phase phase = phaseOf(owner);
  if (!storage.local) {
    if (storage.partitions.size() > 1)
      writing.omit(phase, title + "partitions", "a global index cannot declare them");
    return;
  }
  if (owner == StorageOwner::index) {
    if (writing.allows(TargetRelease::ase15, phase, title + "local index"))
      addLocal(statement, storage.partitions);
    return;
  }
  // The index of a clustered one follows the partitions of the table.
  const bool isPlain = std::ranges::all_of(storage.partitions, [](const Partition& one) {
    return one.name.generated && one.segment.empty();
  });
  if (!storage.clustered || !isPlain)
    writing.omit(phase, title + "local index", std::string(kNotOfConstraints));
}

bool allowsExpressions(Writing& writing, const Table& table, const Index& index,
                       const std::string& title) {
  for (const KeyColumn& key : index.columns) {
    if (!key.isExpression) continue;
    if (key.state != Definition::State::whole) {
      writing.omit(Phase::indexes, title, "its expression cannot be read");
      return false;
    }
    const auto used = writing.leftOutFunctionIn(key.name, false, table.name.owner);
    if (used) {
      writing.omit(Phase::indexes, title, *used + " is left out");
      return false;
    }
    if (const auto missing = writing.missingColumnIn(table, key.name, false)) {
      writing.omit(Phase::indexes, title,
                   "names column " + *missing + ", which the table does not have");
      return false;
    }
  }
  return true;
}

}  // namespace

void addStorage(Writing& writing, Statement& statement, const Table& table, const std::string& what,
                const IndexStorage& storage, std::vector<std::string> options, StorageOwner owner) {
  const std::string title = titleOf(table) + ": " + what + ": ";
  for (std::string& option : optionsOf(writing, title, storage, owner))
    options.push_back(std::move(option));
  std::string_view separator = " with ";
  for (const std::string& option : options) statement << std::exchange(separator, ", ") << option;
  const std::string segment =
      isOnPagesOfData(table, storage) ? dataAndTexts(table.segment, ", ").first : storage.segment;
  if (!segment.empty()) statement << " on " << segmentName(segment);
  addIndexPartitions(writing, statement, title, storage, owner);
}

void writeIndexes(Writing& writing, const Table& table) {
  for (const Index& index : table.indexes) {
    const std::string title = titleOf(table) + ": index " + index.name;
    bool isLater = false;
    for (const KeyColumn& key : index.columns) isLater = isLater || key.isExpression;
    if (isLater && !writing.allows(TargetRelease::ase15, Phase::indexes, title)) continue;
    if (!writing.allowsName(index.name, Phase::indexes, title)) continue;
    if (!allowsExpressions(writing, table, index, title)) continue;
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
               StorageOwner::index);
    writing.add(Phase::indexes, create);
  }
}

}  // namespace kelvane::inventory
