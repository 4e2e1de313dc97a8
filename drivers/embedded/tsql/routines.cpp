// create and drop of everything but tables and indexes.
#include <algorithm>
#include <array>
#include <iterator>
#include <ranges>
#include <set>

#include "drivers/embedded/tsql/error.h"
#include "drivers/embedded/tsql/grammar.h"
#include "drivers/embedded/tsql/words.h"

namespace kelvane::tsql {

StatementNode Parser::createStatement() {
  static constexpr std::string_view kUtilities[] = {"database", "role",      "plan",    "thread",
                                                    "service",  "temporary", "archive", "inmemory",
                                                    "global",   "system"};
  if (std::ranges::any_of(kUtilities, [&](std::string_view word) { return at(word, 1); }) ||
      (at("login", 1) && at("profile", 2)))
    return utilityStatement();
  if (at("encryption", 1)) return encryptionKey();
  if (at("login", 1)) return createLogin();
  if (at("precomputed", 1)) return createPrecomputed();
  const bool first = position() == firstStatement_;
  const Token& create = take();
  const bool orReplace = at("or") && !at("access", 1);
  if (orReplace) {
    since(16);
    take();
    expect("replace");
  }
  const bool proxy = at("existing") && at("table", 1);
  if (proxy) take();
  if (accept("table")) return createTable(proxy);
  if (accept("proxy_table")) return createTable(true);
  if (at("view")) {
    if (inBody_) {
      throw ServerError(message::viewInBody, create.line);
    }
    take();
    return createView(orReplace);
  }
  if (at("unique") || at("clustered") || at("nonclustered") || at("index")) return createIndex();

  struct Rule {
    std::string_view word;
    std::string_view name;
    StatementNode (Parser::*parse)(bool);
  };
  static constexpr Rule kRules[] = {
      {"procedure", "procedure", &Parser::createProcedure},
      {"proc", "procedure", &Parser::createProcedure},
      {"function", "function", &Parser::createFunction},
      {"trigger", "trigger", &Parser::createTrigger},
      {"rule", "rule", &Parser::createRule},
      {"access", "rule", &Parser::createAccessRule},
      {"and", "rule", &Parser::createAccessRule},
      {"or", "rule", &Parser::createAccessRule},
      {"default", "default", &Parser::createDefault},
      {"schema", "schema", &Parser::createSchema},
  };
  for (const Rule& rule : kRules) {
    if (!at(rule.word)) continue;
    if (!first) throw ServerError(message::notFirstInBatch, create.line, rule.name);
    take();
    wholeBatch_ = true;
    StatementNode node = (this->*rule.parse)(orReplace);
    skipSeparators();
    if (!atKind(TokenKind::End)) unexpected();
    return node;
  }
  unexpected();
}

namespace {

// Takes the references to `later` tables out of a table.
std::vector<AlterAction> deferredReferences(CreateTable& table,
                                            const std::set<std::string, std::less<>>& later) {
  std::vector<AlterAction> deferred;
  const auto defer = [&](std::vector<Constraint>& constraints, const std::string& column) {
    const auto isLater = [&](const Constraint& constraint) {
      const auto* key = std::get_if<ForeignKeyConstraint>(&constraint.node);
      return key != nullptr && key->table.database.empty() && later.contains(key->table.name);
    };
    for (Constraint& constraint : constraints) {
      if (!isLater(constraint)) continue;
      auto& key = std::get<ForeignKeyConstraint>(constraint.node);
      if (key.columns.empty()) key.columns.push_back(column);
      deferred.emplace_back(AddConstraint{constraint.range, constraint.name, key});
    }
    std::erase_if(constraints, isLater);
  };
  for (ColumnDefinition& column : table.columns) defer(column.constraints, column.name);
  defer(table.constraints, "");
  return deferred;
}

}  // namespace

StatementNode Parser::createSchema(bool /*orReplace*/) {
  CreateSchema result;
  expect("authorization");
  result.authorization = nameOrString();
  for (skipSeparators(); !atKind(TokenKind::End); skipSeparators()) {
    const bool creates = at("create") && (at("table", 1) || at("view", 1));
    if (!creates && !at("grant") && !at("revoke")) unexpected();
    result.statements.push_back(statement());
  }
  std::set<std::string, std::less<>> later;
  StatementList references;
  for (const auto& statement : std::views::reverse(result.statements)) {
    auto* table = std::get_if<CreateTable>(&statement->node);
    if (table == nullptr) continue;
    auto deferred = deferredReferences(*table, later);
    later.insert(table->name.name);
    if (deferred.empty()) continue;
    references.push_back(std::make_unique<Statement>(
        Statement{statement->range, AlterTable{table->name, std::move(deferred)}}));
  }
  std::ranges::move(references, std::back_inserter(result.statements));
  return result;
}

StatementNode Parser::createView(bool orReplace) {
  CreateView result;
  result.orReplace = orReplace;
  result.name = objectName();
  if (atSymbol("(")) result.columns = parenthesizedNames();
  expect("as");
  result.query = query();
  const Query& shown = *result.query;
  const bool isLimited = shown.limit || shown.terms.front().select.top;
  if (!shown.compute.empty() || (!shown.orderBy.empty() && !isLimited)) {
    const std::string_view word = shown.compute.empty() ? "order" : "compute";
    throw ServerError(message::syntaxNearKeyword, result.name.range.line, word);
  }
  if (accept("with")) {
    expect("check");
    expect("option");
    result.checkOption = true;
  }
  return result;
}

StatementNode Parser::createPrecomputed() {
  since(15);
  take();
  CreatePrecomputed result;
  expect("precomputed");
  expect("result");
  expect("set");
  result.name = objectName();
  if (atSymbol("(")) result.columns = parenthesizedNames();
  // How it is refreshed, and what it is used for: `immediate refresh`, `disable`, ...
  while (!at("as") && !at("lock") && !at("with") && !at("on") && !at("partition")) {
    if (!atKind(TokenKind::Word)) unexpected();
    take();
  }
  tableTail(result);
  expect("as");
  result.query = query();
  return result;
}

Parameter Parser::parameter() {
  const Token& first = peek();
  Parameter result;
  const bool isJava = !atKind(TokenKind::Variable);
  if (isJava && (accept("out") || accept("inout"))) result.output = true;
  if (isJava && !result.output) accept("in");
  result.name = isJava ? name() : newVariable();
  accept("as");
  result.type = dataType();
  if (acceptSymbol("=")) {
    const Token& value = peek();
    if (atName()) {
      std::string word = name();
      result.defaultValue =
          std::make_unique<Expr>(Expr{from(value), Literal{LiteralKind::String, std::move(word)}});
    } else {
      result.defaultValue = constant();
    }
    result.defaultRange = from(value);
  }
  if (accept("not")) {
    expect("null");
  } else {
    accept("null");
  }
  result.output = accept("output") || accept("out") || accept("inout") || result.output;
  result.range = from(first);
  return result;
}

std::vector<Parameter> Parser::parameters() {
  std::vector<Parameter> result;
  const auto add = [&] { result.push_back(parameter()); };
  if (atSymbol("(") && atSymbol(")", 1)) {
    take();
    take();
  } else if (atSymbol("(")) {
    parenthesizedList(add);
  } else if (atKind(TokenKind::Variable)) {
    commaList(add);
  }
  return result;
}

// A routine's body reaches to the end of the batch.
StatementList Parser::body(SourceRange& range) {
  expect("as");
  const Token& first = peek();
  inBody_ = true;
  StatementList statements = statementsUntilEnd();
  if (statements.empty()) unexpected();
  requireLabels();
  range = {first.begin, static_cast<std::uint32_t>(text().size()), first.line};
  return statements;
}

// `as external name 'xp.dll'`, `language java parameter style java external name 'a.b'`: what
// stands in the place of a body. Empty when a body does.
std::string Parser::externalName() {
  const bool isJava = at("language") || at("modifies") || at("dynamic") || at("deterministic") ||
                      (at("not") && at("deterministic", 1)) || at("returns");
  if (!isJava && !(at("as") && at("external", 1)) && !at("external")) return {};
  while (!at("external")) {
    if (!atKind(TokenKind::Word) && !atKind(TokenKind::Integer)) unexpected();
    take();
  }
  expect("external");
  expect("name");
  return nameOrString();
}

StatementNode Parser::createProcedure(bool orReplace) {
  CreateProcedure result;
  result.orReplace = orReplace;
  result.name = objectName();
  if (acceptSymbol(";")) result.number = typeArgument();
  result.parameters = parameters();
  while (accept("with")) {
    if (accept("recompile")) {
      result.recompile = true;
    } else {
      since(15);
      expect("execute");
      expect("as");
      wordText();
    }
  }
  result.java = !at("as") && !at("external");
  result.external = externalName();
  if (result.external.empty()) result.body = body(result.bodyRange);
  return result;
}

StatementNode Parser::createFunction(bool orReplace) {
  CreateFunction result;
  result.orReplace = orReplace;
  result.name = objectName();
  result.parameters = parameters();
  expect("returns");
  result.returns = dataType();
  if (accept("with")) expect("recompile");
  result.external = externalName();
  if (!result.external.empty()) return result;
  since(15);
  result.body = body(result.bodyRange);
  return result;
}

TriggerEvents Parser::triggerEvents() {
  TriggerEvents events;
  commaList([&] {
    if (accept("insert")) {
      events.insert = true;
    } else if (accept("update")) {
      events.update = true;
    } else {
      expect("delete");
      events.remove = true;
    }
  });
  return events;
}

StatementNode Parser::createTrigger(bool orReplace) {
  CreateTrigger result;
  result.orReplace = orReplace;
  result.name = objectName();
  expect("on");
  result.table = objectName();
  if (at("instead")) {
    since(15);
    take();
    expect("of");
    result.insteadOf = true;
  } else {
    expect("for");
  }
  result.events = triggerEvents();
  if (at("order")) {
    since(16);
    take();
    result.order = static_cast<int>(integer(std::numeric_limits<std::int16_t>::max()));
  }
  result.body = body(result.bodyRange);
  return result;
}

// `create [and | or] access rule`; the first word is behind.
StatementNode Parser::createAccessRule(bool orReplace) {
  accept("access");
  expect("rule");
  CreateRule result = rule(orReplace);
  result.isAccess = true;
  return result;
}

StatementNode Parser::createRule(bool orReplace) { return rule(orReplace); }

CreateRule Parser::rule(bool orReplace) {
  CreateRule result;
  result.orReplace = orReplace;
  result.name = objectName();
  expect("as");
  const Token& first = peek();
  result.condition = expression();
  std::set<std::string> variables;
  for (const Token& token : tokenize(from(first).in(text()), {})) {
    if (token.kind == TokenKind::Variable) variables.insert(lowerCase(token.text));
  }
  if (variables.size() != 1) {
    throw ServerError(message::ruleVariable, first.line, result.name.name);
  }
  return result;
}

StatementNode Parser::createDefault(bool orReplace) {
  CreateDefault result;
  result.orReplace = orReplace;
  result.name = objectName();
  expect("as");
  result.value = expression(Level::Additive);
  return result;
}

StatementNode Parser::dropStatement() {
  struct Rule {
    std::string_view word;
    DropKind kind;
  };
  static constexpr Rule kRules[] = {
      {"table", DropKind::Table},         {"view", DropKind::View},
      {"procedure", DropKind::Procedure}, {"proc", DropKind::Procedure},
      {"function", DropKind::Function},   {"trigger", DropKind::Trigger},
      {"rule", DropKind::Rule},           {"default", DropKind::Default},
      {"index", DropKind::Index},         {"database", DropKind::Database},
      {"role", DropKind::Role},           {"precomputed", DropKind::Precomputed},
      {"login", DropKind::Login},
  };
  if (at("encryption", 1)) return encryptionKey();
  if (at("service", 1) || at("thread", 1) || (at("login", 1) && at("profile", 2)))
    return utilityStatement();
  expect("drop");
  for (const Rule& rule : kRules) {
    if (!accept(rule.word)) continue;
    Drop result{rule.kind, {}};
    if (rule.kind == DropKind::Precomputed) {
      expect("result");
      expect("set");
    }
    commaList([&] { result.names.push_back(objectName()); });
    if (rule.kind == DropKind::Index && result.names.back().owner.empty()) unexpected();
    if ((rule.kind == DropKind::Role || rule.kind == DropKind::Login) && accept("with")) {
      expect("override");
      result.override = true;
    }
    return result;
  }
  unexpected();
}

}  // namespace kelvane::tsql
