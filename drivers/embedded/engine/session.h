// What a connection keeps between its batches.
//
// Refers to the server, which must outlive it. One thread at a time for a server and all of its
// sessions.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include "drivers/embedded/engine/batch_cache.h"
#include "drivers/embedded/engine/cursors.h"
#include "drivers/embedded/engine/outcome.h"
#include "drivers/embedded/engine/row_inserts.h"
#include "drivers/embedded/engine/row_stream.h"
#include "drivers/embedded/engine/server.h"
#include "drivers/embedded/engine/session_options.h"
#include "drivers/embedded/engine/temporary_tables.h"
#include "drivers/embedded/engine/transactions.h"
#include "drivers/embedded/tsql/lexer.h"

namespace kelvane::embedded {

/// Who logged in, as the client's login says.
struct Client {
  std::string login = "sa";
  std::string host = "embedded";
  std::string process = "1";
  std::string application = {};
};

/// What the next statement can ask about the last one.
struct LastStatement {
  std::int64_t rowCount = 0;
  std::int64_t error = 0;
  std::int64_t identity = 0;
};

/// How deep calls are, and the procedure or trigger that runs.
struct CallDepth {
  int level = 0;
  int procedureId = 0;
  int functions = 0;  ///< of the schema, each called by a statement that is still running
};

struct Firing;  // trigger_runner.h

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

  /// What runs now runs for this session, in its database.
  void takeOver();
  /// Goes to another database, where its user may have another number.
  void enter(const std::string& database);
  /// How the next batch is read.
  tsql::ParseOptions parseOptions() const;
  /// Null when the text is no T-SQL, which has then been reported.
  std::shared_ptr<ParsedBatch> parse(std::string_view batch, Outcome& outcome);
  /// The store has undone the batch, and the transaction that it is in, by itself.
  void acceptRollBack();

  Server& server;
  const int number;  ///< among all that the server has had
  Caller caller;
  SessionOptions options;
  Transactions transactions;
  TemporaryTables temporaries;
  std::set<int> temporaryProcedures;  ///< their ids
  Cursors cursors;
  LastStatement last;
  CallDepth calls;
  /// How many statements of the batch there are from the one at hand on, outside of all procedures;
  /// 0 before the first. From the end, because rows may have been inserted without a tree.
  std::size_t statementsLeft = 0;
  Firing* firing = nullptr;  ///< the innermost
  /// What set_appcontext() keeps, by context and attribute.
  std::map<std::pair<std::string, std::string>, std::string> contexts;
  /// Whether `use` takes any name.
  bool acceptsAnyDatabase = false;
  /// After syb_quit(): nothing more may be run.
  bool ended = false;

 private:
  template <class Parse>
  std::shared_ptr<ParsedBatch> reported(Outcome& outcome, Parse parse);
  /// The batch without what has been run of it already; null if that is all, or if the rest is no
  /// T-SQL.
  std::shared_ptr<ParsedBatch> parseAfterRows(std::string_view batch, Outcome& outcome);

  Client client_;
  BatchCache batches_;
  RowInserts rowInserts_{*this};
};

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

}  // namespace kelvane::embedded
