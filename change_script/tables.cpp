// Steps for tables: those that are new or go, and what those that stay have besides columns,
// constraints and indexes.

#include "inventory/ddl/tables.h"

#include <algorithm>
#include <map>
#include <set>
#include <utility>

#include "change_script/table_steps.h"
#include "inventory/shown.h"

namespace kelvane::change_script {
namespace {

using namespace inventory;

/// What changes an attribute of a table.
enum class By : std::uint8_t {
  lock,
  attribute,   ///< sp_chgattribute
  option,      ///< alter table ... set compression = row
  phrase,      ///< alter table ... set transfer table on
  segment,     ///< sp_placeobject
  procedures,  ///< of their own, each
  columns,     ///< nothing of its own
  nothing,
};
struct AttributeRow {
  std::string_view label;
  By by;
  std::string_view none = "0";   ///< the value where nothing was declared
  std::string_view option = {};  ///< where it is not the label
};
constexpr AttributeRow kAttributes[] = {
    {"lock", By::lock},
    {"segment", By::segment, "default"},
    {"identity_gap", By::attribute},
    {"fillfactor", By::attribute},
    {"max_rows_per_page", By::attribute},
    {"exp_row_size", By::attribute},
    {"reservepagegap", By::attribute},
    {"concurrency_opt_threshold", By::attribute, "15"},
    {"optimistic_index_lock", By::attribute},
    {"dealloc_first_txtpg", By::attribute},
    {"parallel degree", By::attribute, "0", "plldegree"},
    {"latch_free_index", By::option},
    {"compression", By::option, "none"},
    {"index_compression", By::option, "none"},
    {"lob_compression", By::option},
    {"dml_logging", By::option, "full"},
    {"transfer table", By::phrase, "off"},
    {"erase residual data", By::phrase, "off"},
    {"cache", By::procedures},
    {"cache strategy", By::procedures},
    {"page lock promotion", By::procedures},
    {"row lock promotion", By::procedures},
    {"replicated", By::procedures},
    {"replication modes", By::procedures},
    {"column order", By::columns},
};
const AttributeRow* rowOf(std::string_view label) {
  const auto* const found = std::ranges::find(kAttributes, label, &AttributeRow::label);
  return found == std::end(kAttributes) ? nullptr : found;
}

class TablePlan {
 public:
  explicit TablePlan(const TablePair& pair)
      : pair_(pair), planner_(pair.planner), change_(pair.change), now_(pair.now), old_(pair.old) {}

  void plan() {
    planParts(pair_, planColumns(pair_));
    for (const Change& part : change_.parts) planPart(part);
    if (!keepsOrder(old_, now_))
      planner_.omit("table " + change_.name + ": column order",
                    "new columns come last; --allow rebuild makes the table again");
    for (const AttributeChange& one : change_.attributes) planAttribute(one);
    planPermissions(planner_, change_, now_.name);
  }

 private:
  void planPart(const Change& part) {
    switch (part.kind) {
      case Kind::logicalKey:
        return planLogicalKey(part);
      case Kind::trigger:
        return planTrigger(planner_, change_, part, now_.name);
      case Kind::partition:
        return planner_.omit(described(change_, &part), std::string(kOnlyAgain));
      default:
        return;
    }
  }

  void planLogicalKey(const Change& part) {
    const std::string difference = described(change_, &part);
    if (const auto* was = std::get_if<const LogicalKey*>(&part.target)) {
      std::string call = "exec sp_dropkey " + literal((*was)->kind) + ", " +
                         argument({old_.name.owner, old_.name.name});
      if (!(*was)->other.name.empty())
        call += ", " + argument({(*was)->other.owner, (*was)->other.name});
      planner_.add(Stage::dropReferences, difference, {callOf(std::move(call))},
                   part.isOnlyInTarget() ? std::vector{Danger::dropObject} : std::vector<Danger>{});
    }
    if (const auto* is = std::get_if<const LogicalKey*>(&part.source)) {
      planner_.add(Stage::references, difference, planner_.fromSource([&](Writing& writing) {
        writeLogicalKeys(writing, titleOf(now_), now_.name, {**is});
      }));
    }
  }

  void planAttribute(const AttributeChange& one) {
    const std::string difference = "table " + change_.name + ": " + std::string(one.label) + ": " +
                                   (one.is.empty() ? "(none)" : one.is) + " -> " +
                                   (one.was.empty() ? "(none)" : one.was);
    const AttributeRow* const row = rowOf(one.label);
    const By by = isAlterable(one) ? row->by : By::nothing;
    switch (by) {
      case By::lock:
        return planLock(difference);
      case By::attribute:
        // Switches are numbers there.
        return addCall(Stage::columns, difference,
                       "exec sp_chgattribute " + argumentOf(old_) + ", " +
                           literal(row->option.empty() ? one.label : row->option) + ", " +
                           (one.was.empty() || one.was == shown(false) ? std::string(row->none)
                            : one.was == shown(true)                   ? "1"
                                                                       : one.was));
      case By::option:
      case By::phrase: {
        Statement set = alter(old_);
        set << " set " << one.label << (by == By::option ? " = " : " ")
            << (one.was.empty() ? std::string(row->none) : one.was);
        planner_.add(Stage::columns, difference, {batchOf(set)});
        return;
      }
      case By::segment:
        return addCall(Stage::columns, difference,
                       "exec sp_placeobject " +
                           literal(one.was.empty() ? std::string(row->none) : one.was) + ", " +
                           argumentOf(old_));
      case By::procedures:
        return planProcedures(difference);
      case By::columns:
        return;
      case By::nothing:
        return planner_.omit(difference, old_.proxyPlace.empty()
                                             ? std::string(kOnlyAgain)
                                             : "a proxy table has no rows; drop it first");
    }
  }

  void planLock(const std::string& difference) {
    Statement lock = alter(old_);
    lock << " lock " << now_.lock;
    const std::size_t at = planner_.add(Stage::columns, difference, {batchOf(lock)});
    planner_.step(at).copiesData = true;
  }

  static std::string argumentOf(const Table& table) {
    return argument({table.name.owner, table.name.name});
  }
  void addCall(Stage stage, const std::string& difference, std::string call) {
    planner_.add(stage, difference, {callOf(std::move(call))});
  }

  /// Caches, promotion of locks and replication, once for all attributes: what it had is taken
  /// away, then it gets what it must have.
  void planProcedures(const std::string& difference) {
    if (std::exchange(hasProcedures_, true)) return;
    std::vector<Batch> batches;
    const std::string name = argumentOf(old_);
    const auto call = [&](const std::string& text) {
      batches.push_back(callOf(std::string(kThisDatabase) + "exec " + text));
    };
    const auto [dataCache, textCache] = dataAndTexts(old_.cache, "; ");
    if (!dataCache.empty()) call("sp_unbindcache @db, " + name);
    if (!textCache.empty()) call("sp_unbindcache @db, " + name + ", 'text only'");
    const auto [data, texts] = dataAndTexts(old_.cacheStrategy, "; ");
    for (const auto& [strategy, where] :
         {std::pair(data, "'table only'"), {texts, "'text only'"}}) {
      for (const std::string_view what : {"prefetch", "mru"}) {
        if (strategy.find(what) != std::string::npos)
          call("sp_cachestrategy @db, " + name + ", " + where + ", " + std::string(what) +
               ", 'on'");
      }
    }
    if (!old_.pageLockPromotion.empty()) call("sp_dropglockpromote 'table', " + name);
    if (!old_.rowLockPromotion.empty()) call("sp_droprowlockpromote 'table', " + name);
    if (old_.replicated || !old_.replicationModes.empty())
      call("sp_setreptable " + name + ", 'false'");
    Table one;
    one.name = now_.name;
    one.cache = now_.cache;
    one.cacheStrategy = now_.cacheStrategy;
    one.pageLockPromotion = now_.pageLockPromotion;
    one.rowLockPromotion = now_.rowLockPromotion;
    one.replicated = now_.replicated;
    one.replicationModes = now_.replicationModes;
    for (Batch& batch : planner_.fromSource([&](Writing& writing) { writeBindings(writing, one); }))
      batches.push_back(std::move(batch));
    planner_.add(Stage::bindings, difference, std::move(batches));
  }

  bool hasProcedures_ = false;
  const TablePair& pair_;
  Planner& planner_;
  const Change& change_;
  const Table& now_;
  const Table& old_;
};

void planDroppedTable(Planner& planner, const Change& change) {
  const Table& table = *std::get<const Table*>(change.target);
  const std::string difference = described(change);
  Statement drop("drop table ");
  drop.name(table.name);
  const std::size_t at =
      planner.add(Stage::drops, difference, {guarded(idOf(table.name) + " is not null", drop)},
                  {Danger::dropTable});
  planner.end(&table, at);
  if (!planner.step(at).isAllowed) return;
  for (const ForeignKey& key : table.foreignKeys)
    planner.step(planDrop(planner, table, key, difference)).needs.push_back(at);
  for (const KeyConstraint& key : table.keys) planner.dropKey(table, key, nullptr, at);
}

}  // namespace

bool isAlterable(const AttributeChange& one) {
  const AttributeRow* const row = rowOf(one.label);
  if (row == nullptr) return false;
  switch (row->by) {
    case By::option:
    case By::phrase:
      return !one.was.empty();  // what says "none" is something else than what says nothing
    case By::segment:
      return (one.was + one.is).find(',') == std::string::npos;  // of data and texts
    default:
      return true;
  }
}

std::size_t planNewTable(Planner& planner, const Table& table, const std::string& difference,
                         const std::string& whether) {
  std::map<Stage, std::vector<Batch>> stages;
  const auto collect = [&](std::vector<Batch> batches) {
    for (Batch& batch : batches) stages[stageOf(batch.phase)].push_back(std::move(batch));
  };
  const auto write = [&](auto&& writes) { collect(planner.fromSource(writes)); };
  bool isWritten = false;
  std::vector<Batch> creation =
      planner.fromSource([&](Writing& writing) { isWritten = writeTable(writing, table); });
  for (Batch& batch : creation) {
    const bool isCreation =
        batch.text.starts_with("create table ") || batch.text.starts_with("create existing ");
    if (isCreation)
      batch.text =
          "if " + whether + idOf(table.name) + " is null\n    exec(" + literal(batch.text) + ")";
  }
  collect(std::move(creation));
  if (isWritten) {
    for (const Index& index : table.indexes) collect(batchesOf(planner, table, index));
    write([&](Writing& writing) {
      writeLogicalKeys(writing, titleOf(table), table.name, table.logicalKeys);
      writeBindings(writing, table);
      writePermissions(writing, Phase::permissions, table.name, table.permissions);
    });
    for (const Trigger& trigger : table.triggers) {
      stages[Stage::triggers].push_back(droppedObject("trigger", trigger.name));
      write([&](Writing& writing) { writeTriggers(writing, table.name, {trigger}); });
    }
  }
  const std::size_t first = planner.count();
  std::size_t step = first;
  for (auto& [stage, ofStage] : stages) {
    const std::size_t at = planner.add(stage, difference, std::move(ofStage));
    if (stage == Stage::tables) step = at;
    if (stage == Stage::triggers) {
      for (const Trigger& trigger : table.triggers) planner.useText(at, trigger.definition);
    }
  }
  for (const ForeignKey& key : table.foreignKeys) planCreation(planner, table, key, difference);
  for (std::size_t at = first; at < planner.count(); ++at) {
    if (at != step) planner.step(at).needs.push_back(step);
  }
  for (const Column& column : table.columns) {
    const DataType& type = column.type.type;
    if (!type.owner.isDefault())
      planner.needMade(step, Kind::type, shown(QualifiedName{*type.owner, type.name}));
  }
  for (const KeyConstraint& key : table.keys) planner.addKey(table, key, step);
  for (const Index& index : table.indexes) {
    if (index.unique) planner.addKey(table, index, step);
  }
  return step;
}

void planTable(Planner& planner, const Change& change) {
  if (change.isOnlyInSource()) {
    const Table& table = *std::get<const Table*>(change.source);
    planner.provide(table.name.name, {}, planNewTable(planner, table, described(change)));
    return;
  }
  if (change.isOnlyInTarget()) return planDroppedTable(planner, change);
  const TablePair pair{planner, change, *std::get<const Table*>(change.source),
                       *std::get<const Table*>(change.target)};
  if (!planRebuild(pair)) TablePlan(pair).plan();
}

}  // namespace kelvane::change_script
