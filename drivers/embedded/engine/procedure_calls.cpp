#include "drivers/embedded/engine/procedure_calls.h"

#include <algorithm>
#include <utility>

#include "drivers/embedded/engine/batch.h"
#include "drivers/embedded/engine/called.h"
#include "drivers/embedded/engine/statement_kinds.h"
#include "drivers/embedded/engine/typing.h"
#include "drivers/embedded/engine/walk.h"
#include "drivers/embedded/tsql/ast.h"

namespace kelvane::embedded {

using namespace tsql;

namespace {

constexpr const char* kSharedProcedures = "sybsystemprocs";

ServerError procedureNotFound(const std::string& name, std::uint32_t line) {
  return ServerError(message::procedureNotFound, line, name);
}

}  // namespace

void ProcedureCalls::call(const Execute& execute, Outcome& outcome) {
  ObjectName name = execute.procedure;
  if (!execute.procedureVariable.empty()) {
    const Variable& variable = frame_.variable(execute.procedureVariable, frame_.line());
    if (!isNull(variable.value)) {
      const std::string text = Frame::textOf(variable);
      const auto parts = server_.catalog.objectName(text, session_.caller);
      if (!parts) throw procedureNotFound(text, frame_.line());
      name = *parts;
    }
  }
  const std::uint32_t line = frame_.line();
  auto object = server_.catalog.findObject(name, session_.caller);
  if (!object && name.database.empty() && name.name.starts_with("sp_")) {
    // Procedures of every database, which run in the one that they are called from.
    name.database = kSharedProcedures;
    object = server_.catalog.findObject(name, session_.caller);
    name.database.clear();
  }
  if (object && object->type == "P") {
    callStored(execute, name.database, *object, outcome);
  } else if (object && object->type == "XP") {
    throw ServerError(message::libraryProcedure, line, name.name);
  } else if (!session_.options.formatOnly) {
    callSystem(execute, name, outcome);
  }
  frame_.resume(line);
}

void ProcedureCalls::callSystem(const Execute& execute, const ObjectName& called,
                                Outcome& outcome) {
  const std::string& name = called.name;
  std::vector<ProcedureArgument> arguments;
  arguments.reserve(execute.arguments.size());
  for (const ExecuteArgument& argument : execute.arguments) {
    arguments.push_back(
        {argument.name, argument.value ? frame_.textOrNull(*argument.value) : std::nullopt});
  }
  const InDatabase there(session_, called.database);
  const ProcedureCall call{name, std::move(arguments), session_.caller};
  int status = 0;
  bool begun = false;
  std::vector<ProcedureResult::Output> outputs;
  const auto written = [&] {
    Database& store = server_.catalog.store();
    return std::pair(store.totalChanges(), store.undoLog().changes());
  };
  const auto before = written();
  const auto dbid = server_.catalog.databaseId(session_.caller.database);
  try {
    const auto result = server_.catalog.callSystemProcedure(call);
    // One that names a database may have named this one.
    if (const auto name = dbid ? server_.catalog.databaseName(*dbid) : std::nullopt)
      session_.caller.database = *name;
    if (!result) {
      throw procedureNotFound(name, frame_.line());
    }
    outcome.beginProcedure(name);
    begun = true;
    status = result->status;
    outputs = result->outputs;
    for (const ServerMessage& message : result->messages) {
      Notice notice{message, frame_.line()};
      if (notice.isError()) {
        session_.last.error = message.number;
        notice.alreadyGone = isAlreadyGone(*frame_.current(), message);
      }
      outcome.notice(notice);
    }
    for (const std::string& what : result->ignored) reporter_.ignored(name + ": " + what);
    for (const ResultSet& rows : result->resultSets) {
      outcome.beginRows(rows.columns);
      for (const Row& row : rows.rows) outcome.row(row);
    }
  } catch (const ServerError& error) {
    if (error.is(message::procedureNotFound)) throw;
    if (!begun) outcome.beginProcedure(name);
    // A system procedure says what is wrong and returns; the batch goes on.
    status = 1;
    session_.last.error = error.number;
    Notice notice{error.toMessage(), frame_.line()};
    notice.alreadyGone = isAlreadyGone(*frame_.current(), error);
    outcome.notice(notice);
  }
  outcome.endProcedure(status);
  if (written() != before) server_.namesChanged();
  // The database may have a new name.
  session_.caller.database = server_.catalog.currentDatabase();
  for (const ProcedureResult::Output& output : outputs) giveOutput(execute, output);
  if (!execute.statusVariable.empty()) {
    frame_.assign(execute.statusVariable, std::int64_t{status}, intType());
  }
}

// To the variable that stands for the parameter with the word `output`.
void ProcedureCalls::giveOutput(const Execute& execute, const ProcedureResult::Output& output) {
  for (std::size_t i = 0; i < execute.arguments.size(); ++i) {
    const ExecuteArgument& argument = execute.arguments[i];
    const bool isMeant =
        argument.name.empty() ? i == output.position : argument.name == output.name;
    if (!isMeant || !argument.output || !argument.value) continue;
    const auto* target = as<tsql::Variable>(*argument.value);
    if (target == nullptr) continue;
    const Cell value = output.value ? Cell(*output.value) : Cell();
    constexpr int kLongest = 1024;
    frame_.assign(target->name, value, declaredType(TypeKind::Varchar, kLongest, {}, true));
  }
}

void ProcedureCalls::callStored(const Execute& execute, const std::string& database,
                                const ObjectInfo& procedure, Outcome& outcome) {
  const std::uint32_t line = frame_.line();
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
  const Called procedureCalled{create->parameters, procedure.name, line};
  const Arguments arguments = argumentsFor(procedureCalled, execute);
  setParameters(procedureCalled, arguments, body.frame());
  outcome.beginProcedure(procedure.name);
  {
    const std::string& home = server_.catalog.databaseOf(procedure.id);
    const bool isShared = home == kSharedProcedures && database.empty();
    const InDatabase there(session_, isShared ? session_.caller.database : home);
    body.runBody(create->body);
  }
  outcome.endProcedure(body.returnStatus());
  for (std::size_t i = 0; i < create->parameters.size(); ++i) {
    if (arguments[i] == nullptr || !arguments[i]->output || !arguments[i]->value) continue;
    const auto* target = as<tsql::Variable>(*arguments[i]->value);
    if (target == nullptr || !create->parameters[i].output) continue;
    const Variable& result = body.frame().variables()[create->parameters[i].name];
    frame_.assign(target->name, result.value, result.type);
  }
  if (!execute.statusVariable.empty()) {
    frame_.assign(execute.statusVariable, std::int64_t{body.returnStatus()}, intType());
  }
}

// By the places of the parameters; null where none is given.
ProcedureCalls::Arguments ProcedureCalls::argumentsFor(const Called& procedure,
                                                       const Execute& execute) {
  const auto& [parameters, name, line] = procedure;
  Arguments arguments(parameters.size());
  for (std::size_t i = 0; i < execute.arguments.size(); ++i) {
    const ExecuteArgument& argument = execute.arguments[i];
    std::size_t position = i;
    if (!argument.name.empty()) {
      const auto found = std::ranges::find(parameters, argument.name, &tsql::Parameter::name);
      if (found == parameters.end()) {
        throw ServerError(message::unknownParameter, line, argument.name, name);
      }
      position = static_cast<std::size_t>(found - parameters.begin());
    }
    if (position >= parameters.size()) {
      throw ServerError(message::tooManyArguments, line, name);
    }
    arguments[position] = &argument;
  }
  return arguments;
}

void ProcedureCalls::setParameters(const Called& procedure, const Arguments& arguments,
                                   Frame& body) {
  for (std::size_t i = 0; i < procedure.parameters.size(); ++i) {
    const tsql::Parameter& parameter = procedure.parameters[i];
    const ColumnType type =
        withNullability(server_.catalog.resolveType(parameter.type, session_.caller), true);
    Cell value;
    if (arguments[i] != nullptr && arguments[i]->value) {
      value = frame_.evaluate(*arguments[i]->value, &type);
    } else if (parameter.defaultValue) {
      value = body.evaluate(*parameter.defaultValue, &type);
    } else {
      throw ServerError(message::parameterMissing, procedure.line, procedure.name, parameter.name);
    }
    body.variables()[parameter.name] = {type, std::move(value)};
  }
}

void ProcedureCalls::callText(const ExecuteImmediate& execute, Outcome& outcome) {
  const std::uint32_t line = frame_.line();
  const Level level(session_, line, session_.calls.procedureId);
  CalledOutcome called(outcome, line);
  const auto batch = session_.parse(frame_.text(*execute.text), called);
  if (!batch) throw BatchEnded{};
  BatchRun inner(session_, batch, called);
  if (!inner.compile()) throw BatchEnded{};
  inner.runBody(batch->statements);
  frame_.resume(line);
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

Cell callFunction(Session& session, int functionId, const Row& arguments) {
  Server& server = session.server;
  const auto object = server.catalog.objectById(functionId);
  constexpr int kOfFunctions = 0;
  const auto stored = object ? server.procedure(*object, kOfFunctions) : nullptr;
  const auto* create =
      stored ? std::get_if<CreateFunction>(&stored->statements.front()->node) : nullptr;
  if (create == nullptr) return {};
  const Level level(session, session.caller.line, functionId);
  struct Counted {
    int& functions;
    ~Counted() { --functions; }
  } counted{session.calls.functions};
  ++counted.functions;
  const Running running = server.running;
  const std::uint32_t line = session.caller.line;
  const auto rowCount = session.last.rowCount, lastError = session.last.error;
  const auto type = [&](const DataType& declared) {
    return withNullability(server.catalog.resolveType(declared, session.caller), true);
  };
  FunctionOutcome outcome;
  Cell result;
  try {
    BatchRun body(session, stored, outcome);
    for (std::size_t i = 0; i < create->parameters.size() && i < arguments.size(); ++i) {
      body.frame().variables()[create->parameters[i].name] = {type(create->parameters[i].type),
                                                              arguments[i]};
    }
    const InDatabase there(session, server.catalog.databaseOf(functionId));
    result = body.runFunction(create->body, type(create->returns));
  } catch (const BatchEnded&) {
  }
  server.running = running;
  session.caller.line = line;
  session.last.rowCount = rowCount;
  session.last.error = lastError;
  if (outcome.failure) throw *outcome.failure;
  return result;
}

}  // namespace kelvane::embedded
