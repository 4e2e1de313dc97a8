#include "inventory/read/reader.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <tuple>

#include "inventory/read/reading.h"
#include "inventory/shown.h"

namespace kelvane::inventory {
namespace {

/// By name, which is the same order in all installations.
template <class Record>
void sortByName(std::vector<Record>& records) {
  std::ranges::sort(records, [](const Record& a, const Record& b) {
    return std::tie(a.name.name, a.name.owner) < std::tie(b.name.name, b.name.owner);
  });
}

void sortPermissions(std::vector<Permission>& permissions) {
  std::ranges::sort(permissions, [](const Permission& a, const Permission& b) {
    return std::tie(a.grantee, a.action, a.effect, a.grantOption, a.columns, a.grantor) <
           std::tie(b.grantee, b.action, b.effect, b.grantOption, b.columns, b.grantor);
  });
}

/// An unpartitioned table has one partition on servers that have them at all.
void dropSinglePartition(Table& table) {
  const bool isKeyed = !table.partitionKind.empty() && table.partitionKind != "roundrobin";
  if (isKeyed || table.partitions.size() > 1) return;
  table.partitionKind.clear();
  table.partitions.clear();
  table.partitionColumns.clear();
}

/// Those of an index, where nobody named or placed them. An index that is not divided is in one
/// partition, on the segment of the index.
void dropUndeclaredPartitions(IndexStorage& index) {
  if (!index.local && index.partitions.size() == 1 && index.partitions[0].name.generated) {
    index.partitions.clear();
  }
  const bool isUndeclared = std::ranges::all_of(index.partitions, [](const Partition& one) {
    return one.name.generated && one.segment.empty();
  });
  if (isUndeclared) index.partitions.clear();
}

/// By name; those with generated names, which differ in each installation, by what they say.
template <class Record>
void sortConstraints(std::vector<Record>& constraints) {
  if (constraints.size() < 2) return;
  std::ranges::sort(constraints, [](const Record& a, const Record& b) {
    if (a.name.generated != b.name.generated) return b.name.generated;
    return a.name.generated ? declaration(a) < declaration(b) : a.name.name < b.name.name;
  });
}

void sortLogicalKeys(std::vector<LogicalKey>& keys) {
  std::ranges::sort(keys, {}, [](const LogicalKey& key) { return nameOf(key); });
  // A common key of a table with itself has two rows, which may say the same.
  const auto repeated = std::ranges::unique(keys);
  keys.erase(repeated.begin(), repeated.end());
}

void finishTable(Table& table) {
  dropSinglePartition(table);
  for (KeyConstraint& key : table.keys) dropUndeclaredPartitions(key);
  for (Index& index : table.indexes) dropUndeclaredPartitions(index);
  sortConstraints(table.keys);
  sortConstraints(table.foreignKeys);
  sortConstraints(table.checks);
  sortLogicalKeys(table.logicalKeys);
  std::ranges::sort(table.indexes, {}, &Index::name);
  sortByName(table.triggers);
  sortPermissions(table.permissions);
}

void applyBounds(Reading& reading) {
  for (const auto& [id, partitions] : reading.boundIds) {
    Table& table = reading.database.tables[reading.object(id)->at];
    for (std::size_t at = 0; at < partitions.size() && at < table.partitions.size(); ++at) {
      const auto bound = reading.bounds.find(partitions[at]);
      if (bound != reading.bounds.end()) table.partitions[at].bound = bound->second;
    }
  }
}

/// What no statement is needed for: orders, and what says nothing.
void finish(Reading& reading) {
  applyBounds(reading);
  Database& database = reading.database;
  for (Table& table : database.tables) finishTable(table);
  for (View& view : database.views) {
    sortByName(view.triggers);
    sortLogicalKeys(view.logicalKeys);
    sortPermissions(view.permissions);
  }
  std::ranges::sort(database.procedures, [](const Procedure& a, const Procedure& b) {
    return std::tie(a.name.name, a.name.owner, a.number) <
           std::tie(b.name.name, b.name.owner, b.number);
  });
  for (Procedure& procedure : database.procedures) sortPermissions(procedure.permissions);
  for (Function& function : database.functions) sortPermissions(function.permissions);
  for (EncryptionKey& key : database.encryptionKeys) {
    std::ranges::sort(key.copies);
    sortPermissions(key.permissions);
  }
  sortPermissions(database.settings.permissions);
  std::ranges::sort(database.settings.segments, {}, &Segment::name);
  std::ranges::sort(database.settings.thresholds, [](const Threshold& a, const Threshold& b) {
    return std::tie(a.segment, a.freePages) < std::tie(b.segment, b.freePages);
  });
  sortByName(database.rules);
  sortByName(database.defaults);
  sortByName(database.types);
  std::ranges::sort(database.messages, [](const Message& a, const Message& b) {
    return std::tie(a.number, a.language) < std::tie(b.number, b.language);
  });
  std::ranges::sort(database.aliases, {}, &Alias::login);
}

// Each sends one statement, or none where the server lacks the table. What one needs of another has
// come before it.
constexpr std::array kSteps{readServer,      readCatalogColumns, readUsers,       readRoles,
                            readDatabase,    readSegments,       readTypes,       readObjects,
                            readConstraints, readProcedures,     readColumns,     readIndexes,
                            readIndexKeys,   readReferences,     readPartitions,  readPartitionKeys,
                            readAttributes,  readEncryptionKeys, readLogicalKeys, readTexts,
                            readPermissions, readMessages,       readRowCounts,   readObjectsAgain};

}  // namespace

Database read(ado::Connection& connection, const ReadOptions& options, ReadEvents* events) {
  std::vector<Gap> gaps;
  Reading reading{Session(connection, events, gaps, kSteps.size()), options};
  for (const auto step : kSteps) step(reading);
  const auto ofTexts = static_cast<std::ptrdiff_t>(gaps.size());
  applyTexts(reading);
  std::ranges::sort(gaps.begin() + ofTexts, gaps.end(), {}, &Gap::what);
  finish(reading);
  reading.database.gaps = std::move(gaps);
  return std::move(reading.database);
}

}  // namespace kelvane::inventory
