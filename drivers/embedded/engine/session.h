// The server behind its connections, and what each of them keeps between batches.
//
// A Server owns the catalog; sessions refer to it and must not outlive it. No locks: one thread at
// a time for a server and all of its sessions.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "drivers/embedded/catalog/catalog.h"
#include "drivers/embedded/engine/functions.h"
#include "drivers/embedded/engine/kept_plans.h"
#include "drivers/embedded/engine/moment.h"
#include "drivers/embedded/engine/outcome.h"
#include "drivers/embedded/engine/plan.h"
#include "drivers/embedded/engine/row_inserts.h"
#include "drivers/embedded/engine/translator.h"
#include "drivers/embedded/engine/variables.h"
#include "drivers/embedded/tsql/ast.h"
#include "drivers/embedded/tsql/lexer.h"

namespace kelvane::embedded {

/// In bytes. Longer batches do not come twice.
inline constexpr std::size_t kLongestKeptBatch = 16'384;

/// A parsed text and its statements, which count in it, and what running it once spares the next
/// run.
struct ParsedBatch {
  std::string text;
  /// What the string literals with a slot contain: those of `text`.
  std::vector<std::string> texts = {};
  tsql::StatementList statements = {};
  KeptPlans plans = {};
  /// Under which circumstances all names and types were found right, with these variables. None
  /// while temporary tables had a part in it.
  std::optional<Circumstances> checked = {};
  Variables declared = {};
};

/// The result of a function of the schema. What goes wrong inside is thrown.
Cell callFunction(Session& session, int functionId, const Row& arguments);

class Server {
 public:
  explicit Server(const CatalogOptions& options = {});
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  /// The source of a stored procedure, parsed once for each text: another one may get its id.
  /// Null when its group has none of the number.
  std::shared_ptr<ParsedBatch> procedure(const ObjectInfo& object, int number = 1);
  int nextSession() { return ++sessions_; }
  int sessionCount() const { return sessions_; }
  /// Changes with every statement that may change what names mean, those of temporary tables
  /// excepted.
  std::uint64_t namesVersion() const { return running.namesVersion; }
  void namesChanged() { ++running.namesVersion; }
  /// The same number for tables of the same storage, columns and defaults.
  std::uint64_t definition(const TemporaryTable& table);

  /// Another batch of a client begins, with all the steps that one may take.
  void beginBatch();
  /// Throws when the batch has taken all of its steps.
  void countStep();
  /// Whether it has thrown since the batch began.
  bool wasStopped() const { return wasStopped_; }

  /// A statement for the text, kept ones first; it goes back with `giveBack`.
  Statement statement(const std::string& sql);
  void giveBack(const std::string& sql, Statement statement);

  Catalog catalog;
  Running running;
  SystemColumns systemColumns;
  KeptByTable<RowRules> rowRules;
  KeptByTable<std::vector<ColumnInfo>> tableColumns;
  /// Where new connections start: the database that the last script was in. A script that names
  /// none is not meant for master.
  std::string database = "main";
  const Moment startedAt = roundToTicks(currentMoment());
  /// Those that a `begin transaction` of any session has left open.
  int openTransactions = 0;

  /// Makes the statements of a batch one transaction of the store, where it has none already.
  void beginJoined();
  /// Ends that transaction, but for one that the batch itself leaves open.
  void endJoined();
  /// The same for batches of nothing but rows, which go on with the transaction of the one before:
  /// any other batch ends it first. Nothing of them is ever undone by the store alone.
  void beginRows();
  void rowsWritten(std::size_t count);
  void endRows();

 private:
  std::map<std::pair<int, int>, std::shared_ptr<ParsedBatch>> procedures_;
  /// None while a run of a batch has it.
  std::unordered_map<std::string, std::optional<Statement>> statements_;
  std::unordered_map<std::string, std::uint64_t> definitions_;
  std::uint64_t lastDefinition_ = 0;
  bool joined_ = false;
  /// Rows of the transaction that batches of rows have left open; none without one.
  std::optional<std::size_t> openRows_;
  int sessions_ = 0;
  std::uint64_t stepsLeft_ = 0;
  bool wasStopped_ = false;
};

/// What lies between `begin transaction` and its end; undone unless kept.
class UserTransaction {
 public:
  explicit UserTransaction(Server& server) : server_(server), savepoint_(server.catalog.store()) {
    ++server.openTransactions;
  }
  ~UserTransaction() { --server_.openTransactions; }
  UserTransaction(const UserTransaction&) = delete;
  UserTransaction& operator=(const UserTransaction&) = delete;
  void keep() { savepoint_.keep(); }

 private:
  Server& server_;
  Savepoint savepoint_;
};

class Session;

/// While it lives a session is in the database that a name leads to, if the server has it.
class InDatabase {
 public:
  InDatabase(Session& session, const std::string& database);
  ~InDatabase();
  InDatabase(const InDatabase&) = delete;
  InDatabase& operator=(const InDatabase&) = delete;

 private:
  Session& session_;
  bool isElsewhere_;
  std::string database_;
  int uid_;
};

struct Cursor {
  std::shared_ptr<ParsedBatch> batch;  ///< keeps the query alive
  const tsql::Query* query = nullptr;
  std::optional<ResultSet> rows;  ///< while it is open
  std::size_t next = 0;           ///< the row behind the one that it stands on
  std::int64_t fetched = 0;
  bool scroll = false;
};

/// `set` options; they stay for the session.
struct SessionOptions {
  bool noCount = false;
  /// Whether nothing is equal to null.
  bool ansiNull = false;
  /// Whether a text that a column would cut is refused.
  bool stringRtruncation = false;
  std::int64_t isolation = 1;
  std::int64_t textSize = 32768;
  std::uint64_t rowLimit = 0;
  std::string identityInsertTable;
};

/// Rows that are computed as they are asked for. Anything run on any session of the server that
/// changes tables in between may end them with a StoreError.
struct RowStream {
  std::vector<ResultColumn> columns;
  Statement statement;
  std::uint32_t line = 0;  ///< of the query in its batch
};

/// The values of the row that a statement stands on.
Row rowOf(const Statement& statement);

/// A change of rows while its trigger runs.
struct Firing {
  FiredTrigger trigger;
  class FiredRows& rows;
  std::optional<Savepoint>& savepoint;  ///< before the change; none when that was undone
  std::size_t savepointsBefore;         ///< of the session
  int transactionDepth;                 ///< the transaction that a trigger always runs in counted
  Firing* outer;
};

/// Who logged in, as the client's login says.
struct Client {
  std::string login = "sa";
  std::string host = "embedded";
  std::string process = "1";
  std::string application = {};
};

class Session {
 public:
  explicit Session(Server& server);
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  /// Runs a batch. Everything that happens, refusals too, goes to `outcome`. False for a batch
  /// without a statement.
  bool run(std::string_view batch, Outcome& outcome);
  /// The same, but when the last statement is a query whose rows are nobody else's business, it is
  /// handed back instead of being read.
  std::optional<RowStream> runStreaming(std::string_view batch, Outcome& outcome);
  /// The same for a batch that sees these variables without declaring them; what it leaves in
  /// them is there afterwards.
  std::optional<RowStream> runStreaming(std::string_view batch, Variables& parameters,
                                        Outcome& outcome);
  /// The next row of a stream of this session.
  bool step(RowStream& stream);

  /// A login that the server does not have yet gets a row in syslogins. All are the database owner.
  void logIn(Client client);
  const Client& client() const { return client_; }
  /// On whose behalf statements run: who logged in, or the login of the user of `setuser`.
  std::string login() const;
  /// What set_appcontext() keeps, by context and attribute.
  std::map<std::pair<std::string, std::string>, std::string> contexts;

  Server& server;
  Caller caller;
  SessionOptions options;
  TemporaryTables temporaries;
  std::map<std::string, Cursor, std::less<>> cursors;
  std::unique_ptr<UserTransaction> transaction;
  /// Those of `save transaction`, inside of the transaction.
  std::vector<std::pair<std::string, std::unique_ptr<Savepoint>>> savepoints;
  int transactionDepth = 0;
  std::int64_t rowCount = 0;
  std::int64_t lastError = 0;
  std::int64_t cursorStatus = 0;
  std::int64_t cursorRows = 0;  ///< of the cursor that was opened last
  std::int64_t lastIdentity = 0;
  int nestLevel = 0;
  int procedureId = 0;         ///< of the procedure or trigger that runs
  bool wasRolledBack = false;  ///< how the last transaction ended
  Firing* firing = nullptr;    ///< the innermost
  /// Whether `use` takes any name.
  bool acceptsAnyDatabase = false;
  /// After syb_quit(): nothing more may be run.
  bool ended = false;

  /// Among all that the server has had.
  int number() const { return number_; }

  /// What runs now runs for this session, in its database.
  void takeOver();
  /// Goes to another database, where its user may have another number.
  void enter(const std::string& database);
  /// How the next batch is read.
  tsql::ParseOptions parseOptions() const;
  void dropTemporary(const std::string& name);
  void keepSavepoints();
  void undoSavepoints();
  /// Undoes the transaction.
  void rollBack();
  /// The store has undone the batch, and the transaction that it is in, by itself.
  void acceptRollBack();
  /// Undoes what came after the savepoint; false when there is none of that name.
  bool rollBackTo(std::string_view savepoint);
  /// Undoes the transaction and the changes whose triggers run.
  void rollBackFirings();
  /// After a rollback: those that it took away.
  void forgetLostTemporaries();
  /// An empty SQLite table with these columns: one that a dropped table left behind, or a new one.
  std::string temporaryStorage(const std::string& columns);
  /// Never the same again.
  int nextTemporary() { return ++temporaryNumber_; }
  /// Whether a parsed batch serves again when its shape comes again.
  enum class Keeping { byShape, none };
  /// Null when the text is no T-SQL, which has then been reported.
  std::shared_ptr<ParsedBatch> parse(std::string_view batch, Outcome& outcome,
                                     Keeping keeping = Keeping::byShape);

 private:
  /// Whether no batch of the shape came before; one that comes next is no new one.
  bool isNewShape(std::string_view key);
  std::shared_ptr<ParsedBatch> parsed(std::string_view text, Keeping keeping);
  /// The batch without what has been run of it already; null if that is all, or if the rest is no
  /// T-SQL.
  std::shared_ptr<ParsedBatch> parseAfterRows(std::string_view batch, Outcome& outcome);

  int number_;
  Client client_;
  int temporaryNumber_ = 0;
  /// Tables without a name, by their columns. The reader's batches make and drop the same tables
  /// again and again; keeping them spares SQLite a change of schema, after which it would have to
  /// prepare every statement anew.
  std::multimap<std::string, std::string> spareTables_;
  /// By the keys of their shapes, of those that came more than once: most batches of a script never
  /// come again.
  std::unordered_map<std::string, std::shared_ptr<ParsedBatch>> batches_;
  std::unordered_set<std::size_t> shapes_;  ///< hashes of the keys that came at all
  std::size_t keptText_ = 0;                // bytes of their texts
  RowInserts rowInserts_{*this};
};

}  // namespace kelvane::embedded
