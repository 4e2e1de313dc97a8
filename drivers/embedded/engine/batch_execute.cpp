// Procedures: those of the server, those that a script stored, and texts made at run time.

#include <algorithm>

#include "drivers/embedded/engine/batch.h"
#include "drivers/embedded/engine/called.h"
#include "drivers/embedded/engine/convert.h"
#include "drivers/embedded/engine/typing.h"
#include "drivers/embedded/engine/walk.h"

namespace kelvane::embedded {

using namespace tsql;

namespace {

constexpr const char* kSharedProcedures = "sybsystemprocs";

ServerError procedureNotFound(const std::string& name, std::uint32_t line) {
  return ServerError(message::procedureNotFound, line, name);
}

}  // namespace

std::optional<std::string> BatchRun::argumentText(const ExecuteArgument& argument) {
  if (!argument.value) return std::nullopt;
  Prepared& plan = prepared(argument.value.get(),
                            [&](Translator& t) { return t.values({argument.value.get()}); });
  const Cell value = evaluate(*argument.value);
  if (isNull(value)) return std::nullopt;
  return textOf(value, plan.plan.columns[0].type, 0);
}

void BatchRun::executeProcedure(const Execute& execute, Outcome& outcome) {
  ObjectName name = execute.procedure;
  if (!execute.procedureVariable.empty()) {
    const auto found = variables_.find(execute.procedureVariable);
    if (found == variables_.end()) {
      throw ServerError(message::undeclaredVariable, session_.caller.line,
                        execute.procedureVariable);
    }
    if (!isNull(found->second.value))
      name.name = textOf(found->second.value, found->second.type, 0);
  }
  const std::uint32_t line = session_.caller.line;
  auto object = server_.catalog.findObject(name, session_.caller);
  if (!object && name.database.empty() && name.name.starts_with("sp_")) {
    // Procedures of every database, which run in the one that they are called from.
    name.database = kSharedProcedures;
    object = server_.catalog.findObject(name, session_.caller);
    name.database.clear();
  }
  if (object && object->type == "P") {
    executeStored(execute, *object, outcome);
  } else if (object && object->type == "XP") {
    throw ServerError(message::libraryProcedure, line, name.name);
  } else {
    executeSystem(execute, name.name, outcome);
  }
  session_.caller.line = line;
  server_.running.variables = &variables_;
}

void BatchRun::executeSystem(const Execute& execute, const std::string& name, Outcome& outcome) {
  std::vector<ProcedureArgument> arguments;
  arguments.reserve(execute.arguments.size());
  for (const ExecuteArgument& argument : execute.arguments) {
    arguments.push_back({argument.name, argumentText(argument)});
  }
  const InDatabase there(session_, execute.procedure.database);
  const ProcedureCall call{name, std::move(arguments), session_.caller};
  int status = 0;
  bool begun = false;
  const auto written = [&] {
    Database& store = server_.catalog.store();
    return std::pair(store.totalChanges(), store.undoLog().changes());
  };
  const auto before = written();
  try {
    const auto result = server_.catalog.callSystemProcedure(call);
    if (!result) {
      throw procedureNotFound(name, session_.caller.line);
    }
    outcome.beginProcedure(name);
    begun = true;
    status = result->status;
    for (const ServerMessage& message : result->messages) {
      Notice notice{message, session_.caller.line};
      if (notice.isError()) {
        session_.lastError = message.number;
        notice.alreadyGone = isAlreadyGone(*current_, message);
      }
      outcome.notice(notice);
    }
    for (const std::string& what : result->ignored) ignored(name + ": " + what);
    for (const ResultSet& rows : result->resultSets) {
      outcome.beginRows(rows.columns);
      for (const Row& row : rows.rows) outcome.row(row);
    }
  } catch (const ServerError& error) {
    if (error.is(message::procedureNotFound)) throw;
    if (!begun) outcome.beginProcedure(name);
    // A system procedure says what is wrong and returns; the batch goes on.
    status = 1;
    session_.lastError = error.number;
    Notice notice{error.toMessage(), session_.caller.line};
    notice.alreadyGone = isAlreadyGone(*current_, error);
    outcome.notice(notice);
  }
  outcome.endProcedure(status);
  if (written() != before) server_.namesChanged();
  if (!execute.statusVariable.empty()) {
    assign(execute.statusVariable, std::int64_t{status}, intType());
  }
}

void BatchRun::executeStored(const Execute& execute, const ObjectInfo& procedure,
                             Outcome& outcome) {
  const std::uint32_t line = session_.caller.line;
  const auto stored = server_.procedure(procedure, execute.number);
  if (!stored) throw procedureNotFound(procedure.name + ";" + std::to_string(execute.number), line);
  const auto* create = std::get_if<CreateProcedure>(&stored->statements.front()->node);
  if (create == nullptr) return;
  if (!create->external.empty()) {
    throw ServerError(message::javaProcedure, line, procedure.name);
  }
  const Level level(session_, line, procedure.id);
  CalledOutcome called(outcome, line);
  BatchRun body(session_, stored, called);
  std::vector<bool> given(create->parameters.size());
  std::vector<const ExecuteArgument*> arguments(create->parameters.size());
  for (std::size_t i = 0; i < execute.arguments.size(); ++i) {
    const ExecuteArgument& argument = execute.arguments[i];
    std::size_t position = i;
    if (!argument.name.empty()) {
      const auto found =
          std::ranges::find(create->parameters, argument.name, &tsql::Parameter::name);
      position = static_cast<std::size_t>(found - create->parameters.begin());
      if (found == create->parameters.end()) {
        throw ServerError(message::unknownParameter, line, argument.name, procedure.name);
      }
    }
    if (position >= create->parameters.size()) {
      throw ServerError(message::tooManyArguments, line, procedure.name);
    }
    arguments[position] = &argument;
  }
  for (std::size_t i = 0; i < create->parameters.size(); ++i) {
    const tsql::Parameter& parameter = create->parameters[i];
    const ColumnType type =
        withNullability(server_.catalog.resolveType(parameter.type, session_.caller), true);
    Cell value;
    if (arguments[i] != nullptr && arguments[i]->value) {
      value = evaluate(*arguments[i]->value, &type);
    } else if (parameter.defaultValue) {
      value = body.evaluate(*parameter.defaultValue, &type);
    } else {
      throw ServerError(message::parameterMissing, line, procedure.name, parameter.name);
    }
    body.variables_[parameter.name] = {type, std::move(value)};
  }
  outcome.beginProcedure(procedure.name);
  {
    const std::string& home = server_.catalog.databaseOf(procedure.id);
    const bool isShared = home == kSharedProcedures && execute.procedure.database.empty();
    const InDatabase there(session_, isShared ? session_.caller.database : home);
    body.runBody(create->body);
  }
  outcome.endProcedure(body.returnStatus());
  for (std::size_t i = 0; i < create->parameters.size(); ++i) {
    if (arguments[i] == nullptr || !arguments[i]->output || !arguments[i]->value) continue;
    const auto* target = as<tsql::Variable>(*arguments[i]->value);
    if (target == nullptr || !create->parameters[i].output) continue;
    const Variable& result = body.variables_[create->parameters[i].name];
    assign(target->name, result.value, result.type);
  }
  if (!execute.statusVariable.empty()) {
    assign(execute.statusVariable, std::int64_t{body.returnStatus()}, intType());
  }
}

namespace {

// A function says nothing; what goes wrong in it goes wrong in the statement that calls it.
class FunctionOutcome final : public Outcome {
 public:
  void beginRows(const std::vector<ResultColumn>&) override {}
  void row(Row) override {}
  void count(std::int64_t) override {}
  void notice(const Notice& notice) override {
    if (!notice.isError() || failure) return;
    failure = ServerError(notice.message, 0);
  }

  std::optional<ServerError> failure;
};

}  // namespace

Cell BatchRun::runFunction(const StatementList& body, const ColumnType& returns) {
  returns_ = returns;
  runBody(body);
  return std::move(returned_);
}

Cell callFunction(Session& session, int functionId, const Row& arguments) {
  Server& server = session.server;
  const auto object = server.catalog.objectById(functionId);
  constexpr int kOfFunctions = 0;
  const auto stored = object ? server.procedure(*object, kOfFunctions) : nullptr;
  const auto* create =
      stored ? std::get_if<CreateFunction>(&stored->statements.front()->node) : nullptr;
  if (create == nullptr) return {};
  const Level level(session, session.caller.line, functionId);
  const Running running = server.running;
  const std::uint32_t line = session.caller.line;
  const auto rowCount = session.rowCount, lastError = session.lastError;
  const auto type = [&](const DataType& declared) {
    return withNullability(server.catalog.resolveType(declared, session.caller), true);
  };
  FunctionOutcome outcome;
  Cell result;
  try {
    BatchRun body(session, stored, outcome);
    for (std::size_t i = 0; i < create->parameters.size() && i < arguments.size(); ++i) {
      body.variables()[create->parameters[i].name] = {type(create->parameters[i].type),
                                                      arguments[i]};
    }
    const InDatabase there(session, server.catalog.databaseOf(functionId));
    result = body.runFunction(create->body, type(create->returns));
  } catch (const BatchEnded&) {
  }
  server.running = running;
  session.caller.line = line;
  session.rowCount = rowCount;
  session.lastError = lastError;
  if (outcome.failure) throw *outcome.failure;
  return result;
}

void BatchRun::executeText(const ExecuteImmediate& execute, Outcome& outcome) {
  const std::uint32_t line = session_.caller.line;
  const Level level(session_, line, session_.procedureId);
  CalledOutcome called(outcome, line);
  const auto batch = session_.parse(text(*execute.text), called);
  if (!batch) throw BatchEnded{};
  BatchRun inner(session_, batch, called);
  if (!inner.compile()) throw BatchEnded{};
  inner.runBody(batch->statements);
  session_.caller.line = line;
  server_.running.variables = &variables_;
}

}  // namespace kelvane::embedded
