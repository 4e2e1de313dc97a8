// Partitions of tables and indexes, and numbers of rows.

#include <algorithm>

#include "inventory/read/reading.h"

namespace kelvane::inventory {
namespace {

constexpr int kClusteredIndid = 1;

bool isGenerated(const std::string& name, int id) {
  return name.empty() || name.ends_with("_" + std::to_string(id));
}

/// 12.5 tells how many there are, and nothing else.
void readCounts(Reading& reading) {
  reading.session.rows("partitions", "select id from syspartitions order by id",
                       [&](const Row& row) {
                         const ObjectEntry* entry = reading.table(row.number(0));
                         if (entry == nullptr) return;
                         Table& table = reading.database.tables[entry->at];
                         table.partitionKind = "roundrobin";
                         table.partitions.push_back({{{}, true}, {}, {}});
                       });
}

}  // namespace

void readPartitions(Reading& reading) {
  if (!reading.catalog.has("syspartitions")) return reading.session.skip();
  if (!reading.catalog.has("syspartitions", "indid")) return readCounts(reading);
  reading.session.rows(
      "partitions",
      "select id, indid, partitionid, name, segment from syspartitions"
      " order by id, indid, partitionid",
      [&](const Row& row) {
        const ObjectEntry* entry = reading.table(row.number(0));
        if (entry == nullptr) return;
        Table& table = reading.database.tables[entry->at];
        const int indid = row.number(1), id = row.number(2);
        Partition partition;
        partition.name.name = row.text(3);
        partition.name.generated = isGenerated(partition.name.name, id);
        partition.segment = reading.segmentName(row.number(4));
        if (indid <= kClusteredIndid) {
          reading.boundIds[entry->id].push_back(id);
          table.partitions.push_back(std::move(partition));
        } else if (IndexStorage* index = indexStorage(table, reading.tables[entry->at], indid)) {
          index->partitions.push_back(std::move(partition));
        }
      });
}

void readPartitionKeys(Reading& reading) {
  if (!reading.catalog.has("syspartitionkeys")) return reading.session.skip();
  reading.session.rows("columns of partitions",
                       "select id, indid, colid from syspartitionkeys where indid in (0, 1)"
                       " order by id, indid, position",
                       [&](const Row& row) {
                         const ObjectEntry* entry = reading.table(row.number(0));
                         if (entry == nullptr) return;
                         reading.database.tables[entry->at].partitionColumns.push_back(
                             reading.columnName(*entry, row.number(2)));
                       });
}

void readRowCounts(Reading& reading) {
  if (!reading.options.rowCounts) return reading.session.skip();
  const auto add = [&](const Row& row) {
    if (const ObjectEntry* entry = reading.table(row.number(0)))
      reading.database.tables[entry->at].rowCount = row.large(1);
  };
  const std::string chosen = reading.amongChosen("o.id");
  // The function of before 15.0 answers 0 later, so the new one is asked first.
  std::string reason;
  if (reading.session.rowsUnlessRefused(
          "row counts",
          "select o.id, row_count(db_id(), o.id) from sysobjects o where o.type = 'U'" + chosen,
          reason, add))
    return;
  reading.session.rows("row counts",
                       "select i.id, rowcnt(i.doampg) from sysindexes i, sysobjects o"
                       " where o.id = i.id and o.type = 'U' and i.indid in (0, 1)" +
                           chosen,
                       add);
}

}  // namespace kelvane::inventory
