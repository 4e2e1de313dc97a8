#include "drivers/embedded/engine/frame.h"

#include <algorithm>
#include <utility>

#include "drivers/embedded/engine/convert.h"
#include "drivers/embedded/engine/globals.h"
#include "drivers/embedded/engine/statement_kinds.h"
#include "drivers/embedded/engine/trigger_runner.h"
#include "drivers/embedded/engine/typing.h"
#include "drivers/embedded/engine/write_translator.h"

namespace kelvane::embedded {

using tsql::ServerError;

Frame::Frame(Session& session, std::shared_ptr<ParsedBatch> batch)
    : session_(session), batch_(std::move(batch)), plans_(*batch_, session.server.statements) {}

void Frame::enter(const tsql::Statement& statement) {
  current_ = &statement;
  session_.takeOver();
  session_.server.running.variables = &variables_;
  session_.server.running.beginStatement();
  session_.caller.line = lineOf(statement);
}

void Frame::resume(std::uint32_t line) {
  session_.caller.line = line;
  session_.server.running.variables = &variables_;
}

// variables

void Frame::declare(const tsql::Declare& declare) {
  for (const tsql::VariableDeclaration& variable : declare.variables) {
    Caller caller = session_.caller;
    caller.line = variable.type.range.line;
    const ColumnType type = session_.server.catalog.resolveType(variable.type, caller);
    variables_[variable.name] = {withNullability(type, true), {}};
  }
}

Variable& Frame::variable(const std::string& name, std::uint32_t line) {
  const auto found = variables_.find(name);
  if (found == variables_.end()) throw ServerError(message::undeclaredVariable, line, name);
  return found->second;
}

void Frame::assign(const std::string& name, const Cell& value, const ColumnType& from) {
  constexpr std::uint32_t kOfStatement = 0;
  Variable& target = variable(name, kOfStatement);
  if (!isNull(value)) requireImplicit(from.kind, target.type.kind, line());
  target.value = convertCell(value, from, target.type, {implicitForm(), 0, line()});
}

ConversionForm Frame::implicitForm() const {
  return session_.options.numericTruncation ? ConversionForm::Implicit
                                            : ConversionForm::ImplicitCut;
}

std::string Frame::textOf(const Variable& variable) {
  return isNull(variable.value) ? "" : embedded::textOf(variable.value, variable.type, 0);
}

// expressions

bool Frame::test(const tsql::Expr& condition) {
  Prepared& plan = prepared(&condition, [&](Translator& t) { return t.test(condition); });
  bind(plan);
  const bool holds = step(plan) && plan.statement->integer(0) != 0;
  giveBack(plan);
  // A test is a statement like any other to @@error, which it may have just read.
  session_.last.error = 0;
  return holds;
}

Cell Frame::evaluate(const tsql::Expr& expr, const ColumnType* type) {
  Prepared& plan = prepared(&expr, [&](Translator& t) { return t.values({&expr}); });
  bind(plan);
  Cell value;
  if (step(plan)) value = plan.statement->cell(0);
  giveBack(plan);
  if (type == nullptr || isNull(value)) return value;
  const ColumnType& from = plan.plan.columns[0].type;
  requireImplicit(from.kind, type->kind, expr.range.line);
  return convertCell(value, from, *type, {implicitForm(), 0, expr.range.line});
}

std::optional<std::string> Frame::textOrNull(const tsql::Expr& expr) {
  Prepared& plan = prepared(&expr, [&](Translator& t) { return t.values({&expr}); });
  const Cell value = evaluate(expr);
  if (isNull(value)) return std::nullopt;
  return embedded::textOf(value, plan.plan.columns[0].type, 0);
}

std::vector<std::string> Frame::texts(std::span<const tsql::ExprPtr> expressions) {
  std::vector<std::string> result;
  result.reserve(expressions.size());
  for (const tsql::ExprPtr& expr : expressions) result.push_back(text(*expr));
  return result;
}

// plans

TranslationContext Frame::context() const {
  Server& server = session_.server;
  TranslationContext context{server.catalog, session_.caller, session_.temporaries, variables_};
  context.beforeRun = beforeRun_ != nullptr;
  context.rowLimit = session_.options.rowLimit;
  context.systemColumns = &server.systemColumns;
  context.ansiNull = session_.options.ansiNull;
  context.stringRtruncation = session_.options.stringRtruncation;
  context.numericTruncation = session_.options.numericTruncation;
  context.rowRules = &server.rowRules;
  context.tableColumns = &server.tableColumns;
  context.namesVersion = server.namesVersion();
  if (beforeRun_ != nullptr) context.createdLater = &beforeRun_->created;
  context.writesIdentity = writesIdentity();
  context.texts = batch_->texts;
  return context;
}

bool Frame::writesIdentity() const {
  if (current_ == nullptr) return false;
  const SessionOptions& options = session_.options;
  if (const auto* insert = std::get_if<tsql::Insert>(&current_->node)) {
    return insert->table.name ==
           (beforeRun_ != nullptr ? beforeRun_->identityInsertTable : options.identityInsertTable);
  }
  const auto* update = std::get_if<tsql::Update>(&current_->node);
  return update != nullptr &&
         update->target.name == (beforeRun_ != nullptr ? beforeRun_->identityUpdateTable
                                                       : options.identityUpdateTable);
}

Circumstances Frame::circumstances() const {
  const SessionOptions& options = session_.options;
  return {session_.server.namesVersion(),
          session_.caller.uid,
          session_.caller.database,
          options.rowLimit,
          writesIdentity(),
          options.ansiNull,
          options.stringRtruncation,
          options.numericTruncation};
}

Prepared& Frame::prepared(const void* node, const Translate& translate) {
  return plans_.plan(node, {circumstances(), variables_, session_.temporaries},
                     [&] { return plan(translate); });
}

Plan Frame::plan(const Translate& translate, const TranslationContext& context) {
  Translator translator(context);
  return translate(translator);
}

WriteTarget Frame::writeTarget(const tsql::ObjectName& table) const {
  const TranslationContext made = context();
  Translator translator(made);
  return WriteTranslator(translator).writeTarget(table);
}

std::vector<std::string> Frame::orphanTests(const tsql::ObjectName& table) const {
  const TranslationContext made = context();
  Translator translator(made);
  WriteTranslator write(translator);
  return write.orphanTests(write.writeTarget(table));
}

Cell Frame::parameterValue(const Parameter& parameter, const Row* bound,
                           const ParsedBatch& batch) const {
  switch (parameter.source) {
    case Parameter::Source::Variable:
      return variables_.at(parameter.name).value;
    case Parameter::Source::Global:
      return globalVariable(parameter.name, session_);
    case Parameter::Source::Text:
      return batch.texts[parameter.position];
    case Parameter::Source::Literal:
    case Parameter::Source::Number:
    case Parameter::Source::Real:
      return constantValue(parameter).value();
    case Parameter::Source::Bound:
      return bound->at(parameter.position);
    case Parameter::Source::Written:
      return std::int64_t{session_.firing != nullptr &&
                          session_.firing->hasWritten(parameter.name)};
    case Parameter::Source::Session:
      break;
  }
  return sessionFact(parameter.name);
}

Cell Frame::sessionFact(std::string_view name) const {
  if (name == "uid") return std::int64_t{session_.caller.uid};
  if (name == "database") return session_.caller.database;
  const Client& client = session_.client();
  if (name == "login") return session_.login();
  return name == "host" ? client.host : client.process;
}

void Frame::bind(Prepared& prepared, const Row* bound, const ParsedBatch& batch) {
  Statement& statement = plans_.statement(prepared);
  // A parameter may have vanished from the text with the comparison that it was in.
  const auto used = std::min(prepared.plan.parameters.size(),
                             static_cast<std::size_t>(statement.parameterCount()));
  for (std::size_t i = 0; i < used; ++i) {
    statement.bind(static_cast<int>(i) + 1,
                   parameterValue(prepared.plan.parameters[i], bound, batch));
  }
}

bool Frame::step(Prepared& prepared) {
  struct Counted {
    bool& counted;
    ~Counted() { counted = false; }
  } counted{session_.server.running.counted};
  counted.counted = true;
  return prepared.statement->step();
}

std::int64_t Frame::execute(Prepared& prepared, const Row* bound) {
  bind(prepared, bound);
  while (step(prepared)) {
  }
  const std::int64_t rows = session_.server.catalog.store().changes();
  giveBack(prepared);
  return rows;
}

ResultSet Frame::rows(const Translate& translate, const ParsedBatch& batch) {
  TranslationContext made = context();
  made.texts = batch.texts;
  Prepared rows;
  rows.plan = plan(translate, made);
  bind(rows, nullptr, batch);
  ResultSet result{rows.plan.columns, {}};
  while (step(rows)) {
    session_.server.steps.count();
    result.rows.push_back(rowOf(*rows.statement));
  }
  giveBack(rows);
  return result;
}

void Frame::runTests(const std::vector<std::string>& tests) {
  KeptStatements& statements = session_.server.statements;
  for (const std::string& test : tests) {
    Statement statement = statements.take(test);
    statement.step();
    statements.giveBack(test, std::move(statement));
  }
}

}  // namespace kelvane::embedded
