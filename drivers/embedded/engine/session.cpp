#include "drivers/embedded/engine/session.h"

#include <algorithm>

#include "drivers/embedded/engine/batch.h"
#include "drivers/embedded/engine/globals.h"
#include "drivers/embedded/engine/translator.h"
#include "drivers/embedded/tsql/parser.h"

namespace kelvane::embedded {

Server::Server(const CatalogOptions& options) : catalog(options) {
  registerFunctions(catalog, running);
  beginBatch();
  catalog.store().watchProgress([this] {
    if (running.counted) countStep();
  });
}

void Server::beginBatch() {
  stepsLeft_ = catalog.options().mostSteps;
  wasStopped_ = false;
}

void Server::countStep() {
  if (stepsLeft_ == 0) {
    wasStopped_ = true;
    throw tsql::ServerError(tsql::kNotSupported, 16, 1,
                            "The batch was stopped after " +
                                std::to_string(catalog.options().mostSteps) +
                                " steps: it seems to go on without end.",
                            0);
  }
  --stepsLeft_;
}

std::shared_ptr<const ParsedBatch> Server::procedure(const ObjectInfo& object) {
  auto& kept = procedures_[object.id];
  std::string text = catalog.sourceText(object.id);
  if (!kept || kept->text != text) {
    auto batch = std::make_shared<ParsedBatch>();
    batch->text = std::move(text);
    batch->statements = tsql::parseBatch(batch->text);
    kept = std::move(batch);
  }
  return kept;
}

Statement Server::statement(const std::string& sql) {
  const auto kept = statements_.find(sql);
  if (kept == statements_.end()) return catalog.store().prepare(sql);
  Statement statement = std::move(kept->second);
  statements_.erase(kept);
  return statement;
}

void Server::giveBack(const std::string& sql, Statement statement) {
  constexpr std::size_t kMostStatements = 256;
  statement.reset();
  if (statements_.size() >= kMostStatements) statements_.clear();
  statements_.insert_or_assign(sql, std::move(statement));
}

Row rowOf(const Statement& statement) {
  Row row;
  for (int i = 0; i < statement.columnCount(); ++i) row.push_back(statement.cell(i));
  return row;
}

Session::Session(Server& server) : server(server), number_(server.nextSession()) {}

Session::~Session() {
  // What a rollback takes away needs no dropping.
  undoSavepoints();
  transaction.reset();
  forgetLostTemporaries();
  while (!temporaries.empty()) dropTemporary(temporaries.begin()->first);
  for (const auto& [columns, table] : spareTables_) {
    server.catalog.store().execute("DROP TABLE " + table);
  }
}

std::string Session::temporaryStorage(const std::string& columns) {
  // A rollback must be able to take the table away.
  const auto spare = transaction ? spareTables_.end() : spareTables_.find(columns);
  if (spare != spareTables_.end()) {
    std::string table = std::move(spare->second);
    spareTables_.erase(spare);
    return table;
  }
  std::string table = "temp.s" + std::to_string(number_) + "_" + std::to_string(++temporaryNumber_);
  server.catalog.store().execute("CREATE TABLE " + table + " (" + columns + ")");
  return table;
}

void Session::dropTemporary(const std::string& name) {
  constexpr std::size_t kMostSpares = 8;
  const auto found = temporaries.find(name);
  if (found == temporaries.end()) return;
  const TemporaryTable& table = found->second;
  if (transaction || spareTables_.size() >= kMostSpares) {
    server.catalog.store().execute("DROP TABLE " + table.sqliteTable);
  } else {
    server.catalog.store().execute("DELETE FROM " + table.sqliteTable);
    spareTables_.emplace(table.sqliteColumns, table.sqliteTable);
  }
  temporaries.erase(found);
  server.schemaChanged();
}

void Session::keepSavepoints() {
  for (; !savepoints.empty(); savepoints.pop_back()) savepoints.back().second->keep();
}

void Session::undoSavepoints() {
  while (!savepoints.empty()) savepoints.pop_back();
}

void Session::rollBack() {
  transactionDepth = 0;
  undoSavepoints();
  transaction.reset();
}

bool Session::rollBackTo(std::string_view savepoint) {
  const auto found = std::ranges::find(savepoints.rbegin(), savepoints.rend(), savepoint,
                                       [](const auto& entry) { return entry.first; });
  if (found == savepoints.rend()) return false;
  const auto kept = static_cast<std::size_t>(savepoints.rend() - found) - 1;
  while (savepoints.size() > kept) savepoints.pop_back();
  savepoints.emplace_back(savepoint, std::make_unique<Savepoint>(server.catalog.store()));
  return true;
}

void Session::forgetLostTemporaries() {
  constexpr std::string_view kSchema = "temp.";
  std::erase_if(temporaries, [&](const auto& entry) {
    const std::string name = entry.second.sqliteTable.substr(kSchema.size());
    return !server.catalog.store().value<int>("SELECT 1 FROM temp.sqlite_master WHERE name = ?",
                                              name);
  });
}

Cell Session::globalVariable(std::string_view name) const {
  if (name == "@@rowcount") return rowCount;
  if (name == "@@error") return lastError;
  if (name == "@@trancount") return std::int64_t{transactionDepth};
  if (name == "@@identity") return lastIdentity;
  if (name == "@@nestlevel") return std::int64_t{nestLevel};
  if (name == "@@sqlstatus") return cursorStatus;
  if (name == "@@procid" || name == "@@transtate" || name == "@@fetch_status") {
    return std::int64_t{0};
  }
  return fixedGlobalVariable(name);
}

bool Session::step(RowStream& stream) {
  server.running.caller = &caller;
  return stream.statement.step();
}

tsql::ParseOptions Session::parseOptions() const {
  return {options.quotedIdentifier, server.catalog.options().longestName()};
}

std::shared_ptr<const ParsedBatch> Session::parse(std::string_view text, Outcome& outcome) {
  auto batch = std::make_shared<ParsedBatch>();
  batch->text = text;
  try {
    server.countStep();
    batch->statements = tsql::parseBatch(batch->text, parseOptions());
  } catch (const tsql::ServerError& error) {
    lastError = error.number;
    Notice notice{{error.number, error.severity, error.state, error.text()}, error.line};
    notice.refused = true;
    outcome.notice(notice);
    return nullptr;
  }
  return batch;
}

bool Session::run(std::string_view text, Outcome& outcome) {
  const auto batch = parse(text, outcome);
  if (!batch) return true;
  BatchRun run(*this, batch, outcome);
  if (run.compile()) run.run();
  return !batch->statements.empty();
}

std::optional<RowStream> Session::runStreaming(std::string_view text, Outcome& outcome) {
  std::optional<RowStream> stream;
  const auto batch = parse(text, outcome);
  if (!batch) return stream;
  BatchRun run(*this, batch, outcome);
  if (run.compile()) run.run(&stream);
  return stream;
}

}  // namespace kelvane::embedded
