#include "drivers/embedded/engine/session.h"

#include <algorithm>
#include <utility>

#include "drivers/embedded/engine/batch.h"
#include "drivers/embedded/engine/translator.h"
#include "drivers/embedded/tsql/parser.h"
#include "drivers/embedded/tsql/shape.h"

namespace kelvane::embedded {

Server::Server(const CatalogOptions& options) : catalog(options) {
  running.call = callFunction;
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
    throw tsql::ServerError(message::endlessBatch, 0, catalog.options().mostSteps);
  }
  --stepsLeft_;
}

std::shared_ptr<ParsedBatch> Server::procedure(const ObjectInfo& object, int number) {
  auto& kept = procedures_[{object.id, number}];
  SourceText source = catalog.source(object.id, number);
  if (source.text.empty()) return nullptr;
  if (!kept || kept->text != source.text) {
    auto batch = std::make_shared<ParsedBatch>();
    batch->text = std::move(source.text);
    batch->statements = tsql::parseBatch(batch->text, source.options());
    kept = std::move(batch);
  }
  return kept;
}

void Server::beginRows() {
  if (openRows_ || catalog.store().inTransaction()) return;
  catalog.store().begin();
  openRows_ = 0;
}

void Server::rowsWritten(std::size_t count) {
  constexpr std::size_t kMostRows = 10'000;
  if (!openRows_) return;
  *openRows_ += count;
  if (*openRows_ >= kMostRows) endRows();
}

void Server::endRows() {
  if (!openRows_) return;
  openRows_.reset();
  catalog.store().commit();
}

void Server::beginJoined() {
  endRows();
  if (catalog.store().inTransaction()) return;
  catalog.store().begin();
  joined_ = true;
}

void Server::endJoined() {
  if (!joined_ || openTransactions > 0) return;
  joined_ = false;
  catalog.store().commit();
}

std::uint64_t Server::definition(const TemporaryTable& table) {
  constexpr std::size_t kMostDefinitions = 1024;
  constexpr char kEnd = '\0';
  std::string key = table.sqliteTable + kEnd;
  for (const ColumnInfo& column : table.columns) {
    const ColumnType& type = column.type;
    key += column.name + kEnd;
    for (const int part : {static_cast<int>(type.kind), type.storageCode, type.userType,
                           type.length, type.precision.value_or(-1), type.scale.value_or(-1),
                           static_cast<int>(type.nullable), static_cast<int>(type.identity)}) {
      key += std::to_string(part) + ' ';
    }
  }
  for (const std::string& value : table.defaults) key += value + kEnd;
  for (const std::string& check : table.checks) key += check + kEnd;
  // Numbers are never given twice, so that forgetting old ones is harmless.
  if (definitions_.size() >= kMostDefinitions) definitions_.clear();
  const auto [found, isNew] = definitions_.try_emplace(std::move(key), lastDefinition_ + 1);
  if (isNew) ++lastDefinition_;
  return found->second;
}

Statement Server::statement(const std::string& sql) {
  const auto kept = statements_.find(sql);
  if (kept == statements_.end() || !kept->second) return catalog.store().prepare(sql);
  return *std::exchange(kept->second, std::nullopt);
}

void Server::giveBack(const std::string& sql, Statement statement) {
  constexpr std::size_t kMostStatements = 256;
  statement.reset();
  const auto place = statements_.find(sql);
  if (place != statements_.end()) {
    place->second = std::move(statement);
    return;
  }
  if (statements_.size() >= kMostStatements) statements_.clear();
  statements_.emplace(sql, std::move(statement));
}

Row rowOf(const Statement& statement) {
  Row row;
  for (int i = 0; i < statement.columnCount(); ++i) row.push_back(statement.cell(i));
  return row;
}

Session::Session(Server& server) : server(server), number_(server.nextSession()) {}

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

Session::~Session() {
  server.endRows();
  // What a rollback takes away needs no dropping.
  undoSavepoints();
  transaction.reset();
  server.namesChanged();
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
  std::string table = "temp.s" + std::to_string(number_) + "_" + std::to_string(nextTemporary());
  server.catalog.store().execute("CREATE TABLE " + table + " (" + columns + ")");
  return table;
}

void Session::dropTemporary(const std::string& name) {
  constexpr std::size_t kMostSpares = 8;
  const auto found = temporaries.find(name);
  if (found == temporaries.end()) return;
  const TemporaryTable& table = found->second;
  if (transaction || !table.indexes.empty() || spareTables_.size() >= kMostSpares) {
    server.catalog.store().execute("DROP TABLE " + table.sqliteTable);
  } else {
    server.catalog.store().execute("DELETE FROM " + table.sqliteTable);
    spareTables_.emplace(table.sqliteColumns, table.sqliteTable);
  }
  temporaries.erase(found);
}

void Session::keepSavepoints() {
  for (; !savepoints.empty(); savepoints.pop_back()) savepoints.back().second->keep();
}

void Session::undoSavepoints() {
  while (!savepoints.empty()) savepoints.pop_back();
}

void Session::rollBack() {
  transactionDepth = 0;
  wasRolledBack = true;
  undoSavepoints();
  transaction.reset();
}

void Session::acceptRollBack() {
  rollBack();
  forgetLostTemporaries();
  server.namesChanged();
  server.beginJoined();
}

bool Session::rollBackTo(std::string_view savepoint) {
  const auto found = std::ranges::find(savepoints.rbegin(), savepoints.rend(), savepoint,
                                       [](const auto& entry) { return entry.first; });
  if (found == savepoints.rend()) return false;
  const auto kept = static_cast<std::size_t>(savepoints.rend() - found) - 1;
  if (firing != nullptr && kept < firing->savepointsBefore) {
    throw tsql::ServerError(message::rollbackWithinTrigger, caller.line, savepoint);
  }
  while (savepoints.size() > kept) savepoints.pop_back();
  savepoints.emplace_back(savepoint, std::make_unique<Savepoint>(server.catalog.store()));
  return true;
}

void Session::forgetLostTemporaries() {
  constexpr std::string_view kSchema = "temp.";
  const auto isLost = [&](const std::string& table) {
    return !server.catalog.store().value<int>("SELECT 1 FROM temp.sqlite_master WHERE name = ?",
                                              table.substr(kSchema.size()));
  };
  std::erase_if(temporaries, [&](const auto& entry) { return isLost(entry.second.sqliteTable); });
  for (auto& [name, table] : temporaries) {
    std::erase_if(table.indexes, [&](const auto& index) { return isLost(index.sqliteIndex); });
  }
  std::erase_if(spareTables_, [&](const auto& entry) { return isLost(entry.second); });
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
  const CatalogOptions& options = server.catalog.options();
  return {caller.quotedIdentifier, options.longestName(), options.grammar()};
}

bool Session::isNewShape(std::string_view key) {
  constexpr std::size_t kMostShapes = 1 << 16;
  if (shapes_.size() >= kMostShapes) shapes_.clear();
  return shapes_.insert(std::hash<std::string_view>{}(key)).second;
}

std::shared_ptr<ParsedBatch> Session::parsed(std::string_view text, Keeping keeping) {
  // A tree takes some hundred times the memory of its text.
  constexpr std::size_t kMostKept = 1 << 20;
  const tsql::ParseOptions how = parseOptions();
  auto batch = std::make_shared<ParsedBatch>(std::string(text));
  if (text.size() > kLongestKeptBatch || keeping == Keeping::none) {
    batch->statements = tsql::parseBatch(batch->text, how);
    return batch;
  }
  tsql::BatchShape shape = tsql::shapeOf(text);
  shape.key += how.quotedIdentifier ? 'q' : ' ';
  if (isNewShape(shape.key)) {
    batch->statements = tsql::parseBatch(batch->text, how);
    return batch;
  }
  for (const auto& [begin, end] : shape.texts) batch->texts.emplace_back(text, begin, end - begin);
  if (const auto kept = batches_.find(shape.key); kept != batches_.end()) {
    // A batch that is running, or that a cursor reads, is not to be disturbed.
    if (kept->second.use_count() > 1) {
      batch->statements = tsql::parseBatch(batch->text, how);
      batch->texts.clear();
      return batch;
    }
    kept->second->text = std::move(batch->text);
    kept->second->texts = std::move(batch->texts);
    return kept->second;
  }
  tsql::ShapedBatch tree = tsql::parseBatch(batch->text, shape, how);
  batch->statements = std::move(tree.statements);
  if (tree.servesShape) {
    if (keptText_ + text.size() > kMostKept) {
      batches_.clear();
      keptText_ = 0;
    }
    keptText_ += text.size();
    batches_.emplace(std::move(shape.key), batch);
  }
  return batch;
}

std::shared_ptr<ParsedBatch> Session::parse(std::string_view text, Outcome& outcome,
                                            Keeping keeping) {
  try {
    server.countStep();
    return parsed(text, keeping);
  } catch (const tsql::ServerError& error) {
    lastError = error.number;
    Notice notice{error.toMessage(), error.line};
    notice.refused = true;
    outcome.notice(notice);
    return nullptr;
  }
}

namespace {

class JoinedStatements {
 public:
  explicit JoinedStatements(Server& server) : server_(server) { server.beginJoined(); }
  ~JoinedStatements() { server_.endJoined(); }
  JoinedStatements(const JoinedStatements&) = delete;
  JoinedStatements& operator=(const JoinedStatements&) = delete;

 private:
  Server& server_;
};

}  // namespace

std::shared_ptr<ParsedBatch> Session::parseAfterRows(std::string_view text, Outcome& outcome) {
  const std::size_t done = rowInserts_.run(text, outcome);
  if (done == 0) return parse(text, outcome);
  if (done == text.size()) return nullptr;
  // With the lines before it, which messages count.
  std::string rest(static_cast<std::size_t>(std::ranges::count(text.substr(0, done), '\n')), '\n');
  rest += text.substr(done);
  return parse(rest, outcome, Keeping::none);
}

bool Session::run(std::string_view text, Outcome& outcome) {
  const auto batch = parseAfterRows(text, outcome);
  if (!batch) return true;
  BatchRun run(*this, batch, outcome);
  const JoinedStatements joined(server);
  if (run.compile()) run.run();
  return !batch->statements.empty();
}

std::optional<RowStream> Session::runStreaming(std::string_view text, Outcome& outcome) {
  std::optional<RowStream> stream;
  const auto batch = parseAfterRows(text, outcome);
  if (!batch) return stream;
  BatchRun run(*this, batch, outcome);
  const JoinedStatements joined(server);
  if (run.compile()) run.run(&stream);
  return stream;
}

std::optional<RowStream> Session::runStreaming(std::string_view text, Variables& parameters,
                                               Outcome& outcome) {
  std::optional<RowStream> stream;
  // Not a kept one: the types of the parameters belong to what the statements mean.
  const auto batch = parse(text, outcome, Keeping::none);
  if (!batch) return stream;
  BatchRun run(*this, batch, outcome);
  run.variables() = parameters;
  const JoinedStatements joined(server);
  if (run.compile()) run.run(&stream);
  parameters = std::move(run.variables());
  return stream;
}

}  // namespace kelvane::embedded
