#include "drivers/embedded/engine/batch.h"

#include <algorithm>
#include <utility>

#include "drivers/embedded/engine/batch_compiler.h"
#include "drivers/embedded/engine/definitions.h"
#include "drivers/embedded/engine/ignored.h"
#include "drivers/embedded/engine/merge_runner.h"
#include "drivers/embedded/engine/statement_kinds.h"
#include "drivers/embedded/engine/store_refusal.h"
#include "drivers/embedded/engine/typing.h"
#include "drivers/embedded/engine/utility.h"
#include "drivers/embedded/tsql/overloaded.h"

namespace kelvane::embedded {

using namespace tsql;

BatchRun::BatchRun(Session& session, std::shared_ptr<ParsedBatch> batch, Outcome& outcome)
    : session_(session), outcome_(outcome), frame_(session, std::move(batch)) {}

bool BatchRun::compile() {
  if (session_.options.parseOnly) return true;
  return BatchCompiler(frame_, reporter_, rows_).compile();
}

void BatchRun::run(std::optional<RowStream>* stream) {
  try {
    const Flow flow = runList(frame_.batch()->statements, stream);
    if (flow == Flow::Goto) {
      outcome_.notice({ServerMessage(message::labelNotDeclared, gotoLabel_)});
    }
  } catch (const BatchEnded&) {
  }
}

void BatchRun::runBody(const StatementList& body) {
  // However it ends.
  struct Cleanup {
    TemporaryWriter& temporaries;
    ~Cleanup() { temporaries.dropOwn(); }
  } cleanup{temporaries_};
  runList(body);
}

BatchRun::Flow BatchRun::runList(const StatementList& statements,
                                 std::optional<RowStream>* stream) {
  for (std::size_t i = 0; i < statements.size(); ++i) {
    const tsql::Statement& statement = *statements[i];
    const auto* query = std::get_if<SelectStatement>(&statement.node);
    const bool last = i + 1 == statements.size();
    const bool isTop = &statements == &frame_.batch()->statements;
    if (isTop && session_.calls.level == 0) session_.statementsLeft = statements.size() - i;
    const bool streams = !isIdle() && !session_.options.formatOnly && stream != nullptr && last &&
                         query != nullptr && query->query->terms.front().select.into.empty() &&
                         query->query->terms.front().select.items.front().variable.empty();
    if (streams) {
      frame_.enter(statement);
      try {
        Prepared& rows =
            frame_.prepared(&statement, [&](Translator& t) { return t.select(*query->query); });
        frame_.bind(rows);
        *stream = RowStream{rows.plan.columns, std::move(*rows.statement), lineOf(statement)};
        rows.statement.reset();
      } catch (const ServerError& error) {
        reporter_.report(statement, error);
      }
      return Flow::Next;
    }
    Flow flow = runStatement(statement);
    if (isTop) frame_.limitPlans();
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

// After `set noexec on` or `set parseonly on`.
bool BatchRun::isIdle() const { return session_.options.noExec || session_.options.parseOnly; }

BatchRun::Flow BatchRun::runStatement(const tsql::Statement& statement) {
  frame_.enter(statement);
  if (isIdle() && !std::holds_alternative<SetOption>(statement.node)) return Flow::Next;
  if (session_.caller.chained && session_.transactions.depth() == 0 && touchesRows(statement)) {
    session_.transactions.begin();
  }
  try {
    session_.server.steps.count();
    if (session_.options.formatOnly) {
      describe(statement);
      return Flow::Next;
    }
    const Flow flow = runNode(statement);
    for (const std::string& part : ignoredParts(statement)) reporter_.ignored("'" + part + "'");
    reporter_.cut();
    return flow;
  } catch (const ServerError& error) {
    if (error.is(message::sessionEnded)) session_.ended = true;
    reporter_.report(statement, error);
  } catch (const StoreError& error) {
    reporter_.report(statement, error.isDuplicateKey()
                                    ? temporaries_.duplicateKeyError(error, statement.range.line)
                                    : storeRefusal(error, statement.range.line));
  }
  return Flow::Next;
}

// After `set fmtonly on`: what the statement's results are like. No condition is tested.
void BatchRun::describe(const tsql::Statement& statement) {
  std::visit(Overloaded{
                 [&](const SelectStatement& s) { rows_.describe(s); },
                 [&](const Declare& s) { frame_.declare(s); },
                 [&](const Block& s) { runList(s.statements); },
                 [&](const If& s) {
                   runStatement(*s.then);
                   if (s.otherwise) runStatement(*s.otherwise);
                 },
                 [&](const While& s) { runStatement(*s.body); },
                 [&](const SetOption& s) { settings_.setOption(s); },
                 [&](const UseDatabase& s) { settings_.useDatabase(s); },
                 [&](const Execute& s) { calls_.call(s, outcome_); },
                 [](const auto&) {},
             },
             statement.node);
}

BatchRun::Flow BatchRun::runNode(const tsql::Statement& statement) {
  // Those that set @@error themselves.
  const auto plain = [](auto&& action) {
    action();
    return Flow::Next;
  };
  const auto simple = [&](auto&& action) {
    action();
    session_.last.error = 0;
    return Flow::Next;
  };
  return std::visit(
      Overloaded{
          [&](const SelectStatement& s) { return simple([&] { rows_.select(s); }); },
          [&](const Insert& s) { return simple([&] { rows_.insert(s); }); },
          [&](const Update& s) { return simple([&] { rows_.update(s); }); },
          [&](const Delete& s) { return simple([&] { rows_.remove(s); }); },
          [&](const Truncate& s) { return simple([&] { rows_.truncate(s); }); },
          [&](const Declare& s) {
            return simple([&] {
              frame_.declare(s);
              for (const VariableDeclaration& v : s.variables) {
                if (v.initial) setVariable(v.name, *v.initial, v.type.range.line);
              }
            });
          },
          [&](const SetVariables& s) {
            return simple([&] {
              for (const Assignment& a : s.assignments) {
                setVariable(a.variable, *a.value, a.range.line);
              }
              session_.last.rowCount = 1;
            });
          },
          [&](const Block& s) { return runList(s.statements); },
          [&](const If& s) {
            if (frame_.test(*s.condition)) return runStatement(*s.then);
            return s.otherwise ? runStatement(*s.otherwise) : Flow::Next;
          },
          [&](const While& s) { return runWhile(s); },
          [&](const Break&) { return Flow::Break; },
          [&](const Continue&) { return Flow::Continue; },
          [&](const Return& s) {
            const ColumnType status = intType(true);
            if (s.value && returns_) {
              returned_ = frame_.evaluate(*s.value, &*returns_);
            } else if (s.value) {
              const Cell value = frame_.evaluate(*s.value, &status);
              if (!isNull(value)) returnStatus_ = static_cast<int>(std::get<std::int64_t>(value));
            }
            return Flow::Return;
          },
          [&](const Goto& s) {
            gotoLabel_ = s.label;
            return Flow::Goto;
          },
          [&](const Label&) { return Flow::Next; },
          [&](const Print& s) { return simple([&] { reporter_.print(s); }); },
          [&](const RaiseError& s) { return plain([&] { reporter_.raiseError(s); }); },
          [&](const WaitFor&) { return Flow::Next; },
          [&](const Merge& s) {
            return simple([&] { MergeRunner(frame_, reporter_, rows_).run(s); });
          },
          [&](const SetOption& s) { return simple([&] { settings_.setOption(s); }); },
          [&](const Execute& s) { return plain([&] { calls_.call(s, outcome_); }); },
          [&](const ExecuteImmediate& s) { return plain([&] { calls_.callText(s, outcome_); }); },
          [&](const Transaction& s) {
            return simple([&] {
              if (!settings_.transact(s)) reporter_.ignored("the end of a transaction without one");
            });
          },
          [&](const RollbackTrigger& s) { return plain([&] { rollBackTrigger(s); }); },
          [&](const UseDatabase& s) { return simple([&] { settings_.useDatabase(s); }); },
          [&](const SetUser& s) { return simple([&] { settings_.setUser(s); }); },
          [&](const DeclareCursor& s) {
            return simple([&] { session_.cursors.declare(s, frame_.batch()); });
          },
          [&](const OpenCursor& s) { return simple([&] { rows_.openCursor(s); }); },
          [&](const FetchCursor& s) { return simple([&] { rows_.fetchCursor(s); }); },
          [&](const CloseCursor& s) {
            return simple([&] { session_.cursors.close(s.name, frame_.line()); });
          },
          [&](const DeallocateCursor& s) {
            return simple([&] { session_.cursors.deallocate(s.name, frame_.line()); });
          },
          [&](const Utility& s) { return simple([&] { runUtility(s, frame_, reporter_); }); },
          [&]<Definition Node>(const Node&) {
            return simple([&] { Definitions(frame_, reporter_, temporaries_).run(statement); });
          },
      },
      statement.node);
}

BatchRun::Flow BatchRun::runWhile(const While& loop) {
  while (frame_.test(*loop.condition)) {
    const Flow flow = runStatement(*loop.body);
    if (flow == Flow::Break) break;
    if (flow == Flow::Return || flow == Flow::Goto) return flow;
  }
  return Flow::Next;
}

Cell BatchRun::runFunction(const StatementList& body, const ColumnType& returns) {
  returns_ = returns;
  runBody(body);
  return std::move(returned_);
}

RowPlan BatchRun::rowPlan(const tsql::Statement& statement) { return rows_.rowPlan(statement); }

void BatchRun::setVariable(const std::string& name, const Expr& value, std::uint32_t line) {
  const ColumnType type = frame_.variable(name, line).type;
  frame_.assign(name, frame_.evaluate(value, &type), type);
}

void BatchRun::rollBackTrigger(const RollbackTrigger& rollback) {
  triggers_.rollBackTrigger([&] {
    if (rollback.raise) runStatement(*rollback.raise);
  });
}

}  // namespace kelvane::embedded
