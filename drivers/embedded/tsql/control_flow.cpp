#include <algorithm>
#include <array>

#include "drivers/embedded/tsql/error.h"
#include "drivers/embedded/tsql/grammar.h"
#include "drivers/embedded/tsql/words.h"

namespace kelvane::tsql {
namespace {

// Options of `set` whose values are more than one word or end in neither on, off nor a number.
constexpr auto kOneWordOptions = std::to_array<std::string_view>(
    {"dateformat", "datefirst", "language", "proxy", "quoted_identifier"});

}  // namespace

std::string Parser::newVariable() {
  const std::uint32_t line = peek().line;
  std::string name = variableName();
  if (!declared_.insert(name).second) throw ServerError(message::variableTwice, line, name);
  return name;
}

// In a body nothing can have declared a variable but the body itself. Servers differ in whether
// letter case counts.
void Parser::requireDeclared(const Token& variable) const {
  const std::string name = variable.value();
  const auto isSame = [&](const std::string& declared) {
    return equalsIgnoringCase(declared, name);
  };
  if (!inBody_ || declared_.contains(name) || std::ranges::any_of(declared_, isSame)) return;
  throw ServerError(message::undeclaredVariable, variable.line, name);
}

void Parser::requireLabels() const {
  for (const auto& [label, line] : gotos_) {
    if (!labels_.contains(label)) throw ServerError(message::labelNotDeclared, line, label);
  }
}

StatementNode Parser::declareStatement() {
  if (!atKind(TokenKind::Variable, 1)) return declareCursor();
  expect("declare");
  Declare result;
  commaList([&] {
    VariableDeclaration variable;
    variable.name = newVariable();
    accept("as");
    variable.type = dataType();
    if (atSymbol("=")) {
      since(16);
      take();
      variable.initial = expression();
    }
    result.variables.push_back(std::move(variable));
  });
  return result;
}

StatementNode Parser::declareCursor() {
  expect("declare");
  DeclareCursor result;
  result.name = name();
  while (!at("cursor")) {
    static constexpr std::string_view kOptions[] = {"insensitive", "semi_sensitive",
                                                    "release_locks_on_close"};
    since(15);
    if (at("no") && at("scroll", 1)) {
      take();
      take();
      result.options.emplace_back("no scroll");
    } else if (accept("scroll")) {
      result.scroll = true;
    } else if (std::ranges::any_of(kOptions, [&](std::string_view word) { return at(word); })) {
      result.options.push_back(wordText());
    } else {
      unexpected();
    }
  }
  expect("cursor");
  expect("for");
  result.query = query();
  return result;
}

StatementNode Parser::openStatement() {
  expect("open");
  return OpenCursor{name()};
}

StatementNode Parser::closeStatement() {
  expect("close");
  return CloseCursor{name()};
}

StatementNode Parser::deallocateStatement() {
  if (at("locator", 1) && atKind(TokenKind::Variable, 2)) return utilityStatement();
  expect("deallocate");
  accept("cursor");
  return DeallocateCursor{name()};
}

StatementNode Parser::fetchStatement() {
  expect("fetch");
  FetchCursor result;
  for (const std::string_view direction : {"next", "prior", "first", "last"})
    if (at(direction) && (at("from", 1) || atName(1))) result.direction = wordText();
  for (const std::string_view direction : {"absolute", "relative"})
    if (at(direction) && !at("into", 1)) {
      result.direction = wordText();
      result.offset = constant();
    }
  accept("from");
  result.name = name();
  if (accept("into")) commaList([&] { result.into.push_back(variableName()); });
  return result;
}

StatementNode Parser::setStatement() {
  if (atKind(TokenKind::Variable, 1)) return setVariables();
  expect("set");
  SetOption result;
  commaList([&] { result.names.push_back(wordText()); });
  const std::string& option = result.names.front();
  if (option == "transaction") {
    expect("isolation");
    expect("level");
    result.values = {"isolation", "level"};
    result.values.push_back(setValue());
    if (accept("uncommitted"))
      result.values.push_back("uncommitted");
    else if (accept("committed"))
      result.values.push_back("committed");
    else if (result.values.back() == "repeatable")
      result.values.push_back(setValue());
    return result;
  }
  if (setWords(result)) return result;
  if (option == "role") return setRole(std::move(result));
  if (option == "encryption" && accept("passwd")) {
    password();
    expect("for");
    if (!accept("column")) accept("key");
    result.values.push_back(std::string(objectName().range.in(text())));
    return result;
  }
  if (option == "statistics" || option == "plan")
    commaList([&] { result.values.push_back(setValue()); });
  const bool oneWord = std::ranges::find(kOneWordOptions, option) != kOneWordOptions.end();
  // Names of objects, roles and the like stand between the option and its on or off.
  for (bool more = true; more;) {
    if (atName() && !oneWord && !at("on") && !at("off")) {
      const ObjectName object = objectName();
      result.values.emplace_back(object.range.in(text()));
      more = !endsStatement();
    } else {
      more = atKind(TokenKind::Word) && !oneWord && !at("on") && !at("off");
      result.values.push_back(setValue());
    }
  }
  if (option == "cursor" && accept("for")) result.values.push_back(name());
  return result;
}

// The options whose own words are those of statements, or have more behind `on` and `off`.
bool Parser::setWords(SetOption& option) {
  const std::string& name = option.names.front();
  const auto word = [&] { option.values.push_back(wordText()); };
  const auto onOrOff = [&] {
    if (!at("on") && !at("off")) unexpected();
    word();
  };
  if (name == "switch") {
    onOrOff();
    commaList([&] { option.values.push_back(setValue()); });
    if (accept("with")) commaList(word);
  } else if (name == "close") {
    expect("on");
    expect("endtran");
    onOrOff();
  } else if (name == "offsets") {
    commaList(word);
    onOrOff();
  } else if (name == "tracefile") {
    option.values.push_back(atKind(TokenKind::String) ? take().value() : wordText());
    if (accept("for")) option.values.push_back(setValue());
  } else if (name == "plan" && (at("dump") || at("load"))) {
    word();
    if (atNameOrString() && !at("on") && !at("off")) option.values.push_back(nameOrString());
    onOrOff();
  } else {
    return false;
  }
  return true;
}

// `set role r with passwd 'x' on`; the password is not kept.
StatementNode Parser::setRole(SetOption option) {
  option.values.push_back(nameOrString());
  if (accept("with")) {
    expect("passwd");
    password();
  }
  if (!at("on")) {
    expect("off");
    option.values.emplace_back("off");
  } else {
    option.values.push_back(wordText());
  }
  return option;
}

std::string Parser::setValue() {
  if (atKind(TokenKind::Symbol) && (atSymbol("-") || atSymbol("+"))) {
    std::string sign = take().value();
    if (!atKind(TokenKind::Integer)) unexpected();
    return sign + take().value();
  }
  if (atKind(TokenKind::Symbol) || endsStatement()) unexpected();
  return atKind(TokenKind::Word) ? wordText() : take().value();
}

StatementNode Parser::setVariables() {
  expect("set");
  SetVariables result;
  commaList([&] {
    if (!atKind(TokenKind::Variable)) unexpected();
    result.assignments.push_back(assignment());
  });
  return result;
}

StatementNode Parser::beginStatement() {
  if (at("tran", 1) || at("transaction", 1)) return transaction(TransactionAction::Begin);
  expect("begin");
  Block result;
  for (skipSeparators(); !accept("end"); skipSeparators()) result.statements.push_back(statement());
  return result;
}

StatementNode Parser::ifStatement() {
  expect("if");
  If result;
  result.condition = expression();
  result.then = statement();
  std::size_t ahead = 0;
  while (atSymbol(";", ahead)) ++ahead;
  if (!at("else", ahead)) return result;
  skipSeparators();
  expect("else");
  result.otherwise = statement();
  return result;
}

StatementNode Parser::whileStatement() {
  expect("while");
  While result;
  result.condition = expression();
  ++loops_;
  result.body = statement();
  --loops_;
  return result;
}

StatementNode Parser::breakStatement() {
  if (loops_ == 0) throw ServerError(message::breakOutsideLoop, peek().line);
  expect("break");
  return Break{};
}

StatementNode Parser::continueStatement() {
  if (loops_ == 0) throw ServerError(message::continueOutsideLoop, peek().line);
  expect("continue");
  return Continue{};
}

StatementNode Parser::returnStatement() {
  expect("return");
  Return result;
  if (startsExpression()) result.value = expression();
  return result;
}

StatementNode Parser::gotoStatement() {
  expect("goto");
  const std::uint32_t line = peek().line;
  Goto result{name()};
  gotos_.emplace_back(result.label, line);
  return result;
}

StatementNode Parser::labelStatement() {
  Label result{name()};
  labels_.insert(result.name);
  expectSymbol(":");
  return result;
}

StatementNode Parser::printStatement() {
  expect("print");
  Print result;
  result.format = expression();
  while (acceptSymbol(",")) result.arguments.push_back(expression());
  return result;
}

StatementNode Parser::raiseErrorStatement() {
  expect("raiserror");
  RaiseError result;
  result.number = constant();
  // Behind a comma stand the arguments of a message that sp_addmessage has kept.
  if (atKind(TokenKind::String) || atKind(TokenKind::Variable)) result.format = expression();
  while (acceptSymbol(",")) result.arguments.push_back(expression());
  if (accept("with")) {
    expect("errordata");
    commaList([&] { selectItem(); });
  }
  return result;
}

StatementNode Parser::waitForStatement() {
  expect("waitfor");
  WaitFor result;
  static constexpr std::string_view kEvents[] = {"delay", "time", "errorexit", "processexit",
                                                 "mirrorexit"};
  if (std::ranges::none_of(kEvents, [&](std::string_view event) { return at(event); }))
    unexpected();
  result.event = wordText();
  if (result.event == "delay" || result.event == "time") result.value = constant();
  return result;
}

StatementNode Parser::executeStatement() {
  return std::visit([](auto&& call) { return StatementNode(std::forward<decltype(call)>(call)); },
                    executeOrImmediate());
}

std::variant<Execute, ExecuteImmediate> Parser::executeOrImmediate() {
  take();  // exec or execute
  if (acceptSymbol("(")) {
    ExecuteImmediate result{expression()};
    expectSymbol(")");
    return result;
  }
  return executeCall();
}

// A procedure name alone, which only the first statement of a batch may be.
StatementNode Parser::procedureCall() { return executeCall(); }

Execute Parser::executeCall() {
  Execute result;
  if (atKind(TokenKind::Variable) && atSymbol("=", 1)) {
    result.statusVariable = variableName();
    expectSymbol("=");
  }
  if (atKind(TokenKind::Variable)) {
    result.procedureVariable = variableName();
  } else {
    // Drivers write the dots of a database and an owner that they do not name.
    if (atSymbol(".") && atSymbol(".", 1)) {
      take();
      take();
    }
    result.procedure = objectName();
  }
  if (atSymbol(";") && atKind(TokenKind::Integer, 1)) {
    take();
    result.number = typeArgument();
  }
  if (atArgument()) commaList([&] { result.arguments.push_back(executeArgument()); });
  if (accept("with")) {
    expect("recompile");
    result.recompile = true;
  }
  return result;
}

bool Parser::atArgument() const {
  return atConstant() || at("default") || (atName() && !atSymbol(":", 1));
}

ExecuteArgument Parser::executeArgument() {
  ExecuteArgument result;
  if (atKind(TokenKind::Variable) && atSymbol("=", 1)) {
    result.name = variableName();
    expectSymbol("=");
  }
  if (!atArgument()) unexpected();
  const Token& first = peek();
  if (atName()) {
    result.bareWord = true;
    std::string word = name();
    result.value =
        std::make_unique<Expr>(Expr{from(first), Literal{LiteralKind::String, std::move(word)}});
  } else if (!accept("default")) {
    result.value = constant();
  }
  result.output = accept("output") || accept("out");
  return result;
}

StatementNode Parser::transaction(TransactionAction action) {
  take();
  if (!accept("tran") && !accept("transaction")) accept("work");
  Transaction result{action, {}};
  if (atKind(TokenKind::Variable))
    result.name = variableName();
  else if (atName() && !atSymbol(":", 1))
    result.name = name();
  return result;
}

StatementNode Parser::commitStatement() { return transaction(TransactionAction::Commit); }

StatementNode Parser::rollbackStatement() {
  if (!at("trigger", 1)) return transaction(TransactionAction::Rollback);
  take();
  take();
  RollbackTrigger result;
  if (!accept("with")) return result;
  if (!at("raiserror")) unexpected();
  result.raise = statement();
  return result;
}

StatementNode Parser::saveStatement() { return transaction(TransactionAction::Save); }

StatementNode Parser::useStatement() {
  expect("use");
  return UseDatabase{nameOrString()};
}

StatementNode Parser::setUserStatement() {
  expect("setuser");
  SetUser result;
  if (atNameOrString() && !atSymbol(":", 1)) result.user = nameOrString();
  return result;
}

}  // namespace kelvane::tsql
