#include "cli/sides/row_proof.h"

#include <algorithm>
#include <memory>
#include <set>
#include <utility>

#include "ado/ado.h"
#include "cli/sides/catalog_copy.h"
#include "rows/row_statements.h"
#include "rows/table_order.h"

namespace kelvane::cli {
namespace {

using inventory::Database;
using inventory::Table;

class Nothing final : public rows::RowObserver {
 public:
  void rowsDiffer(const rows::DifferingRows&) override {}
  bool goesOn(const rows::RowCounts&) override { return true; }
};

class RowProver {
 public:
  explicit RowProver(const RowTrial& trial)
      : trial_(trial),
        tables_(trial.target, tablesOf(trial.target)),
        copy_(trial.target, trial.release) {}

  RowProof run() {
    chooseTables();
    copy_.make(part(), {copied_, trial_.targetRows, trial_.mostRows});
    if (!copy_.hasFailed()) copy_.run(trial_.script);
    proof_.obstacles = copy_.obstacles();
    if (copy_.hasFailed()) return std::move(proof_);
    connection_ = copy_.connect();
    for (const TriedTable& table : trial_.tables) compare(*table.plan);
    return std::move(proof_);
  }

 private:
  // Those that change, those that they refer to, and those that refer to rows that go.
  void chooseTables() {
    std::set<const Table*> losing;
    for (const TriedTable& one : trial_.tables) {
      tried_.insert(one.table);
      if (one.losesRows) losing.insert(one.table);
    }
    chosen_ = tried_;
    for (const Table& table : trial_.target.tables) {
      for (const inventory::ForeignKey& key : table.foreignKeys) {
        const Table* const referenced = tables_.find(key);
        if (referenced == nullptr) continue;
        if (tried_.contains(&table)) chosen_.insert(referenced);
        if (losing.contains(referenced)) chosen_.insert(&table);
      }
    }
    for (const Table& table : trial_.target.tables) {
      if (chosen_.contains(&table)) copied_.push_back(&table);
    }
  }
  static std::vector<const Table*> tablesOf(const Database& database) {
    std::vector<const Table*> tables;
    tables.reserve(database.tables.size());
    for (const Table& table : database.tables) tables.push_back(&table);
    return tables;
  }

  Database part() const {
    const Database& target = trial_.target;
    Database part;
    part.server = target.server;
    part.settings = target.settings;
    part.rules = target.rules;
    part.defaults = target.defaults;
    part.types = target.types;
    part.users = target.users;
    part.groups = target.groups;
    part.roles = target.roles;
    for (const Table* table : copied_) {
      Table& copy = part.tables.emplace_back(*table);
      copy.triggers.clear();
      copy.permissions.clear();
      copy.logicalKeys.clear();
      std::erase_if(copy.foreignKeys, [&](const inventory::ForeignKey& key) {
        const Table* const referenced = tables_.find(key);
        return !tried_.contains(referenced) &&
               !(tried_.contains(table) && chosen_.contains(referenced));
      });
    }
    return part;
  }

  void compare(const rows::TablePlan& plan) {
    if (plan.selects[1].needsQuotedIdentifier) connection_->Open(u"set quoted_identifier on", {});
    rows::RowStream source(trial_.sourceRows(plan), plan.layout());
    rows::RowStream target(
        [&] {
          return rows::openStatement(*connection_, plan.selects[1].text(), plan.columns.size());
        },
        plan.layout());
    Nothing observer;
    bool isWhole = false;
    proof_.counts.push_back(rows::compareRows(source, target, plan.pairing, observer, isWhole));
  }

  const RowTrial& trial_;
  const rows::ReferencedTables tables_;
  std::set<const Table*> tried_, chosen_;
  CatalogCopy copy_;
  std::unique_ptr<ado::Connection> connection_;
  std::vector<const Table*> copied_;
  RowProof proof_;
};

}  // namespace

RowProof prove(const RowTrial& trial) { return RowProver(trial).run(); }

}  // namespace kelvane::cli
