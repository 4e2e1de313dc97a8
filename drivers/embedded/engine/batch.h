// Runs the statements of one batch or of one procedure call.
//
// Refers to the session, the frame and the outcome, which must outlive it.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "drivers/embedded/engine/session.h"
#include "drivers/embedded/engine/set_options.h"
#include "drivers/embedded/engine/translator.h"
#include "drivers/embedded/tsql/ast.h"

namespace kelvane::embedded {

/// Ends the batch after its error has been reported.
struct BatchEnded {};

/// How rows of given values are written; see Translator::insertStored.
struct RowPlan {
  Plan plan;
  std::vector<ColumnType> types;  ///< of the values
  Circumstances made;
};

class BatchRun {
 public:
  BatchRun(Session& session, std::shared_ptr<ParsedBatch> batch, Outcome& outcome);
  ~BatchRun();
  BatchRun(const BatchRun&) = delete;
  BatchRun& operator=(const BatchRun&) = delete;

  /// Finds wrong names and types in everything whose tables are there; false when the batch is
  /// refused, which has then been reported.
  bool compile();
  /// Runs it. With `stream`, a last query at the top is prepared for it instead.
  void run(std::optional<RowStream>* stream = nullptr);
  /// Runs the body of a procedure whose parameters have been put into variables().
  void runBody(const tsql::StatementList& body);

  /// The result of a function whose parameters have been put into variables().
  Cell runFunction(const tsql::StatementList& body, const ColumnType& returns);

  /// Of an insert with any values. The table gets its place for rows.
  RowPlan rowPlan(const tsql::Statement& statement);

  Variables& variables() { return variables_; }
  int returnStatus() const { return returnStatus_; }

 private:
  enum class Flow { Next, Break, Continue, Return, Goto };

  using Translate = std::function<Plan(Translator&)>;

  // batch_compile.cpp
  void compileList(const tsql::StatementList& statements);
  void compileStatement(const tsql::Statement& statement);
  void compileParts(const tsql::Statement& statement);
  void declare(const tsql::Declare& declare);

  // batch.cpp: control of flow
  Flow runList(const tsql::StatementList& statements, std::optional<RowStream>* stream = nullptr);
  /// From here on the statement is the one that runs.
  void enter(const tsql::Statement& statement);
  Flow runStatement(const tsql::Statement& statement);
  Flow runNode(const tsql::Statement& statement);
  Flow runWhile(const tsql::While& loop);
  bool test(const tsql::Expr& condition);
  Cell evaluate(const tsql::Expr& expr, const ColumnType* as = nullptr);
  std::string text(const tsql::Expr& expr);
  std::vector<std::string> texts(std::span<const tsql::ExprPtr> expressions);
  /// Tells the client; true when it only says that what was to be removed is not there.
  bool tell(const tsql::Statement& statement, const tsql::ServerError& error);
  void report(const tsql::Statement& statement, const tsql::ServerError& error);
  void print(const tsql::Print& print);
  void raiseError(const tsql::RaiseError& raise);
  void assign(const std::string& name, const Cell& value, const ColumnType& from);

  // batch_options.cpp: what stays for the session
  void setOption(const tsql::SetOption& option);
  void setOption(const SetOptionRule& rule, const std::string& value);
  void setRowCount(const std::string& value);
  static std::optional<std::string> identityInsert(const tsql::SetOption& option);
  void transact(const tsql::Transaction& transaction);
  void useDatabase(const tsql::UseDatabase& use);
  void setUser(const tsql::SetUser& user);
  void setLogin(const std::string& quoted);

  // batch_utility.cpp
  void utility(const tsql::Utility& utility);
  /// Tells of something that was accepted but leaves no trace.
  void ignored(const std::string& what);

  // batch_plans.cpp
  TranslationContext context() const;
  /// Whether the statement at hand may give values to an identity column.
  bool writesIdentity() const;
  Circumstances circumstances() const;
  bool serves(const Prepared& prepared, const Circumstances& now) const;
  Prepared& prepared(const void* key, const Translate& translate);
  void giveBack(Prepared& prepared);
  void giveBackStatements();
  /// Forgets those of a batch of thousands of inserts, say, every so often.
  void limitPlans();
  /// The batch keeps what serves its next run too.
  void returnPlans();
  void bind(Prepared& prepared, const Row* bound = nullptr);
  /// With the texts of another batch, which the plan was made for.
  void bind(Prepared& prepared, const Row* bound, const ParsedBatch& batch);
  Cell sessionFact(std::string_view name) const;
  Cell parameterValue(const Parameter& parameter, const Row* bound, const ParsedBatch& batch) const;
  bool step(Prepared& prepared);
  std::int64_t execute(Prepared& prepared, const Row* bound = nullptr);

  // batch_data.cpp: queries, changes, cursors
  std::int64_t change(Prepared& prepared);
  void runTests(const std::vector<std::string>& tests);
  void select(const tsql::SelectStatement& statement);
  void assignFrom(const tsql::Select& select, Prepared& prepared);
  void selectInto(const tsql::SelectStatement& statement);
  void selectIntoExisting(const tsql::SelectStatement& statement);
  Prepared& insertPlan(const tsql::Insert& statement);
  void insert(const tsql::Insert& statement);
  void insertExecuted(const tsql::Insert& statement, const WriteTarget& target);
  /// Inserts rows that were read before.
  std::int64_t insertResults(const tsql::Insert& statement, const WriteTarget& target,
                             const std::vector<ResultSet>& results);
  [[noreturn]] void refusePartition(const tsql::Truncate& truncate);
  void changed(std::int64_t rows);
  std::string rowTable(int tableId);
  void openCursor(const tsql::OpenCursor& open);
  void fetchCursor(const tsql::FetchCursor& fetch);
  std::int64_t wantedRow(const tsql::FetchCursor& fetch, const Cursor& cursor);

  // batch_trigger.cpp
  /// Does all that belongs to a change of rows around `write`: tests and the trigger.
  std::int64_t change(const Plan& plan, const std::function<std::int64_t()>& write);
  std::int64_t fire(const Plan& plan, const std::function<std::int64_t()>& write);
  void runTrigger(const Firing& firing, std::int64_t rows);
  void rollBackTrigger(const tsql::RollbackTrigger& rollback);

  // batch_merge.cpp
  void merge(const tsql::Merge& merge);
  void runPart(const std::string& text, Outcome& outcome);

  // batch_temporary.cpp: temporary tables
  void createTemporary(const tsql::CreateTable& statement);
  /// Returns its name in SQLite.
  std::string addTemporary(TemporaryTable table, std::uint32_t line);
  void addConstraint(TemporaryTable& table, const tsql::Constraint& constraint,
                     const tsql::ColumnDefinition* column);
  struct TemporaryKey;
  void addIndex(TemporaryTable& table, const TemporaryKey& key);
  void createTemporaryIndex(const tsql::CreateIndex& statement);
  void dropTemporary(const tsql::ObjectName& name);
  void dropTemporaryIndex(const tsql::ObjectName& name);
  tsql::ServerError duplicateKeyError(const StoreError& error, std::uint32_t line);

  // batch_define.cpp
  void dropObjects(const tsql::Drop& statement);
  void define(const tsql::Statement& statement);
  void createSchema(const tsql::CreateSchema& schema);
  RowValues rowValues();
  void keepWithoutColumns(const tsql::CreateView& view, std::string_view text,
                          const UnknownDatabase& error);
  std::vector<NamedColumn> viewColumns(const tsql::Query& query);
  /// With the names in its variables.
  void permission(const tsql::Permission& statement);

  // batch_execute.cpp: procedures
  void executeProcedure(const tsql::Execute& execute, Outcome& outcome);
  void executeStored(const tsql::Execute& execute, const ObjectInfo& procedure, Outcome& outcome);
  void executeSystem(const tsql::Execute& execute, const std::string& name, Outcome& outcome);
  void executeText(const tsql::ExecuteImmediate& execute, Outcome& outcome);
  std::optional<std::string> argumentText(const tsql::ExecuteArgument& argument);

  Session& session_;
  Server& server_;
  std::shared_ptr<ParsedBatch> batch_;
  Outcome& outcome_;
  Variables variables_;
  KeptPlans plans_;  ///< those of the batch, which has none meanwhile
  std::vector<std::string> ownTemporaries_;
  std::set<std::string, std::less<>> createdLater_;
  bool compiling_ = false;
  std::string identityInsertTable_;  ///< while compiling: as the batch will have set it
  const tsql::Statement* current_ = nullptr;
  std::string gotoLabel_;
  int returnStatus_ = 0;
  std::optional<ColumnType> returns_;  ///< of a function
  Cell returned_;
};

/// Whether the statement only removes something and the error says that it is not there.
bool isAlreadyGone(const tsql::Statement& statement, const message::Kind& error);

}  // namespace kelvane::embedded
