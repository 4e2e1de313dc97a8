#include "drivers/embedded/engine/batch_compiler.h"

#include "drivers/embedded/engine/set_options.h"
#include "drivers/embedded/engine/write_translator.h"
#include "drivers/embedded/tsql/ast.h"

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

bool BatchCompiler::compile() {
  Session& session = frame_.session();
  ParsedBatch& batch = *frame_.batch();
  const Circumstances now = frame_.circumstances();
  if (batch.checked == now && session.temporaries.empty()) {
    frame_.variables() = batch.declared;
    return true;
  }
  found_.identityInsertTable = session.options.identityInsertTable;
  found_.identityUpdateTable = session.options.identityUpdateTable;
  bool accepted = true;
  frame_.setBeforeRun(&found_);
  try {
    list(batch.statements);
  } catch (const ServerError& error) {
    accepted = false;
    reporter_.refused(error, leafCount(batch.statements) == 1);
  }
  batch.checked.reset();
  if (accepted && session.temporaries.empty()) {
    batch.checked = now;
    batch.declared = frame_.variables();
  }
  return accepted;
}

void BatchCompiler::list(const StatementList& statements) {
  const bool isTop = &statements == &frame_.batch()->statements;
  Session& session = frame_.session();
  for (std::size_t i = 0; i < statements.size(); ++i) {
    if (isTop && session.calls.level == 0) session.statementsLeft = statements.size() - i;
    statement(*statements[i]);
    if (isTop) frame_.limitPlans();
  }
}

void BatchCompiler::statement(const tsql::Statement& statement) {
  frame_.lookAt(statement);
  try {
    parts(statement);
  } catch (const NotYetCreated&) {
    // Its names are looked up when it is its turn.
  }
}

void BatchCompiler::parts(const tsql::Statement& statement) {
  const auto translate = [&](const void* key, const Frame::Translate& how) {
    frame_.prepared(key, how);
  };
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
  std::visit(
      Overloaded{
          [&](const Declare& d) { frame_.declare(d); },
          [&](const SelectStatement& s) {
            const Select& first = s.query->terms.front().select;
            // The text of a select into is made when its table is.
            if (first.into.empty()) {
              translate(&statement, [&](Translator& t) { return t.select(*s.query); });
            } else {
              try {
                frame_.plan([&](Translator& t) { return t.selectInto(*s.query); });
              } catch (const NotYetCreated&) {
              }
              if (!first.intoExisting) found_.created.insert(first.into.name);
            }
          },
          [&](const Insert& s) { rows_.insertPlan(s); },
          [&](const Update& s) {
            translate(&statement, [&](Translator& t) { return WriteTranslator(t).update(s); });
          },
          [&](const Delete& s) {
            translate(&statement, [&](Translator& t) { return WriteTranslator(t).remove(s); });
          },
          [&](const Truncate& s) {
            translate(&statement, [&](Translator& t) { return WriteTranslator(t).truncate(s); });
          },
          [&](const SetVariables& s) {
            for (const Assignment& assignment : s.assignments) check(assignment.value);
          },
          [&](const Print& s) { check(s.format); },
          [&](const Return& s) { check(s.value); },
          [&](const Block& s) { list(s.statements); },
          [&](const If& s) {
            checkCondition(*s.condition);
            this->statement(*s.then);
            if (s.otherwise) this->statement(*s.otherwise);
          },
          [&](const While& s) {
            checkCondition(*s.condition);
            this->statement(*s.body);
          },
          [&](const SetOption& s) {
            if (const auto table = identityInsertTable(s)) found_.identityInsertTable = *table;
            if (const auto table = identityUpdateTable(s)) found_.identityUpdateTable = *table;
          },
          [&](const CreateTable& s) { found_.created.insert(s.name.name); },
          [&](const CreateView& s) { found_.created.insert(s.name.name); },
          [](const auto&) {},
      },
      statement.node);
}

}  // namespace kelvane::embedded
