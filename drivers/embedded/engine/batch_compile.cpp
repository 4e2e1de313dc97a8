// The look over a batch before any of it runs.

#include <algorithm>

#include "drivers/embedded/engine/batch.h"
#include "drivers/embedded/engine/typing.h"

namespace kelvane::embedded {

using namespace tsql;

namespace {

// How many statements do something, those inside of others counted.
int leafCount(const StatementList& statements);

int leafCount(const tsql::Statement* statement) {
  if (statement == nullptr) return 0;
  return std::visit(Overloaded{
                        [](const Block& block) { return leafCount(block.statements); },
                        [](const If& branch) {
                          return leafCount(branch.then.get()) + leafCount(branch.otherwise.get());
                        },
                        [](const While& loop) { return leafCount(loop.body.get()); },
                        [](const auto&) { return 1; },
                    },
                    statement->node);
}

int leafCount(const StatementList& statements) {
  int count = 0;
  for (const auto& statement : statements) count += leafCount(statement.get());
  return count;
}

}  // namespace

bool BatchRun::compile() {
  const Circumstances now = circumstances();
  if (batch_->checked == now && session_.temporaries.empty()) {
    variables_ = batch_->declared;
    return true;
  }
  compiling_ = true;
  identityInsertTable_ = session_.options.identityInsertTable;
  bool accepted = true;
  try {
    compileList(batch_->statements);
  } catch (const ServerError& error) {
    accepted = false;
    session_.lastError = error.number;
    Notice notice{error.toMessage(), error.line};
    if (notice.line == 0 && current_ != nullptr) notice.line = current_->range.line;
    notice.refused = true;
    // With other statements in the batch, those did not run either.
    notice.alreadyGone = current_ != nullptr && leafCount(batch_->statements) == 1 &&
                         isAlreadyGone(*current_, error);
    outcome_.notice(notice);
  }
  compiling_ = false;
  createdLater_.clear();
  batch_->checked.reset();
  if (accepted && session_.temporaries.empty()) {
    batch_->checked = now;
    batch_->declared = variables_;
  }
  return accepted;
}

void BatchRun::compileList(const StatementList& statements) {
  for (const auto& statement : statements) {
    compileStatement(*statement);
    if (&statements == &batch_->statements) limitPlans();
  }
}

void BatchRun::compileStatement(const tsql::Statement& statement) {
  current_ = &statement;
  try {
    compileParts(statement);
  } catch (const NotYetCreated&) {
    // Its names are looked up when it is its turn.
  }
}

void BatchRun::declare(const Declare& declare) {
  for (const VariableDeclaration& variable : declare.variables) {
    Caller caller = session_.caller;
    caller.line = variable.type.range.line;
    const ColumnType type = server_.catalog.resolveType(variable.type, caller);
    variables_[variable.name] = {withNullability(type, true), {}};
  }
}

void BatchRun::compileParts(const tsql::Statement& statement) {
  const auto translate = [&](const void* key, const Translate& how) { prepared(key, how); };
  const auto check = [&](const ExprPtr& expr) {
    if (!expr) return;
    translate(expr.get(), [&](Translator& t) { return t.values({expr.get()}); });
  };
  const auto checkCondition = [&](const Expr& condition) {
    try {
      translate(&condition, [&](Translator& t) { return t.test(condition); });
    } catch (const NotYetCreated&) {
    }
  };
  std::visit(Overloaded{
                 [&](const Declare& d) { declare(d); },
                 [&](const SelectStatement& s) {
                   const Select& first = s.query->terms.front().select;
                   // The text of a select into is made when its table is.
                   if (first.into.empty()) {
                     translate(&statement, [&](Translator& t) { return t.select(*s.query); });
                   } else {
                     try {
                       Translator(context()).selectInto(*s.query);
                     } catch (const NotYetCreated&) {
                     }
                     if (!first.intoExisting) createdLater_.insert(first.into.name);
                   }
                 },
                 [&](const Insert& s) {
                   if (std::holds_alternative<Execute>(s.source) ||
                       std::holds_alternative<ExecuteImmediate>(s.source)) {
                     Translator(context()).writeTarget(s.table);
                     return;
                   }
                   insertPlan(s);
                 },
                 [&](const Update& s) {
                   translate(&statement, [&](Translator& t) { return t.update(s); });
                 },
                 [&](const Delete& s) {
                   translate(&statement, [&](Translator& t) { return t.remove(s); });
                 },
                 [&](const Truncate& s) {
                   translate(&statement, [&](Translator& t) { return t.truncate(s); });
                 },
                 [&](const SetVariables& s) {
                   for (const Assignment& assignment : s.assignments) check(assignment.value);
                 },
                 [&](const Print& s) { check(s.format); },
                 [&](const Return& s) { check(s.value); },
                 [&](const Block& s) { compileList(s.statements); },
                 [&](const If& s) {
                   checkCondition(*s.condition);
                   compileStatement(*s.then);
                   if (s.otherwise) compileStatement(*s.otherwise);
                 },
                 [&](const While& s) {
                   checkCondition(*s.condition);
                   compileStatement(*s.body);
                 },
                 [&](const SetOption& s) {
                   if (const auto table = identityInsert(s)) identityInsertTable_ = *table;
                 },
                 [&](const CreateTable& s) { createdLater_.insert(s.name.name); },
                 [&](const CreateView& s) { createdLater_.insert(s.name.name); },
                 [](const auto&) {},
             },
             statement.node);
}

}  // namespace kelvane::embedded
