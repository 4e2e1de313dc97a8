#include "cli/sides/row_proof.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <set>
#include <sstream>
#include <utility>

#include "ado/ado.h"
#include "cli/sides/proof.h"
#include "drivers/embedded/connection.h"
#include "drivers/embedded/script.h"
#include "inventory/ddl/ddl.h"
#include "inventory/shown.h"
#include "model/text.h"
#include "rows/row_statements.h"
#include "rows/table_order.h"

namespace kelvane::cli {
namespace {

using inventory::Database;
using inventory::Table;

constexpr std::string_view kCannotBeMade = "the target cannot be made for the proof: ";

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
        catalog_({.release = embeddedRelease(trial.release)}) {}

  RowProof run() {
    chooseTables();
    const inventory::Script made = inventory::scriptOf(part(), trial_.release, trial_.target);
    for (const inventory::Omission& one : made.omissions)
      obstacle(kCannotBeMade, one.what + ": " + one.reason);
    if (isRefuted()) return std::move(proof_);
    // Rows that are there already are not checked against foreign keys.
    load("target", phases(made, [](auto phase) { return phase < inventory::Phase::references; }),
         kCannotBeMade);
    if (isRefuted()) return std::move(proof_);
    connection_ = catalog_.connect();
    for (const Table* table : copied_) {
      if (!isRefuted()) copy(*table);
    }
    connection_.reset();
    if (isRefuted()) return std::move(proof_);
    load("target", phases(made, [](auto phase) { return phase >= inventory::Phase::references; }),
         kCannotBeMade);
    if (isRefuted()) return std::move(proof_);
    load("script", trial_.script, "the script fails: ");
    if (isRefuted()) return std::move(proof_);
    connection_ = catalog_.connect();
    for (const TriedTable& table : trial_.tables) compare(*table.plan);
    return std::move(proof_);
  }

 private:
  bool isRefuted() const { return !proof_.obstacles.empty(); }
  void obstacle(std::string_view what, std::string_view reason) {
    proof_.obstacles.push_back(std::string(what) + std::string(reason));
  }

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

  template <class Wanted>
  static std::string phases(inventory::Script script, Wanted isWanted) {
    for (inventory::ScriptedObject& object : script.objects)
      std::erase_if(object.batches,
                    [&](const inventory::Batch& batch) { return !isWanted(batch.phase); });
    // A script without a statement is an error.
    std::ostringstream text("select 1\ngo\n", std::ios::ate);
    write(script, text);
    return std::move(text).str();
  }

  void load(const char* name, std::string_view text, std::string_view failed) {
    // A script without a statement is an error.
    const auto report = embedded::loadScript(catalog_, name, "select 1\ngo\n" + std::string(text));
    for (const embedded::ScriptNote& error : report.errors) {
      constexpr std::size_t kLongest = 200;
      const std::string near = error.statement.size() > kLongest
                                   ? error.statement.substr(0, kLongest) + "..."
                                   : error.statement;
      obstacle(failed, error.text + (near.empty() ? "" : " (near \"" + near + "\")"));
    }
  }

  void copy(const Table& table) {
    const rows::PlannedTable planned{trial_.target, table};
    rows::TablePlan plan;
    try {
      plan = rows::planOf(planned, planned);
    } catch (const rows::UnusableTable&) {
      return;  // it has nothing that anybody could write
    }
    rows::StatementTarget target{trial_.target, table};
    target.unit = rows::TextUnit::characters;
    target.longestLiteral = std::string::npos;
    const rows::StatementWriter writer(plan, target);
    if (writer.needsQuotedIdentifier()) connection_->Open(u"set quoted_identifier on", {});
    if (writer.insertsIdentity()) setIdentityInsert(writer, "on");
    try {
      copyRows(plan, writer);
    } catch (const RuntimeError& error) {
      obstacle(kCannotBeMade,
               "rows of " + inventory::shown(table.name) + ": " + toUtf8(error.Description()));
    }
    if (writer.insertsIdentity() && !isRefuted()) setIdentityInsert(writer, "off");
  }
  void setIdentityInsert(const rows::StatementWriter& writer, std::string_view state) {
    connection_->Open(toUtf16("set identity_insert " + writer.name() + " " + std::string(state)),
                      {});
  }
  void copyRows(const rows::TablePlan& plan, const rows::StatementWriter& writer) {
    constexpr std::size_t kBatchBytes = 256U << 10U;
    std::string batch;
    rows::RowStream stream(trial_.targetRows(plan), plan.layout());
    const auto run = [&] {
      if (batch.empty()) return;
      // An error of a later statement comes with its result.
      const auto results = connection_->Open(toUtf16(batch), {});
      while (results->NextRecordset()) continue;
      batch.clear();
    };
    while (stream.next()) {
      if (++rows_ > trial_.mostRows)
        return obstacle(
            {}, "more than " + std::to_string(trial_.mostRows) + " rows would have to be copied");
      const auto insert = writer.plainInsert(stream.row().cells);
      if (!insert)
        return obstacle(kCannotBeMade,
                        "a row of " + writer.name() + " has a value without a literal");
      batch += *insert + '\n';
      if (batch.size() >= kBatchBytes) run();
    }
    run();
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
  embedded::EmbeddedCatalog catalog_;
  std::unique_ptr<ado::Connection> connection_;
  std::vector<const Table*> copied_;
  std::int64_t rows_ = 0;
  RowProof proof_;
};

}  // namespace

RowProof prove(const RowTrial& trial) { return RowProver(trial).run(); }

}  // namespace kelvane::cli
