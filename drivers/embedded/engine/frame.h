// What one run of a batch, or of a body, works with: its variables and its plans. Translates and
// executes statements of the tree and evaluates expressions.
//
// Refers to the session, which must outlive it.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "drivers/embedded/engine/plan_cache.h"
#include "drivers/embedded/engine/session.h"
#include "drivers/embedded/engine/translator.h"
#include "drivers/embedded/engine/write_target.h"

namespace kelvane::embedded {

/// What a look over a batch before it runs has found so far.
struct BeforeRun {
  /// Tables and views that will be there when it is the statement's turn.
  std::set<std::string, std::less<>> created;
  std::string identityInsertTable, identityUpdateTable;
};

class Frame {
 public:
  Frame(Session& session, std::shared_ptr<ParsedBatch> batch);
  Frame(const Frame&) = delete;
  Frame& operator=(const Frame&) = delete;

  Session& session() { return session_; }
  Server& server() { return session_.server; }
  Catalog& catalog() { return session_.server.catalog; }
  const std::shared_ptr<ParsedBatch>& batch() const { return batch_; }
  std::uint32_t line() const { return session_.caller.line; }

  /// From here on the statement is the one that runs, or that is looked at before.
  void enter(const tsql::Statement& statement);
  void lookAt(const tsql::Statement& statement) { current_ = &statement; }
  /// Null before the first.
  const tsql::Statement* current() const { return current_; }
  /// After something else has run in between: what runs is at `line` and sees these variables.
  void resume(std::uint32_t line);
  /// While it is set, statements are translated for a run that is still to come.
  void setBeforeRun(const BeforeRun* found) { beforeRun_ = found; }

  // variables

  Variables& variables() { return variables_; }
  void declare(const tsql::Declare& declare);
  /// Throws 137 where there is none of the name.
  Variable& variable(const std::string& name, std::uint32_t line);
  void assign(const std::string& name, const Cell& value, const ColumnType& from);
  /// Its value as a text; empty for null.
  /// Of an assignment.
  ConversionForm implicitForm() const;
  static std::string textOf(const Variable& variable);

  // expressions

  bool test(const tsql::Expr& condition);
  Cell evaluate(const tsql::Expr& expr, const ColumnType* as = nullptr);
  /// As a text; none for null.
  std::optional<std::string> textOrNull(const tsql::Expr& expr);
  std::string text(const tsql::Expr& expr) { return textOrNull(expr).value_or(""); }
  std::vector<std::string> texts(std::span<const tsql::ExprPtr> expressions);

  // plans

  TranslationContext context() const;
  Circumstances circumstances() const;
  using Translate = std::function<Plan(Translator&)>;
  /// The plan for a node of the tree, kept from before where it still serves.
  Prepared& prepared(const void* node, const Translate& translate);
  /// A plan that is not kept.
  Plan plan(const Translate& translate) const { return plan(translate, context()); }
  WriteTarget writeTarget(const tsql::ObjectName& table) const;
  /// Tests of all foreign keys of a table.
  std::vector<std::string> orphanTests(const tsql::ObjectName& table) const;
  void giveBack(Prepared& prepared) { plans_.giveBack(prepared); }
  void giveBackStatements() { plans_.giveBackStatements(); }
  void limitPlans() { plans_.limit(); }

  void bind(Prepared& prepared, const Row* bound = nullptr) { bind(prepared, bound, *batch_); }
  bool step(Prepared& prepared);
  /// Binds it and runs it to its end; returns how many rows it changed.
  std::int64_t execute(Prepared& prepared, const Row* bound = nullptr);
  /// All rows of a query, each of which counts as a step.
  ResultSet rows(const Translate& translate) { return rows(translate, *batch_); }
  /// The query is one of another batch.
  ResultSet rows(const Translate& translate, const ParsedBatch& batch);
  /// Queries of Plan::tests.
  void runTests(const std::vector<std::string>& tests);

 private:
  /// Whether the statement at hand may give values to an identity column.
  bool writesIdentity() const;
  static Plan plan(const Translate& translate, const TranslationContext& context);
  void bind(Prepared& prepared, const Row* bound, const ParsedBatch& batch);
  Cell sessionFact(std::string_view name) const;
  Cell parameterValue(const Parameter& parameter, const Row* bound, const ParsedBatch& batch) const;

  Session& session_;
  std::shared_ptr<ParsedBatch> batch_;
  Variables variables_;
  PlanCache plans_;
  const tsql::Statement* current_ = nullptr;
  const BeforeRun* beforeRun_ = nullptr;
};

}  // namespace kelvane::embedded
