// Indexes, the constraints that they enforce, and the rows of sysindexes that stand for data.

#include <algorithm>
#include <array>

#include "inventory/read/reading.h"
#include "inventory/read/status_bits.h"

namespace kelvane::inventory {
namespace {

/// The positions in the statement below.
enum Cell {
  kId,
  kIndid,
  kName,
  kStatus,
  kStatus2,
  kStatus3,
  kSegment,
  kMaxRowsPerPage,
  kFillFactor,
  kReservePageGap,
  kExpectedRowSize,
  kIdentityGap,
  kPartitionType,
  kConditions,
  kConcurrency,
  kParallelDegree,
};

constexpr int kHeap = 0, kClusteredIndid = 1, kTextChain = 255;

/// 0 is what nobody declared.
std::optional<std::int32_t> declared(int value) {
  return value > 0 ? std::optional<std::int32_t>(value) : std::nullopt;
}

std::string strategyOf(int status2) {
  std::string off;
  if ((status2 & index_status::kNoPrefetch) != 0) off = "prefetch off";
  if ((status2 & index_status::kNoMru) != 0) off += off.empty() ? "mru off" : ", mru off";
  return off;
}

std::string partitionKind(int type) {
  constexpr std::array<std::string_view, 5> kKinds{"", "range", "hash", "roundrobin", "list"};
  const auto at = static_cast<std::size_t>(std::max(type, 0));
  return at < kKinds.size() ? std::string(kKinds[at]) : "type " + std::to_string(type);
}

/// The row that stands for the data. On an allpages table with a clustered index it is that of the
/// index too: what concerns the filling of pages is said of the index then, and where the data are
/// of the table.
void addData(const Reading& reading, Table& table, Shape& shape, const Row& row) {
  constexpr int kUsualConcurrency = 15;
  shape.dataIndid = row.number(kIndid);
  shape.conditions = row.number(kConditions);
  table.segment = reading.segmentName(row.number(kSegment));
  table.expectedRowSize = declared(row.number(kExpectedRowSize));
  table.identityGap = declared(row.number(kIdentityGap));
  if (shape.dataIndid == kHeap) {
    table.fillFactor = declared(row.number(kFillFactor));
    table.maxRowsPerPage = declared(row.number(kMaxRowsPerPage));
    table.reservePageGap = declared(row.number(kReservePageGap));
    table.parallelDegree = declared(row.number(kParallelDegree));
  }
  const auto concurrency = row.known(kConcurrency);
  const bool isUsual =
      concurrency == kUsualConcurrency || (concurrency == 0 && table.lock == "allpages");
  if (concurrency && !isUsual) table.concurrencyThreshold = concurrency;
  table.cacheStrategy = strategyOf(row.number(kStatus2));
  table.partitionKind = partitionKind(row.number(kPartitionType));
}

/// The pages of text and image columns.
void addTextChain(const Reading& reading, Table& table, const Row& row) {
  const std::string segment = reading.segmentName(row.number(kSegment));
  if (!segment.empty() && segment != table.segment)
    table.segment += (table.segment.empty() ? "default" : "") + (", text only: " + segment);
  const std::string strategy = strategyOf(row.number(kStatus2));
  if (!strategy.empty())
    table.cacheStrategy += (table.cacheStrategy.empty() ? "" : "; ") + ("text only: " + strategy);
}

IndexStorage storageOf(const Reading& reading, const Row& row) {
  using namespace index_status;
  IndexStorage storage;
  const int indid = row.number(kIndid), status3 = row.number(kStatus3);
  storage.clustered = indid == kClusteredIndid || (row.number(kStatus2) & kPlacement) != 0;
  storage.fillFactor = declared(row.number(kFillFactor));
  storage.maxRowsPerPage = declared(row.number(kMaxRowsPerPage));
  storage.reservePageGap = declared(row.number(kReservePageGap));
  storage.parallelDegree = declared(row.number(kParallelDegree));
  if (indid != kClusteredIndid) {
    storage.segment = reading.segmentName(row.number(kSegment));
    storage.cacheStrategy = strategyOf(row.number(kStatus2));
  }
  storage.local = (status3 & kLocal) != 0;
  if (reading.usesEmbeddedBits()) {
    if ((status3 & embedded_status::kIndexPageCompressed) != 0) storage.compression = "page";
    storage.latchFree = (status3 & embedded_status::kIndexLatchFree) != 0;
  }
  return storage;
}

void addIndex(const Reading& reading, Table& table, Shape& shape, const Row& row) {
  using namespace index_status;
  const int status = row.number(kStatus), status2 = row.number(kStatus2);
  const bool isConstraint = (status2 & kConstraint) != 0;
  if (isConstraint) {
    KeyConstraint& key = table.keys.emplace_back();
    static_cast<IndexStorage&>(key) = storageOf(reading, row);
    key.name = {row.text(kName), (status2 & kGeneratedName) != 0};
    key.primary = (status & kPrimaryKey) != 0;
  } else {
    Index& index = table.indexes.emplace_back();
    static_cast<IndexStorage&>(index) = storageOf(reading, row);
    index.name = row.text(kName);
    index.unique = (status & kUnique) != 0;
    index.ignoreDuplicateKey = (status & kIgnoreDuplicateKey) != 0;
    index.ignoreDuplicateRow = (status & kIgnoreDuplicateRow) != 0;
    index.allowDuplicateRow = (status & kAllowDuplicateRow) != 0;
  }
  shape.indexes.push_back({row.number(kIndid), isConstraint,
                           (isConstraint ? table.keys.size() : table.indexes.size()) - 1});
}

}  // namespace

IndexStorage* indexStorage(Table& table, const Shape& shape, int indid) {
  const auto slot = std::ranges::find(shape.indexes, indid, &IndexSlot::indid);
  if (slot == shape.indexes.end()) return nullptr;
  if (slot->isConstraint) return &table.keys[slot->at];
  return &table.indexes[slot->at];
}

void readIndexes(Reading& reading) {
  reading.session.rows("indexes",
                       "select " +
                           reading.list("sysindexes", "i",
                                        {"id", "indid", "name", "status", "status2", "status3",
                                         "segment", "maxrowsperpage", "fill_factor", "res_page_gap",
                                         "exp_rowsize", "identitygap", "partitiontype",
                                         "conditionid", "conopt_thld", "plldegree"}) +
                           " from sysindexes i, sysobjects o where o.id = i.id and o.type = 'U'" +
                           reading.amongChosen("i.id") + " order by i.id, i.indid",
                       [&](const Row& row) {
                         const ObjectEntry* entry = reading.table(row.number(kId));
                         if (entry == nullptr) return;
                         Table& table = reading.database.tables[entry->at];
                         Shape& shape = reading.tables[entry->at];
                         const int indid = row.number(kIndid);
                         if (indid == kTextChain) return addTextChain(reading, table, row);
                         if (indid <= kClusteredIndid) addData(reading, table, shape, row);
                         if (indid >= kClusteredIndid) addIndex(reading, table, shape, row);
                       });
}

void readIndexKeys(Reading& reading) {
  // With the owner's id a name needs no quotes. Behind the last key there is null. The columns of
  // sysreferences, more than an index can have, serve as the numbers of keys: few rows, found by
  // their id.
  reading.session.rows(
      "columns of indexes",
      "select i.id, i.indid, index_col(o.name, i.indid, v.colid, o.uid),"
      " index_colorder(o.name, i.indid, v.colid, o.uid)"
      " from sysindexes i, sysobjects o, syscolumns v where o.id = i.id and o.type = 'U'"
      " and i.indid between 1 and 254 and v.id = object_id('sysreferences')"
      " and v.colid <= i.keycnt" +
          reading.amongChosen("i.id") + " order by i.id, i.indid, v.colid",
      [&](const Row& row) {
        const ObjectEntry* entry = reading.table(row.number(0));
        if (entry == nullptr || row.isNull(2)) return;
        const Shape& shape = reading.tables[entry->at];
        IndexStorage* index =
            indexStorage(reading.database.tables[entry->at], shape, row.number(1));
        if (index == nullptr) return;
        KeyColumn key;
        key.name = row.text(2);
        key.isExpression = shape.expressions.contains(key.name);
        key.descending = row.text(3) == "DESC";
        index->columns.push_back(std::move(key));
      });
}

}  // namespace kelvane::inventory
