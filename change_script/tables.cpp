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

class TablePlan {
 public:
  explicit TablePlan(const TablePair& pair)
      : pair_(pair), planner_(pair.planner), change_(pair.change), now_(pair.now), old_(pair.old) {}

  void plan() {
    planParts(pair_, planColumns(pair_));
    for (const Change& part : change_.parts) planPart(part);
    tellOrder();
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
        return planner_.omit(described(change_, &part),
                             "partitions are changed with alter table ... partition by");
      default:
        return;
    }
  }

  /// New columns come last, whatever the source says.
  void tellOrder() {
    std::vector<std::string_view> order, wanted;
    std::set<std::string_view> stays, isThere;
    for (const Column& column : now_.columns) {
      wanted.push_back(column.name);
      stays.insert(column.name);
    }
    for (const Column& column : old_.columns) {
      isThere.insert(column.name);
      if (stays.contains(column.name)) order.push_back(column.name);
    }
    const bool isSameSoFar = std::ranges::equal(order, wanted);
    for (const Column& column : now_.columns) {
      if (!isThere.contains(column.name)) order.push_back(column.name);
    }
    if (!isSameSoFar && order != wanted)
      planner_.omit("table " + change_.name + ": column order", "new columns come last");
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
    if (one.label == "lock") {
      Statement lock = alter(old_);
      lock << " lock " << now_.lock;
      const std::size_t at = planner_.add(Stage::columns, difference, {batchOf(lock)});
      planner_.step(at).copiesData = true;
      return;
    }
    static const std::set<std::string_view> kChanged{
        "identity_gap",          "fillfactor",         "max_rows_per_page",
        "exp_row_size",          "reservepagegap",     "concurrency_opt_threshold",
        "optimistic_index_lock", "dealloc_first_txtpg"};
    if (kChanged.contains(one.label)) {
      // The threshold has another value where nothing is said.
      const std::string none = one.label == "concurrency_opt_threshold" ? "15" : "0";
      const std::string value = one.was.empty() ? none : one.was == shown(true) ? "1" : one.was;
      planner_.add(
          Stage::columns, difference,
          {callOf("exec sp_chgattribute " + argument({old_.name.owner, old_.name.name}) + ", " +
                  literal(one.label) + ", " + (one.was == shown(false) ? "0" : value))});
      return;
    }
    if (one.label == "column order")
      return planner_.omit(difference, "new columns come last; the order stays");
    planner_.omit(difference, "no statement changes it in a table that has rows");
  }

  const TablePair& pair_;
  Planner& planner_;
  const Change& change_;
  const Table& now_;
  const Table& old_;
};

void planNewTable(Planner& planner, const Change& change) {
  const Table& table = *std::get<const Table*>(change.source);
  const std::string difference = described(change);
  const std::vector<Batch> batches = planner.fromSource([&](Writing& writing) {
    if (!writeTable(writing, table)) return;
    writeIndexes(writing, table);
    writeLogicalKeys(writing, titleOf(table), table.name, table.logicalKeys);
    writeBindings(writing, table);
    writeTriggers(writing, table.name, table.triggers);
    writePermissions(writing, Phase::permissions, table.name, table.permissions);
  });
  std::map<Stage, std::vector<Batch>> stages;
  for (Batch batch : batches) {
    constexpr std::string_view kCreate = "create table ";
    if (batch.text.starts_with(kCreate))
      batch.text = "if " + idOf(table.name) + " is null\n    exec(" + literal(batch.text) + ")";
    stages[stageOf(batch.phase)].push_back(std::move(batch));
  }
  for (auto& [stage, ofStage] : stages) planner.add(stage, difference, std::move(ofStage));
  for (const ForeignKey& key : table.foreignKeys) planCreation(planner, table, key, difference);
}

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
  for (const KeyConstraint& key : table.keys) planner.dropKey(table, key, at);
}

}  // namespace

void planTable(Planner& planner, const Change& change) {
  if (change.isOnlyInSource()) return planNewTable(planner, change);
  if (change.isOnlyInTarget()) return planDroppedTable(planner, change);
  const TablePair pair{planner, change, *std::get<const Table*>(change.source),
                       *std::get<const Table*>(change.target)};
  TablePlan(pair).plan();
}

}  // namespace kelvane::change_script
