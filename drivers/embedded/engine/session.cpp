#include "drivers/embedded/engine/session.h"

#include <algorithm>
#include <utility>

#include "drivers/embedded/engine/batch.h"
#include "drivers/embedded/engine/temporary_records.h"

namespace kelvane::embedded {

Row rowOf(const Statement& statement) {
  Row row;
  for (int i = 0; i < statement.columnCount(); ++i) row.push_back(statement.cell(i));
  return row;
}

Session::Session(Server& server)
    : server(server),
      number(server.nextSession()),
      transactions(server.transaction),
      temporaries(server.catalog.store(), server.definitions, transactions, number) {}

Session::~Session() {
  server.transaction.endRows();
  transactions.rollBack();
  temporaries.followRollback();
  temporaries.each([&](const TemporaryTable& table) { hideTemporary(server.catalog, table.id); });
  server.catalog.removeTemporaryProcedures(temporaryProcedures);
  server.namesChanged();
}

void Session::logIn(Client client) {
  if (!server.catalog.loginId(client.login)) {
    server.catalog.callSystemProcedure(
        {"sp_addlogin", {{"", client.login}, {"", std::nullopt}}, caller});
  }
  client_ = std::move(client);
}

std::string Session::login() const {
  if (caller.uid == kDboUid) return client_.login;
  return server.catalog.store()
      .value<std::string>(
          "SELECT l.name FROM sysusers u JOIN syslogins l ON l.suid = u.suid WHERE u.uid = ?",
          caller.uid)
      .value_or(client_.login);
}

void Session::acceptRollBack() {
  transactions.rollBack();
  temporaries.followRollback();
  server.namesChanged();
  server.transaction.beginBatch();
}

bool Session::step(RowStream& stream) {
  takeOver();
  try {
    return stream.statement.step();
  } catch (const tsql::ServerError& error) {
    if (error.line != 0) throw;
    throw tsql::ServerError(error.toMessage(), stream.line);
  }
}

void Session::takeOver() {
  server.running.session = this;
  server.running.caller = &caller;
  server.catalog.enter(caller.database);
}

void Session::enter(const std::string& database) {
  const Caller there = server.catalog.callerIn(database, caller);
  caller.database = there.database;
  caller.uid = there.uid;
  server.catalog.enter(database);
}

InDatabase::InDatabase(Session& session, const std::string& database)
    : session_(session),
      isElsewhere_(!database.empty() && database != session.caller.database &&
                   session.server.catalog.databaseId(database)),
      database_(session.caller.database),
      uid_(session.caller.uid) {
  if (isElsewhere_) session_.enter(database);
}

InDatabase::~InDatabase() {
  if (!isElsewhere_) return;
  session_.caller.database = database_;
  session_.caller.uid = uid_;
  session_.server.catalog.enter(database_);
}

tsql::ParseOptions Session::parseOptions() const {
  const CatalogOptions& catalog = server.catalog.options();
  return {caller.quotedIdentifier, catalog.longestName(), catalog.grammar()};
}

// Null when the parsing is refused, which is then told.
template <class Parse>
std::shared_ptr<ParsedBatch> Session::reported(Outcome& outcome, Parse parse) {
  try {
    server.steps.count();
    return parse();
  } catch (const tsql::ServerError& error) {
    last.error = error.number;
    Notice notice{error.toMessage(), error.line};
    notice.refused = true;
    outcome.notice(notice);
    return nullptr;
  }
}

std::shared_ptr<ParsedBatch> Session::parse(std::string_view text, Outcome& outcome) {
  return reported(outcome, [&] { return batches_.parse(text, parseOptions()); });
}

std::shared_ptr<ParsedBatch> Session::parseAfterRows(std::string_view text, Outcome& outcome) {
  statementsLeft = 0;
  const std::size_t done = rowInserts_.run(text, outcome);
  if (done == 0) return parse(text, outcome);
  if (done == text.size()) return nullptr;
  // With the lines before it, which messages count.
  std::string rest(static_cast<std::size_t>(std::ranges::count(text.substr(0, done), '\n')), '\n');
  rest += text.substr(done);
  return reported(outcome, [&] { return parsedAlone(rest, parseOptions()); });
}

bool Session::run(std::string_view text, Outcome& outcome) {
  const auto batch = parseAfterRows(text, outcome);
  if (!batch) return true;
  BatchRun run(*this, batch, outcome);
  const JoinedStatements joined(server.transaction);
  if (run.compile()) run.run();
  return !batch->statements.empty();
}

std::optional<RowStream> Session::runStreaming(std::string_view text, Outcome& outcome) {
  std::optional<RowStream> stream;
  const auto batch = parseAfterRows(text, outcome);
  if (!batch) return stream;
  BatchRun run(*this, batch, outcome);
  const JoinedStatements joined(server.transaction);
  if (run.compile()) run.run(&stream);
  return stream;
}

std::optional<RowStream> Session::runStreaming(std::string_view text, Variables& parameters,
                                               Outcome& outcome) {
  std::optional<RowStream> stream;
  // Not a kept one: the types of the parameters belong to what the statements mean.
  const auto batch = reported(outcome, [&] { return parsedAlone(text, parseOptions()); });
  if (!batch) return stream;
  BatchRun run(*this, batch, outcome);
  run.frame().variables() = parameters;
  const JoinedStatements joined(server.transaction);
  if (run.compile()) run.run(&stream);
  parameters = std::move(run.frame().variables());
  return stream;
}

}  // namespace kelvane::embedded
