#include "cli/verbs/row_script.h"

#include <algorithm>
#include <initializer_list>
#include <utility>

#include "cli/screen/clock.h"
#include "cli/screen/figures.h"
#include "cli/screen/written_file.h"
#include "cli/verbs/report_output.h"
#include "inventory/ddl/ddl.h"
#include "inventory/ddl/statement.h"
#include "inventory/shown.h"
#include "model/text.h"

namespace kelvane::cli {
namespace {

using inventory::Database;
using inventory::Table;
using rows::RowStage;

// Told of each table.
constexpr std::size_t kMostObstacles = 10;
// Beyond that, a proof takes longer than anybody waits, and the text has to be in memory.
constexpr std::int64_t kMostProofRows = 1'000'000, kMostProofBytes = std::int64_t{64} << 20U;

constexpr std::string_view kBatches = "#kelvane_script";

struct StageWords {
  RowStage stage;
  std::string_view words;
};
constexpr StageWords kStageWords[] = {
    {RowStage::release, "references of rows that go"},
    {RowStage::remove, "deletes"},
    {RowStage::change, "updates"},
    {RowStage::add, "inserts"},
    {RowStage::link, "references between rows"},
};

std::string lines(std::int64_t count, std::string_view word) {
  return counted(static_cast<std::size_t>(count), word);
}

}  // namespace

RowScript::Change RowScript::changeOf(const rows::DifferingRows& rows) {
  if (rows.target.empty()) return Change::insert;
  return rows.source.empty() ? Change::remove : Change::update;
}

bool RowScript::TableScript::hasStatements() const {
  return isWhole && std::ranges::any_of(stages, [](const auto& one) { return one.count() > 0; });
}

namespace {

std::string unfilledColumns(const rows::TablePlan& plan, const Table& table) {
  std::string names;
  for (const inventory::Column& column : table.columns) {
    const auto isOneOf = [&](const std::vector<std::string>& all) {
      return std::ranges::find(all, column.name) != all.end();
    };
    const bool isLeft =
        std::ranges::find(plan.targetColumns, &column) == plan.targetColumns.end() &&
        !isOneOf(plan.columnsOnlyIn[1]) && !isOneOf(plan.serverColumns) &&
        column.computed.isDefault();
    if (isLeft) names += (names.empty() ? "" : ", ") + column.name;
  }
  return names;
}

}  // namespace

void RowScript::comparisonBegins(const std::array<RowSide*, 2>& sides) {
  sides_ = sides;
  const Database& target = sides[1]->database();
  std::vector<const Table*> all;
  all.reserve(target.tables.size());
  for (const Table& table : target.tables) all.push_back(&table);
  order_ = rows::inOrder(target, std::move(all));
  for (std::size_t at = 0; at < order_.size(); ++at)
    places_.emplace(inventory::shown(order_[at].table->name), at);
}

std::optional<inventory::TargetRelease> RowScript::release() const {
  return server().embedded ? request_.release : inventory::releaseOf(server());
}

void RowScript::tableBegins(const KeyedTable& table) {
  const Database &source = sides_[0]->database(), &target = sides_[1]->database();
  const auto place = places_.find(inventory::shown(table.plan.names[1]));
  if (place == places_.end()) return missing_.push_back(table.name + ": the target is a view");
  const rows::OrderedTable& ordered = order_[place->second];
  auto& one = tables_[table.name] = std::make_unique<TableScript>();
  one->name = table.name;
  one->table = ordered.table;
  one->plan = table.plan;
  rows::StatementTarget wanted{target, *ordered.table};
  const std::string& set = server().characterSet;
  const bool isAlike = !set.empty() && set == source.server.characterSet;
  wanted.characters =
      server().embedded || isAlike ? rows::CharacterSet::all : rows::characterSetOf(set);
  wanted.unit =
      set == "utf8" && !server().embedded ? rows::TextUnit::bytes : rows::TextUnit::characters;
  wanted.linked = ordered.linked;
  wanted.knowsTop = release() != inventory::TargetRelease::ase125;
  one->writer = std::make_unique<rows::StatementWriter>(one->plan, std::move(wanted));
  one->freed.emplace(one->plan, *one->table, server().ignoresCase);
  one->unfilled = unfilledColumns(one->plan, *one->table);
}

void RowScript::rowsDiffer(const KeyedTable& table, const rows::DifferingRows& rows) {
  const auto found = tables_.find(table.name);
  if (found == tables_.end()) return;
  TableScript& one = *found->second;
  const Change change = changeOf(rows);
  const auto at = static_cast<std::size_t>(change);
  if (change == Change::remove && !request_.allowsDelete) {
    ++one.left[at];
    ++one.notAllowed;
    return;
  }
  one.freed->add(rows);
  const rows::RowStatements result = one.writer->statementsFor(rows);
  for (const rows::RowStatement& statement : result.statements)
    spool_.add(one.list(statement.stage), statement.text);
  if (!result.statements.empty()) ++one.done[at];
  if (!result.obstacles.empty()) ++one.left[at];
  for (const std::string& line : result.obstacles) {
    if (one.obstacles.size() < kMostObstacles)
      one.obstacles.push_back(line);
    else
      ++one.moreObstacles;
  }
}

void RowScript::tableEnds(const KeyedTable& table) {
  const auto found = tables_.find(table.name);
  if (found == tables_.end()) return;
  TableScript& one = *found->second;
  one.isWhole = table.ended == KeyedEnd::whole;
  for (rows::Spool::List& list : one.stages) spool_.close(list);
}

void RowScript::comparisonEnds(const std::vector<KeyedTable>& tables) {
  for (const KeyedTable& table : tables) {
    if (table.ended == KeyedEnd::missingInTarget || table.ended == KeyedEnd::missingInSource) {
      missing_.push_back("table " + table.name + ": it is missing in the " +
                         (table.ended == KeyedEnd::missingInTarget ? "target" : "source"));
    } else if (table.ended != KeyedEnd::whole) {
      missing_.push_back("table " + table.name + ": it was not compared to the end");
    }
  }
  triggers_ = firedTriggers();
  assemble();
  if (!request_.isTried || isEmpty()) return;
  tryOut();
}

void RowScript::put(std::string_view text) {
  rows::write(body_.get(), text.data(), text.size());
  bodySize_ += static_cast<std::int64_t>(text.size());
}

void RowScript::assemble() {
  body_ = rows::unnamedFile();
  std::vector<TableScript*> scripts(order_.size(), nullptr);
  for (const auto& [name, one] : tables_) {
    if (one->hasStatements()) scripts[places_.at(inventory::shown(one->table->name))] = one.get();
  }
  if (std::ranges::all_of(scripts, [](const auto* one) { return one == nullptr; })) return;
  const std::vector<bool> areEarly = earlyRemovals(scripts);
  writeBegin(scripts);
  const auto removeAll = [&](bool early) {
    for (const RowStage stage : {RowStage::release, RowStage::remove}) {
      for (std::size_t at = scripts.size(); at-- > 0;) {
        if (scripts[at] != nullptr && areEarly[at] == early) writeStage(*scripts[at], stage);
      }
    }
  };
  removeAll(true);
  for (TableScript* one : scripts) {
    if (one == nullptr) continue;
    writeStage(*one, RowStage::change);
    writeStage(*one, RowStage::add);
  }
  for (TableScript* one : scripts) {
    if (one != nullptr) writeStage(*one, RowStage::link);
  }
  removeAll(false);
  put("drop table " + std::string(kBatches) + "\ngo\n");
}

// Rows go last, when nothing refers to them any more, but for those that make room for values that
// no two rows may have in common. Those that refer to them go before them.
std::vector<bool> RowScript::earlyRemovals(const std::vector<TableScript*>& scripts) const {
  std::vector<bool> areEarly(scripts.size(), false);
  for (std::size_t at = 0; at < scripts.size(); ++at) {
    if (scripts[at] != nullptr && scripts[at]->freed->areTaken()) areEarly[at] = true;
    if (!areEarly[at]) continue;
    for (const std::size_t referring : order_[at].referring) areEarly[referring] = true;
  }
  return areEarly;
}

void RowScript::writeBegin(const std::vector<TableScript*>& scripts) {
  const inventory::Server& server = this->server();
  const std::string database = inventory::literal(server.database);
  put("\n");
  if (!server.embedded) {
    // Where the script is tried, the database has another name.
    put("if db_name() != " + database + "\n    and isnull(@@servername, '') != 'EMBEDDED'\n" +
        "begin\n    raiserror 20001 " +
        inventory::literal("this script is for the database " + server.database) +
        "\n    select syb_quit()\nend\ngo\n");
  }
  put("set nocount on\ngo\nset chained off\ngo\nset string_rtruncation on\ngo\n");
  const bool hasQuotes = std::ranges::any_of(scripts, [](const TableScript* one) {
    return one != nullptr && one->writer->needsQuotedIdentifier();
  });
  if (hasQuotes) put("set quoted_identifier on\ngo\n");
  put("create table " + std::string(kBatches) + " (done int not null)\ngo\n");
  // Nothing runs without this row, in tools that do not know syb_quit() either.
  if (!server.embedded)
    put("if db_name() = " + database + " or isnull(@@servername, '') = 'EMBEDDED'\n    ");
  put("insert " + std::string(kBatches) + " values (0)\ngo\n");
}

void RowScript::beginBatch() {
  put("if @@trancount > 0 or not exists (select 1 from " + std::string(kBatches) +
      " where done = " + std::to_string(batches_) +
      ")\nbegin\n    if @@trancount > 0 rollback transaction\n"
      "    raiserror 20001 'a batch before this one failed'\n"
      "    select syb_quit()\n    return\nend\nbegin transaction\n");
}

void RowScript::endBatch() {
  ++batches_;
  // Where rows are limited by it, and the tool does not know syb_quit(), it would go on holding.
  const bool limitsRows = release() == inventory::TargetRelease::ase125;
  put("update " + std::string(kBatches) + " set done = " + std::to_string(batches_) +
      "\ncommit transaction\nreturn\nfailed:\nrollback transaction\n" +
      (limitsRows ? "set rowcount 0\n" : "") + "select syb_quit()\ngo\n");
}

void RowScript::writeStage(TableScript& one, RowStage stage) {
  const rows::Spool::List& list = one.list(stage);
  if (list.count() == 0) return;
  const auto words = std::ranges::find(kStageWords, stage, &StageWords::stage)->words;
  put("\n-- " + inventory::shown(one.table->name) + ": " + std::string(words) + ": " +
      std::to_string(list.count()) + "\n");
  const bool givesIdentity = stage == RowStage::add && one.writer->insertsIdentity();
  if (givesIdentity) put("set identity_insert " + one.writer->name() + " on\ngo\n");
  std::size_t inBatch = 0;
  spool_.forEach(list, [&](std::string_view statement) {
    if (inBatch == 0) beginBatch();
    put(statement);
    put("\n");
    if (++inBatch < request_.batchRows) return;
    endBatch();
    inBatch = 0;
  });
  if (inBatch > 0) endBatch();
  if (givesIdentity) put("set identity_insert " + one.writer->name() + " off\ngo\n");
}

void RowScript::tryOut() {
  if (sides_[0]->isOver() || sides_[1]->isOver()) {
    obstacles_.emplace_back("the sides could not be read any more");
    return;
  }
  if (bodySize_ > kMostProofBytes) {
    obstacles_.push_back("the script is longer than " + std::to_string(kMostProofBytes >> 20U) +
                         " MB");
    return;
  }
  std::string text(static_cast<std::size_t>(bodySize_), '\0');
  rows::rewindFile(body_.get());
  rows::read(body_.get(), text.data(), text.size());
  RowTrial trial{sides_[1]->database(), {}, text, release(), kMostProofRows, {}, {}};
  std::vector<TableScript*> tried;
  for (const auto& [name, one] : tables_) {
    if (!one->hasStatements()) continue;
    tried.push_back(one.get());
    trial.tables.push_back(
        {one->table, &one->plan,
         one->list(RowStage::remove).count() > 0 || one->list(RowStage::change).count() > 0});
  }
  const auto rowsOf = [&](std::size_t side) {
    return [this, side](const rows::TablePlan& plan) {
      sides_[side]->prepare(plan.selects[side]);
      return sides_[side]->rowsOf(plan, side);
    };
  };
  trial.targetRows = rowsOf(1);
  trial.sourceRows = rowsOf(0);
  try {
    const RowProof proof = prove(trial);
    obstacles_ = proof.obstacles;
    if (!obstacles_.empty()) return;
    for (std::size_t at = 0; at < tried.size(); ++at) addLeft(*tried[at], proof.counts[at]);
  } catch (const RuntimeError& error) {
    obstacles_.push_back("the rows cannot be read again: " + toUtf8(error.Description()));
  } catch (const std::runtime_error& error) {
    obstacles_.push_back("the rows cannot be compared again: " + std::string(error.what()));
  }
}

void RowScript::addLeft(const TableScript& one, const rows::RowCounts& counts) {
  const auto add = [&](std::int64_t found, Change change, std::string_view what) {
    const std::int64_t more = found - one.left[static_cast<std::size_t>(change)];
    if (more <= 0) return;
    left_.push_back(one.name + ": " + std::to_string(found) + " " + std::string(what) + ", not " +
                    std::to_string(found - more));
  };
  add(counts.alone[0], Change::insert, "only in source");
  add(counts.changed, Change::update, "changed");
  add(counts.alone[1], Change::remove, "only in target");
}

std::vector<std::string> RowScript::leftOut() const {
  std::vector<std::string> all;
  all.reserve(missing_.size());
  for (const std::string& line : missing_) all.push_back("left out: " + line);
  for (const auto& [name, one] : tables_) {
    for (const std::string& line : one->obstacles) all.push_back("left out: " + name + ": " + line);
    if (one->moreObstacles > 0)
      all.push_back("left out: " + name + ": " + std::to_string(one->moreObstacles) + " more");
    if (one->notAllowed > 0) {
      all.push_back("not done: " + name + ": " + lines(one->notAllowed, "delete") +
                    ": it needs --allow delete");
    }
  }
  return all;
}

// What somebody who reads that the script is proved should know.
std::vector<std::string> RowScript::notes() const {
  std::vector<std::string> all;
  for (const auto& [name, one] : tables_) {
    const std::int64_t inserts = one->done[0], deletes = one->done[2];
    if (inserts > 0 && !one->unfilled.empty())
      all.push_back("note: " + name + ": inserted rows have no value of the source in " +
                    one->unfilled + ", which the comparison left out");
    if (inserts + deletes > 0 && !one->plan.selects[1].condition.empty())
      all.push_back("note: " + name +
                    ": a row that meets the condition on one side only is inserted or deleted");
  }
  return all;
}

// Of a table whose rows get changes of which a trigger hears.
std::vector<std::string> RowScript::firedTriggers() const {
  std::vector<std::string> all;
  for (const auto& [name, one] : tables_) {
    const auto has = [&](std::initializer_list<RowStage> stages) {
      return std::ranges::any_of(stages, [&, script = one.get()](RowStage stage) {
        return script->list(stage).count() > 0;
      });
    };
    const bool inserts = has({RowStage::add}), removes = has({RowStage::remove}),
               updates = has({RowStage::change, RowStage::link, RowStage::release});
    if (!one->isWhole) continue;
    for (const inventory::Trigger& trigger : one->table->triggers) {
      const bool fires = (trigger.onInsert && inserts) || (trigger.onUpdate && updates) ||
                         (trigger.onDelete && removes);
      if (fires && !trigger.disabled)
        all.push_back(inventory::nameOf(trigger) + " of " + inventory::shown(one->table->name));
    }
  }
  return all;
}

std::vector<std::string> RowScript::head() const {
  Counts done{};
  std::int64_t concerned = 0;
  for (const auto& [name, one] : tables_) {
    if (!one->hasStatements()) continue;
    ++concerned;
    for (std::size_t at = 0; at < done.size(); ++at) done[at] += one->done[at];
  }
  std::vector<std::string> all{
      "kelvane data: makes the rows of " + shown_[1] + " like those of " + shown_[0],
      "made " + timestamp() + " by kelvane " + KELVANE_VERSION,
      lines(done[0], "insert") + ", " + lines(done[1], "update") + ", " + lines(done[2], "delete") +
          " in " + lines(concerned, "table") + "; transactions of at most " +
          lines(static_cast<std::int64_t>(request_.batchRows), "row")};
  for (const std::string& trigger : triggers_)
    all.push_back("fires: trigger " + trigger + "; the proof is without it");
  const bool isAll = leftOut().empty();
  if (!request_.isTried || !obstacles_.empty()) {
    all.emplace_back("not proved");
    for (const std::string& line : obstacles_) all.push_back("  " + line);
  } else if (left_.empty()) {
    all.push_back(std::string("proved: after this script no row differs") +
                  (isAll ? "" : " but those that are left out"));
  } else {
    all.emplace_back("tried: after this script this is left:");
    for (const std::string& line : left_) all.push_back("  " + line);
  }
  for (std::string& line : notes()) all.push_back(std::move(line));
  for (std::string& line : leftOut()) all.push_back(std::move(line));
  return all;
}

void RowScript::writeTo(std::ostream& out) {
  for (std::string line : head()) {
    // A name may have a line end in it.
    std::ranges::replace_if(
        line, [](char letter) { return letter == '\n' || letter == '\r'; }, ' ');
    out << "-- " << line << '\n';
  }
  if (bodySize_ == 0) return;
  rows::rewindFile(body_.get());
  std::string piece(std::size_t{64} << 10U, '\0');
  for (std::int64_t left = bodySize_; left > 0; left -= static_cast<std::int64_t>(piece.size())) {
    piece.resize(std::min(piece.size(), static_cast<std::size_t>(left)));
    rows::read(body_.get(), piece.data(), piece.size());
    out << piece;
  }
}

ExitStatus RowScript::write(const Console& console) {
  const Written written = tried(console, [&] {
    WrittenFile file("script", request_.path, console);
    writeTo(file.stream());
    file.close();
  });
  const ExitStatus status = tell(console);
  return written == Written::notAll ? kError : status;
}

ExitStatus RowScript::tell(const Console& console) const {
  for (const std::string& line : obstacles_) console.complain(line);
  for (const std::string& line : notes()) console.complain(line);
  for (const std::string& line : leftOut()) console.complain(line);
  if (!isProved()) console.complain("the script is not proved; its head says more");
  return isProved() ? kNoDifference : kNotProven;
}

}  // namespace kelvane::cli
