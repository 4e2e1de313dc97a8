#include "drivers/embedded/engine/session.h"

#include "drivers/embedded/engine/batch.h"
#include "drivers/embedded/engine/globals.h"
#include "drivers/embedded/engine/translator.h"
#include "drivers/embedded/tsql/parser.h"

namespace kelvane::embedded {

std::shared_ptr<const ParsedBatch> Server::procedure(const ObjectInfo& object) {
  auto& kept = procedures_[object.id];
  if (!kept) {
    auto batch = std::make_shared<ParsedBatch>();
    batch->text = catalog.sourceText(object.id);
    batch->statements = tsql::parseBatch(batch->text);
    kept = std::move(batch);
  }
  return kept;
}

Row rowOf(const Statement& statement) {
  Row row;
  for (int i = 0; i < statement.columnCount(); ++i) row.push_back(statement.cell(i));
  return row;
}

Session::Session(Server& server) : server(server), number_(server.nextSession()) {}

Session::~Session() {
  // What a rollback takes away needs no dropping.
  transaction.reset();
  forgetLostTemporaries();
  while (!temporaries.empty()) dropTemporary(temporaries.begin()->first);
}

std::string Session::newTemporaryName(std::string_view name) {
  return "temp." + quotedName("s" + std::to_string(number_) + "_" +
                              std::to_string(++temporaryNumber_) + std::string(name));
}

void Session::dropTemporary(const std::string& name) {
  const auto found = temporaries.find(name);
  if (found == temporaries.end()) return;
  server.catalog.store().execute("DROP TABLE IF EXISTS " + found->second.sqliteTable);
  temporaries.erase(found);
  server.schemaChanged();
}

void Session::forgetLostTemporaries() {
  std::erase_if(temporaries, [&](const auto& entry) {
    const std::string& quoted = entry.second.sqliteTable;
    const std::string name = quoted.substr(quoted.find('"') + 1, quoted.size() - 7);
    return !server.catalog.store().template value<int>(
        "SELECT 1 FROM temp.sqlite_master WHERE name = ?", name);
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

std::shared_ptr<const ParsedBatch> Session::parse(std::string_view text, Outcome& outcome) {
  auto batch = std::make_shared<ParsedBatch>();
  batch->text = text;
  try {
    batch->statements = tsql::parseBatch(batch->text, {options.quotedIdentifier});
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
