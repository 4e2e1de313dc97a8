// What the procedures for the storage, the caches and the replication of objects keep in the
// catalog.
#include <algorithm>
#include <charconv>
#include <limits>

#include "drivers/embedded/catalog/index_writer.h"
#include "drivers/embedded/catalog/name_text.h"
#include "drivers/embedded/catalog/ordered_triggers.h"
#include "drivers/embedded/catalog/procedures/procedure.h"
#include "drivers/embedded/tsql/words.h"

namespace kelvane::embedded {

namespace {

constexpr int kTextNotIndexed = -1;

/// A table, or one of its indexes as `table.index`. The row of sysindexes is the index's, or the
/// one that stands for the table's data.
struct Target {
  ObjectInfo table;
  int indid = kHeapIndid;
  bool isIndex = false;
};

Target requireTarget(ProcedureRun& run, const std::string& name) {
  const auto [tableName, last] = splitAtLastDot(name, run.quotedNames());
  if (!tableName.empty()) {
    const auto table = run.catalog().findObject(tableName, run.caller());
    if (table && table->type == object_type::kTable) {
      const std::string index = lastName(last, run.quotedNames());
      // The text chain has a name too.
      const auto& indexes = run.writer().records().indexes;
      for (const Slot slot : indexes.where<&SysIndex::id>(table->id)) {
        const bool isMeant = indexes[slot].indid != kHeapIndid && indexes[slot].name == index;
        if (isMeant) return {*table, indexes[slot].indid, true};
      }
    }
  }
  Target target{run.requireObject(name)};
  if (run.writer().records().index(target.table.id, kHeapIndid) == nullptr) {
    target.indid = kClusteredIndid;
  }
  return target;
}

std::int64_t requireNumber(const ProcedureRun& run, const std::string& text, std::int64_t least,
                           std::int64_t most) {
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  const bool isNumber = !text.empty() && error == std::errc() && end == text.data() + text.size();
  if (!isNumber || number < least || number > most) {
    run.fail(message::attributeOutOfRange, text, least, most);
  }
  return number;
}

// sp_chgattribute

template <auto kMember>
void setOnIndex(ProcedureRun& run, const Target& target, std::int64_t value) {
  run.writer().records().changeIndex(target.table.id, target.indid, [&](SysIndex& row) {
    row.*kMember = static_cast<int>(value);
  });
}

template <int kBit>
void setBitOfTable(ProcedureRun& run, const Target& target, std::int64_t value) {
  run.writer().records().changeObject(target.table.id, [&](SysObject& row) {
    row.sysstat2 = value != 0 ? row.sysstat2 | kBit : row.sysstat2 & ~kBit;
  });
}

void setIdentityBurnMax(ProcedureRun& run, const Target& target, std::int64_t value) {
  if (run.writer().records().identityColumn(target.table.id) == nullptr) {
    run.fail(message::noIdentityColumn, target.table.name);
  }
  run.writer().records().changeObject(target.table.id,
                                      [&](SysObject& row) { row.identburnmax = value; });
}

struct Attribute {
  std::string_view name;
  std::int64_t least;
  std::int64_t most;
  bool ofIndexes;  ///< also of a single index
  /// Null: the catalog has no place for it.
  void (*set)(ProcedureRun& run, const Target& target, std::int64_t value);
  Release since = Release::ase125;
};

constexpr std::int64_t kLargestInt = std::numeric_limits<int>::max();
constexpr int kDeallocateFirstTextPage = 0x8000000;
constexpr int kOptimisticIndexLock = 0x10000000;

constexpr Attribute kAttributes[] = {
    {"max_rows_per_page", 0, 256, true, setOnIndex<&SysIndex::maxrowsperpage>},
    {"fillfactor", 0, 100, true, setOnIndex<&SysIndex::fill_factor>},
    {"reservepagegap", 0, 255, true, setOnIndex<&SysIndex::res_page_gap>},
    {"exp_row_size", 0, 16384, false, setOnIndex<&SysIndex::exp_rowsize>},
    {"identity_gap", 0, kLargestInt, false, setOnIndex<&SysIndex::identitygap>},
    {"concurrency_opt_threshold", -1, 32767, false, setOnIndex<&SysIndex::conopt_thld>},
    {"plldegree", 0, 255, true, setOnIndex<&SysIndex::plldegree>, Release::ase15},
    {"optimistic_index_lock", 0, 1, false, setBitOfTable<kOptimisticIndexLock>},
    {"dealloc_first_txtpg", 0, 1, false, setBitOfTable<kDeallocateFirstTextPage>},
    {"identity_burn_max", 0, std::numeric_limits<std::int64_t>::max(), false, setIdentityBurnMax},
    {"ptn_locking", 0, 1, false, nullptr, Release::ase15},
};

void spChgattribute(ProcedureRun& run) {
  const Target target = requireTarget(run, run.text(0));
  if (target.table.type != object_type::kTable) {
    run.fail(message::neitherTableNorIndex, run.text(0));
  }
  const std::string name = tsql::lowerCase(run.text(1));
  const auto* attribute = std::ranges::find(kAttributes, name, &Attribute::name);
  const bool isKnown =
      attribute != std::end(kAttributes) && run.catalog().options().has(attribute->since);
  if (!isKnown) {
    run.fail(message::unknownAttribute, run.text(1));
  }
  if (target.isIndex && !attribute->ofIndexes) {
    run.fail(message::attributeOfTables, name, run.text(0));
  }
  // The value of identity_burn_max, which an int does not hold, is the fourth argument.
  const bool isLong = attribute->set == setIdentityBurnMax && run.argument(3);
  const std::int64_t value =
      requireNumber(run, run.text(isLong ? 3 : 2), attribute->least, attribute->most);
  if (attribute->set == nullptr) {
    run.ignore(concat("'", name, "'"));
  } else {
    attribute->set(run, target, value);
  }
  run.print(message::attributeChanged, name, run.text(0), value);
}

// caches and segments

/// In sysindexes.status2; prefetch and MRU replacement are on unless said.
constexpr int kNoPrefetch = 16;
constexpr int kNoMru = 32;

/// sp_cachestrategy database, table [, index | "table only" | "text only" [, strategy, on | off]]
void spCachestrategy(ProcedureRun& run) {
  Target target = requireTarget(run, run.text(1));
  const std::string part = run.name(2).value_or("");
  if (part == "text only") {
    target.indid = kTextIndid;
  } else if (!part.empty() && part != "table only") {
    const auto indid = IndexWriter(run.writer()).find(target.table.id, part);
    if (!indid) run.fail(message::noIndexOnTable, part, target.table.name);
    target.indid = *indid;
  }
  const std::string strategy = tsql::lowerCase(run.text(3));
  if (strategy.empty()) return run.ignore("the report");
  if (strategy != "prefetch" && strategy != "mru") {
    run.fail(message::badCacheStrategy, run.text(3));
  }
  const int bit = strategy == "mru" ? kNoMru : kNoPrefetch;
  const bool on = tsql::lowerCase(run.text(4)) == "on";
  run.writer().records().changeIndex(target.table.id, target.indid, [&](SysIndex& row) {
    row.status2 = on ? row.status2 & ~bit : row.status2 | bit;
  });
}

void spPlaceobject(ProcedureRun& run) {
  const auto segment =
      run.store().value("SELECT segment FROM syssegments WHERE name = ?", run.text(0));
  if (!segment) run.fail(message::segmentNotFound, run.text(0));
  const Target target = requireTarget(run, run.text(1));
  run.writer().records().changeIndex(target.table.id, target.indid,
                                     [&](SysIndex& row) { row.segment = *segment; });
  run.print(message::placedOnSegment, run.text(1), run.text(0));
}

// sysattributes

/// Of sysattributes.
namespace attribute_class {
constexpr int kCache = 3;
constexpr int kLockPromotion = 5;
}  // namespace attribute_class

void removeAttribute(ProcedureRun& run, int attributeClass, int attribute, const Target& target,
                     int index) {
  run.store().run(
      "DELETE FROM sysattributes WHERE class = ? AND attribute = ? AND object = ?"
      " AND ifnull(object_info1, -1) = ?",
      attributeClass, attribute, target.table.id, index);
}

/// What the attribute says of the whole database, whose catalog keeps it.
void setOfDatabase(ProcedureRun& run, int attributeClass, int attribute,
                   const std::string& database, const std::optional<std::string>& value) {
  const auto dbid = run.catalog().databaseId(database);
  if (!dbid) return run.ignore(concat("the attribute of the database ", database));
  run.catalog().enter(database);
  run.store().run(
      "DELETE FROM sysattributes WHERE class = ? AND attribute = ? AND object_type = 'D'",
      attributeClass, attribute);
  if (value) {
    run.store().run(
        "INSERT INTO sysattributes(class, attribute, object_type, object, int_value, char_value)"
        " VALUES (?, ?, 'D', ?, 1, ?)",
        attributeClass, attribute, *dbid, *value);
  }
  run.catalog().enter(run.caller().database);
}

/// sp_bindcache cache, database [, table [, index | "text only"]]
void bindCache(ProcedureRun& run, std::size_t firstName, const std::optional<std::string>& cache) {
  const auto name = run.argument(firstName);
  if (!name) {
    return setOfDatabase(run, attribute_class::kCache, 0, run.text(firstName - 1), cache);
  }
  const Target target = requireTarget(run, *name);
  int index = kTextNotIndexed;
  if (const auto part = run.name(firstName + 1)) {
    const auto indid = IndexWriter(run.writer()).find(target.table.id, *part);
    if (*part != "text only" && !indid) {
      run.fail(message::noIndexOnTable, *part, target.table.name);
    }
    index = indid.value_or(kTextIndid);
  }
  removeAttribute(run, attribute_class::kCache, 0, target, index);
  if (!cache) return;
  const bool isIndex = index != kTextNotIndexed;
  run.store().run(
      "INSERT INTO sysattributes(class, attribute, object_type, object, object_info1, int_value,"
      " char_value) VALUES (?, 0, ?, ?, ?, 1, ?)",
      attribute_class::kCache, isIndex ? "I" : "T", target.table.id,
      isIndex ? std::optional(index) : std::nullopt, *cache);
}

void spBindcache(ProcedureRun& run) { bindCache(run, 2, run.text(0)); }
void spUnbindcache(ProcedureRun& run) { bindCache(run, 1, {}); }

constexpr int kPageLocks = 0;
constexpr int kRowLocks = 1;

/// sp_setpglockpromote { "server" | "database" | "table" }, name, low, high, percent
template <int kAttribute>
void setLockPromotion(ProcedureRun& run) {
  const std::string scope = tsql::lowerCase(run.text(0));
  if (scope != "table" && scope != "database") {
    return run.ignore(concat("the lock promotion of a ", run.text(0)));
  }
  const std::int64_t low = requireNumber(run, run.text(2), 2, kLargestInt);
  const std::int64_t high = requireNumber(run, run.text(3), low, kLargestInt);
  const std::int64_t percent = requireNumber(run, run.text(4), 1, 100);
  const std::string limits = concat("PCT = ", percent, ", LWM = ", low, ", HWM = ", high);
  if (scope == "database") {
    return setOfDatabase(run, attribute_class::kLockPromotion, kAttribute, run.text(1), limits);
  }
  const Target target = requireTarget(run, run.text(1));
  removeAttribute(run, attribute_class::kLockPromotion, kAttribute, target, kTextNotIndexed);
  run.store().run(
      "INSERT INTO sysattributes(class, attribute, object_type, object, char_value)"
      " VALUES (?, ?, 'T', ?, ?)",
      attribute_class::kLockPromotion, kAttribute, target.table.id, limits);
}

template <int kAttribute>
void dropLockPromotion(ProcedureRun& run) {
  const std::string scope = tsql::lowerCase(run.text(0));
  if (scope == "database") {
    return setOfDatabase(run, attribute_class::kLockPromotion, kAttribute, run.text(1), {});
  }
  if (scope != "table") return run.ignore(concat("the lock promotion of a ", run.text(0)));
  const Target target = requireTarget(run, run.text(1));
  removeAttribute(run, attribute_class::kLockPromotion, kAttribute, target, kTextNotIndexed);
}

// messages of constraints

void setConstraintMessage(ProcedureRun& run, int error) {
  const ObjectInfo constraint = run.requireObject(run.text(0));
  SystemRecords& records = run.writer().records();
  const auto* row = records.constraints.first<&SysConstraint::constrid>(constraint.id);
  if (row == nullptr || isTrigger(records, *row)) {
    run.fail(message::noSuchObject);
  }
  records.constraints.each<&SysConstraint::constrid>(
      constraint.id, [&](Slot slot, const SysConstraint&) {
        records.constraints.change(slot, [&](SysConstraint& row) { row.error = error; });
      });
}

void spBindmsg(ProcedureRun& run) {
  const auto number = static_cast<int>(requireNumber(run, run.text(1), 20000, kLargestInt));
  if (!run.store().value("SELECT 1 FROM sysusermessages WHERE error = ?", number)) {
    run.fail(message::boundMessageNotFound, number);
  }
  setConstraintMessage(run, number);
  run.print(message::messageBound);
}

void spUnbindmsg(ProcedureRun& run) {
  setConstraintMessage(run, 0);
  run.print(message::messageUnbound);
}

// replication

/// In sysobjects.sysstat, a smallint.
constexpr int kReplicated = -0x8000;

bool isReplicated(ProcedureRun& run, const std::string& status) {
  constexpr std::string_view kOn[] = {"true", "function", "table"};
  if (std::ranges::count(kOn, status) != 0) return true;
  if (status == "false" || status == "never") return false;
  run.fail(message::badReplicationStatus, status);
}

/// What else the arguments say, in sysobjects.sysstat3. Where the server keeps it is not published.
struct ReplicationMode {
  std::string_view word;
  int bit;  ///< 0: what holds where nothing is said
};
constexpr int kOwnerOn = 0x10000;
constexpr ReplicationMode kReplicationModes[] = {
    {"owner_on", kOwnerOn}, {"owner_off", 0},    {"use_index", 0x20000},    {"never", 0x40000},
    {"function", 0},        {"table", 0x100000}, {"log_current", 0x200000}, {"log_sproc", 0},
};
constexpr int kAllModes = 0x3F0000;

void setModes(ProcedureRun& run, int objectId, int mask, int modes) {
  if (!run.catalog().options().has(Release::ase15)) {
    if (modes != 0) run.ignore("the mode of replication");
    return;
  }
  run.writer().records().changeObject(
      objectId, [&](SysObject& row) { row.sysstat3 = (row.sysstat3.value_or(0) & ~mask) | modes; });
}

int modesOf(ProcedureRun& run) {
  constexpr std::size_t kFirst = 1, kLast = 3;
  int modes = 0;
  for (std::size_t at = kFirst; at <= kLast; ++at) {
    const auto* mode =
        std::ranges::find(kReplicationModes, tsql::lowerCase(run.text(at)), &ReplicationMode::word);
    if (mode != std::end(kReplicationModes)) modes |= mode->bit;
  }
  return modes;
}

/// sp_setrepdefmode table, owner_on | owner_off [, use_index]
void setReplicationMode(ProcedureRun& run) {
  const ObjectInfo table = run.requireObject(run.text(0));
  setModes(run, table.id, kOwnerOn, modesOf(run) & kOwnerOn);
}

/// sp_setreptable name, true | false, ...; the same for procedures. Without a status: a report.
void setReplicated(ProcedureRun& run) {
  const auto name = run.argument(0);
  const auto status = run.argument(1);
  if (!name || !status) return run.ignore("the report");
  const ObjectInfo object = run.requireObject(*name);
  const bool on = isReplicated(run, tsql::lowerCase(*status));
  setModes(run, object.id, kAllModes, tsql::lowerCase(*status) == "false" ? 0 : modesOf(run));
  run.writer().records().changeObject(object.id, [&](SysObject& row) {
    row.sysstat = on ? row.sysstat | kReplicated : row.sysstat & ~kReplicated;
  });
  run.print(message::replicationStatusSet, object.name, tsql::lowerCase(*status));
}

/// In syscolumns.status of text and image columns.
struct ColumnReplication {
  std::string_view word;
  int status;
};
constexpr ColumnReplication kColumnReplications[] = {
    {"do_not_replicate", 0},
    {"always_replicate", column_status::kAlwaysReplicated},
    {"replicate_if_changed", column_status::kReplicatedIfChanged},
};

void spSetrepcol(ProcedureRun& run) {
  const ObjectInfo table = run.requireObject(run.text(0));
  const auto name = run.name(1);
  const auto word = run.argument(2);
  if (!word) return run.ignore("the report");
  const auto* replication =
      std::ranges::find(kColumnReplications, tsql::lowerCase(*word), &ColumnReplication::word);
  if (replication == std::end(kColumnReplications)) {
    run.fail(message::badColumnReplicationStatus, *word);
  }
  std::vector<ColumnInfo> columns = run.catalog().columns(table.id);
  std::erase_if(columns, [&](const ColumnInfo& column) {
    return !isLong(column.type.kind) || (name && column.name != *name);
  });
  if (columns.empty()) run.fail(message::noLongColumn, table.name, name.value_or("null"));
  for (const ColumnInfo& column : columns) {
    run.writer().records().changeColumn(table.id, column.colid, [&](SysColumn& row) {
      row.status = (row.status & ~column_status::kReplication) | replication->status;
    });
    run.print(message::columnReplicationStatusSet, column.name, replication->word);
  }
}

constexpr Procedure kProcedures[] = {
    {"sp_bindcache", "@cachename @dbname @tablename @indexname", 2, spBindcache},
    {"sp_bindmsg", "@constrname @msgid", 2, spBindmsg},
    {"sp_cachestrategy", "@dbname @ownertable @indexname @strategy @value", 2, spCachestrategy},
    {"sp_chgattribute", "@objname @optname @optvalue @optvalue2", 2, spChgattribute},
    {"sp_dropglockpromote", "@scope @obj_name", 1, dropLockPromotion<kPageLocks>},
    {"sp_droprowlockpromote", "@scope @obj_name", 1, dropLockPromotion<kRowLocks>},
    {"sp_placeobject", "@segname @objname", 2, spPlaceobject},
    {"sp_setpglockpromote", "@scope @obj_name @new_lwm @new_hwm @new_pct", 1,
     setLockPromotion<kPageLocks>},
    {"sp_setrepcol", "@replicate_name @column_name @setflag @use_index", 1, spSetrepcol},
    {"sp_setrepdefmode", "@replicate_name @setflag @use_index", 2, setReplicationMode},
    {"sp_setreplicate", "@replicate_name @setflag", 0, setReplicated},
    {"sp_setrepproc", "@replicate_name @setflag @log_mode", 0, setReplicated},
    {"sp_setreptable", "@replicate_name @setflag @owner_flag @use_index", 0, setReplicated},
    {"sp_setrowlockpromote", "@scope @obj_name @new_lwm @new_hwm @new_pct", 1,
     setLockPromotion<kRowLocks>},
    {"sp_unbindcache", "@dbname @tablename @indexname @all", 1, spUnbindcache},
    {"sp_unbindmsg", "@constrname", 1, spUnbindmsg},
};

}  // namespace

std::span<const Procedure> attributeProcedures() { return kProcedures; }

}  // namespace kelvane::embedded
