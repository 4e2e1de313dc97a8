#include "drivers/embedded/engine/batch.h"

#include <algorithm>

#include "drivers/embedded/engine/convert.h"
#include "drivers/embedded/engine/ignored.h"
#include "drivers/embedded/engine/statement_kinds.h"
#include "drivers/embedded/engine/typing.h"
#include "drivers/embedded/engine/walk.h"

namespace kelvane::embedded {

using namespace tsql;

namespace {

bool removesOnly(const tsql::Statement& statement) {
  return std::visit(Overloaded{
                        [](const Drop&) { return true; },
                        [](const EncryptionKey& s) { return s.action == KeyAction::Drop; },
                        [](const Delete&) { return true; },
                        [](const Truncate&) { return true; },
                        [](const AlterTable& alter) {
                          return std::ranges::all_of(alter.actions, [](const AlterAction& action) {
                            return std::holds_alternative<DropColumn>(action) ||
                                   std::holds_alternative<DropConstraint>(action);
                          });
                        },
                        [](const Permission& p) { return p.action == PermissionAction::Revoke; },
                        [](const Execute& e) { return e.procedure.name.starts_with("sp_drop"); },
                        [](const auto&) { return false; },
                    },
                    statement.node);
}

// Statements that begin a transaction in chained mode.
bool touchesRows(const tsql::Statement& statement) {
  return std::visit(Overloaded{
                        [](const SelectStatement&) { return true; },
                        [](const Insert&) { return true; },
                        [](const Update&) { return true; },
                        [](const Delete&) { return true; },
                        [](const OpenCursor&) { return true; },
                        [](const FetchCursor&) { return true; },
                        [](const auto&) { return false; },
                    },
                    statement.node);
}

// Where to say that something is wrong. A definition with a stored text begins with the batch, with
// the comments before it.
std::uint32_t lineOf(const tsql::Statement& statement) {
  return std::visit(Overloaded{
                        [](const CreateView& s) { return s.name.range.line; },
                        [](const CreateProcedure& s) { return s.name.range.line; },
                        [](const CreateFunction& s) { return s.name.range.line; },
                        [](const CreateTrigger& s) { return s.name.range.line; },
                        [](const CreateRule& s) { return s.name.range.line; },
                        [](const CreateDefault& s) { return s.name.range.line; },
                        [&](const auto&) { return statement.range.line; },
                    },
                    statement.node);
}

}  // namespace

bool isAlreadyGone(const tsql::Statement& statement, const message::Kind& error) {
  return error.saysGone() && removesOnly(statement);
}

BatchRun::BatchRun(Session& session, std::shared_ptr<ParsedBatch> batch, Outcome& outcome)
    : session_(session),
      server_(session.server),
      batch_(std::move(batch)),
      outcome_(outcome),
      plans_(std::exchange(batch_->plans, {})) {}

BatchRun::~BatchRun() { returnPlans(); }

void BatchRun::run(std::optional<RowStream>* stream) {
  try {
    const Flow flow = runList(batch_->statements, stream);
    if (flow == Flow::Goto) {
      outcome_.notice({ServerMessage(message::labelNotDeclared, gotoLabel_)});
    }
  } catch (const BatchEnded&) {
  }
}

void BatchRun::runBody(const StatementList& body) {
  // Temporary tables that a procedure makes go when it ends, however it does.
  struct Cleanup {
    BatchRun& run;
    ~Cleanup() {
      for (const std::string& name : run.ownTemporaries_) run.session_.dropTemporary(name);
    }
  } cleanup{*this};
  runList(body);
}

BatchRun::Flow BatchRun::runList(const StatementList& statements,
                                 std::optional<RowStream>* stream) {
  for (std::size_t i = 0; i < statements.size(); ++i) {
    const tsql::Statement& statement = *statements[i];
    const auto* query = std::get_if<SelectStatement>(&statement.node);
    const bool last = i + 1 == statements.size();
    const bool streams = stream != nullptr && last && query != nullptr &&
                         query->query->terms.front().select.into.empty() &&
                         query->query->terms.front().select.items.front().variable.empty();
    if (streams) {
      enter(statement);
      try {
        Prepared& rows =
            prepared(&statement, [&](Translator& t) { return t.select(*query->query); });
        bind(rows);
        *stream = RowStream{rows.plan.columns, std::move(*rows.statement), lineOf(statement)};
        rows.statement.reset();
      } catch (const ServerError& error) {
        report(statement, error);
      }
      return Flow::Next;
    }
    Flow flow = runStatement(statement);
    if (&statements == &batch_->statements) limitPlans();
    if (flow == Flow::Goto) {
      const auto label = std::ranges::find_if(statements, [&](const StatementPtr& candidate) {
        const auto* found = std::get_if<Label>(&candidate->node);
        return found != nullptr && found->name == gotoLabel_;
      });
      if (label == statements.end()) return flow;
      i = static_cast<std::size_t>(label - statements.begin());
      continue;
    }
    if (flow != Flow::Next) return flow;
  }
  return Flow::Next;
}

void BatchRun::enter(const tsql::Statement& statement) {
  current_ = &statement;
  session_.takeOver();
  server_.running.variables = &variables_;
  server_.running.beginStatement();
  session_.caller.line = lineOf(statement);
}

BatchRun::Flow BatchRun::runStatement(const tsql::Statement& statement) {
  enter(statement);
  if (session_.caller.chained && session_.transactionDepth == 0 && touchesRows(statement)) {
    transact({TransactionAction::Begin, {}});
  }
  try {
    server_.countStep();
    const Flow flow = runNode(statement);
    for (const std::string& part : ignoredParts(statement)) ignored("'" + part + "'");
    return flow;
  } catch (const ServerError& error) {
    if (error.is(message::sessionEnded)) session_.ended = true;
    report(statement, error);
  } catch (const StoreError& error) {
    report(statement, error.isDuplicateKey()
                          ? duplicateKeyError(error, statement.range.line)
                          : ServerError(message::storeRefused, statement.range.line, error.what()));
  }
  return Flow::Next;
}

bool BatchRun::tell(const tsql::Statement& statement, const ServerError& error) {
  session_.lastError = error.number;
  session_.rowCount = 0;
  // The store undoes all when it is stopped while it writes.
  if (!server_.catalog.store().inTransaction()) session_.acceptRollBack();
  Notice notice{error.toMessage(), error.line == 0 ? lineOf(statement) : error.line};
  notice.alreadyGone = isAlreadyGone(statement, error);
  outcome_.notice(notice);
  return notice.alreadyGone;
}

// Ends the batch unless the error is one of a statement alone: what comes after a removal that
// found nothing must still happen.
void BatchRun::report(const tsql::Statement& statement, const ServerError& error) {
  const bool goesOn = tell(statement, error) || !error.endsBatch();
  if (!goesOn) throw BatchEnded{};
}

BatchRun::Flow BatchRun::runNode(const tsql::Statement& statement) {
  // Those that set @@error themselves.
  const auto plain = [](auto&& action) {
    action();
    return Flow::Next;
  };
  const auto simple = [&](auto&& action) {
    action();
    session_.lastError = 0;
    return Flow::Next;
  };
  return std::visit(
      Overloaded{
          [&](const SelectStatement& s) { return simple([&] { select(s); }); },
          [&](const Insert& s) { return simple([&] { insert(s); }); },
          [&](const Update& s) {
            return simple([&] {
              changed(change(prepared(&statement, [&](Translator& t) { return t.update(s); })));
            });
          },
          [&](const Delete& s) {
            return simple([&] {
              changed(change(prepared(&statement, [&](Translator& t) { return t.remove(s); })));
            });
          },
          [&](const Truncate& s) {
            return simple([&] {
              if (!s.partition.empty()) refusePartition(s);
              change(prepared(&statement, [&](Translator& t) { return t.truncate(s); }));
            });
          },
          [&](const Declare& s) {
            return simple([&] {
              declare(s);
              for (const VariableDeclaration& v : s.variables) {
                if (v.initial)
                  assign(v.name, evaluate(*v.initial, &variables_[v.name].type),
                         variables_[v.name].type);
              }
            });
          },
          [&](const SetVariables& s) {
            return simple([&] {
              for (const Assignment& a : s.assignments) {
                const auto found = variables_.find(a.variable);
                if (found == variables_.end()) {
                  throw ServerError(message::undeclaredVariable, a.range.line, a.variable);
                }
                assign(a.variable, evaluate(*a.value, &found->second.type), found->second.type);
              }
              session_.rowCount = 1;
            });
          },
          [&](const Block& s) { return runList(s.statements); },
          [&](const If& s) {
            if (test(*s.condition)) return runStatement(*s.then);
            return s.otherwise ? runStatement(*s.otherwise) : Flow::Next;
          },
          [&](const While& s) { return runWhile(s); },
          [&](const Break&) { return Flow::Break; },
          [&](const Continue&) { return Flow::Continue; },
          [&](const Return& s) {
            const ColumnType status = intType(true);
            if (s.value && returns_) {
              returned_ = evaluate(*s.value, &*returns_);
            } else if (s.value) {
              const Cell value = evaluate(*s.value, &status);
              if (!isNull(value)) returnStatus_ = static_cast<int>(std::get<std::int64_t>(value));
            }
            return Flow::Return;
          },
          [&](const Goto& s) {
            gotoLabel_ = s.label;
            return Flow::Goto;
          },
          [&](const Label&) { return Flow::Next; },
          [&](const Print& s) { return simple([&] { print(s); }); },
          [&](const RaiseError& s) { return plain([&] { raiseError(s); }); },
          [&](const WaitFor&) { return Flow::Next; },
          [&](const Merge& s) { return simple([&] { merge(s); }); },
          [&](const SetOption& s) { return simple([&] { setOption(s); }); },
          [&](const Execute& s) { return plain([&] { executeProcedure(s, outcome_); }); },
          [&](const ExecuteImmediate& s) { return plain([&] { executeText(s, outcome_); }); },
          [&](const Transaction& s) { return simple([&] { transact(s); }); },
          [&](const RollbackTrigger& s) { return plain([&] { rollBackTrigger(s); }); },
          [&](const UseDatabase& s) { return simple([&] { useDatabase(s); }); },
          [&](const SetUser& s) { return simple([&] { setUser(s); }); },
          [&](const DeclareCursor& s) {
            return simple(
                [&] { session_.cursors[s.name] = {batch_, s.query.get(), {}, 0, 0, s.scroll}; });
          },
          [&](const OpenCursor& s) { return simple([&] { openCursor(s); }); },
          [&](const FetchCursor& s) { return simple([&] { fetchCursor(s); }); },
          [&](const CloseCursor& s) {
            return simple([&] {
              const auto found = session_.cursors.find(s.name);
              if (found != session_.cursors.end()) found->second.rows.reset();
            });
          },
          [&](const DeallocateCursor& s) {
            return simple([&] { session_.cursors.erase(s.name); });
          },
          [&](const Utility& s) { return simple([&] { utility(s); }); },
          [&]<Definition Node>(const Node&) { return simple([&] { define(statement); }); },
      },
      statement.node);
}

BatchRun::Flow BatchRun::runWhile(const While& loop) {
  while (test(*loop.condition)) {
    const Flow flow = runStatement(*loop.body);
    if (flow == Flow::Break) break;
    if (flow == Flow::Return || flow == Flow::Goto) return flow;
  }
  return Flow::Next;
}

bool BatchRun::test(const Expr& condition) {
  Prepared& plan = prepared(&condition, [&](Translator& t) { return t.test(condition); });
  bind(plan);
  const bool holds = step(plan) && plan.statement->integer(0) != 0;
  giveBack(plan);
  // A test is a statement like any other to @@error, which it may have just read.
  session_.lastError = 0;
  return holds;
}

Cell BatchRun::evaluate(const Expr& expr, const ColumnType* type) {
  Prepared& plan = prepared(&expr, [&](Translator& t) { return t.values({&expr}); });
  bind(plan);
  Cell value;
  if (step(plan)) value = plan.statement->cell(0);
  giveBack(plan);
  if (type == nullptr || isNull(value)) return value;
  const ColumnType& from = plan.plan.columns[0].type;
  requireImplicit(from.kind, type->kind, expr.range.line);
  return convertCell(value, from, *type, 0, expr.range.line);
}

std::string BatchRun::text(const Expr& expr) {
  Prepared& plan = prepared(&expr, [&](Translator& t) { return t.values({&expr}); });
  const Cell value = evaluate(expr);
  return isNull(value) ? "" : textOf(value, plan.plan.columns[0].type, 0);
}

std::vector<std::string> BatchRun::texts(std::span<const ExprPtr> expressions) {
  std::vector<std::string> result;
  result.reserve(expressions.size());
  for (const ExprPtr& expr : expressions) result.push_back(text(*expr));
  return result;
}

void BatchRun::assign(const std::string& name, const Cell& value, const ColumnType& from) {
  const auto found = variables_.find(name);
  if (found == variables_.end()) {
    throw ServerError(message::undeclaredVariable, 0, name);
  }
  Variable& variable = found->second;
  if (!isNull(value)) requireImplicit(from.kind, variable.type.kind, session_.caller.line);
  variable.value = convertCell(value, from, variable.type, 0, session_.caller.line);
}

void BatchRun::print(const Print& print) {
  const std::vector<std::string> arguments = texts(print.arguments);
  outcome_.notice({ServerMessage::printed(message::filled(text(*print.format), arguments)),
                   session_.caller.line});
}

void BatchRun::raiseError(const RaiseError& raise) {
  const ColumnType number = intType(true);
  const Cell value = evaluate(*raise.number, &number);
  const std::vector<std::string> arguments = texts(raise.arguments);
  session_.lastError = isNull(value) ? 0 : std::get<std::int64_t>(value);
  const std::string format = raise.format ? text(*raise.format) : "";
  outcome_.notice({ServerMessage::raised(static_cast<int>(session_.lastError),
                                         message::filled(format, arguments)),
                   session_.caller.line});
}

}  // namespace kelvane::embedded
