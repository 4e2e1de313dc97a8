// alter table, and objects that get another owner.
#include <algorithm>

#include "drivers/embedded/tsql/grammar.h"

namespace kelvane::tsql {

StatementNode Parser::alterStatement() {
  if (at("encryption", 1)) return encryptionKey();
  if (at("precomputed", 1) || at("database", 1) || at("role", 1) || at("login", 1) ||
      at("thread", 1) || at("service", 1)) {
    return utilityStatement();
  }
  if (!at("table", 1)) return modifyOwner();
  expect("alter");
  expect("table");
  AlterTable result;
  result.table = objectName();
  if (atNewOwner()) return newOwner("table", std::move(result.table));
  do alterAction(result);
  while (acceptSymbol(",") || atFurtherAction());
  return result;
}

// `drop table` begins another statement.
bool Parser::atFurtherAction() const {
  if (at("add") || at("modify") || at("replace")) return true;
  if (!at("drop") || !atName(1)) return at("drop") && at("constraint", 1);
  static constexpr std::string_view kObjects[] = {
      "table",      "view",        "index",    "procedure", "proc",     "trigger",
      "rule",       "default",     "function", "role",      "database", "login",
      "encryption", "precomputed", "group",    "service",   "workload", "thread"};
  return std::ranges::none_of(kObjects, [&](std::string_view word) { return at(word, 1); });
}

// A column may be called `owner` too.
bool Parser::atNewOwner() const {
  if (!at("modify") || !at("owner", 1) || at("null", 2) || at("not", 2)) return false;
  static constexpr std::string_view kTypes[] = {
      "int",  "smallint", "tinyint", "bigint",   "bit",  "text",    "image",  "float",
      "real", "money",    "date",    "datetime", "char", "varchar", "sysname"};
  const bool isType =
      std::ranges::any_of(kTypes, [&](std::string_view type) { return at(type, 2); });
  return (atName(2) || atKind(TokenKind::String, 2)) && !isType && !atSymbol("(", 3) &&
         !atSymbol(",", 3) && !at("null", 3) && !at("not", 3) && !at("default", 3);
}

StatementNode Parser::newOwner(std::string kind, ObjectName name) {
  since(15);
  expect("modify");
  expect("owner");
  ModifyOwner result{std::move(kind), std::move(name), nameOrString()};
  if (accept("preserve")) {
    expect("permissions");
    result.preservePermissions = true;
  }
  return result;
}

StatementNode Parser::modifyOwner() {
  static constexpr std::string_view kKinds[] = {"all",      "view",    "procedure", "proc",
                                                "function", "default", "rule",      "type"};
  expect("alter");
  if (std::ranges::none_of(kKinds, [&](std::string_view kind) { return at(kind); })) unexpected();
  std::string kind = wordText();
  const Token& first = peek();
  std::vector<std::string> parts = dottedParts();
  ObjectName object;
  if (parts.back().empty()) {
    expectSymbol("*");
    parts.back() = "*";
  }
  object = objectNameOf(std::move(parts), first);
  return newOwner(kind == "proc" ? "procedure" : std::move(kind), std::move(object));
}

bool Parser::alterPartition(AlterTable& table) {
  struct Rule {
    std::string_view word;
    AlterPartition::Kind kind;
  };
  using enum AlterPartition::Kind;
  static constexpr Rule kRules[] = {{"add", Add},     {"drop", Drop}, {"split", Split},
                                    {"merge", Merge}, {"move", Move}, {"modify", Modify}};
  for (const Rule& rule : kRules) {
    if (!at(rule.word) || !at("partition", 1)) continue;
    since(15);
    take();
    take();
    AlterPartition action;
    action.kind = rule.kind;
    if (rule.kind != Add) commaList([&] { action.names.push_back(name()); });
    if (rule.kind == Add) action.partitions = partitions();
    if (rule.kind == Split) {
      expect("into");
      action.partitions = partitions();
    } else if (rule.kind == Merge) {
      expect("into");
      action.partitions.push_back(partition());
    } else if (rule.kind == Move) {
      expect("to");
      action.segment = nameOrString();
    } else if (rule.kind == Modify) {
      expect("set");
      action.options = storageOptions();
    }
    table.actions.emplace_back(std::move(action));
    return true;
  }
  return false;
}

void Parser::alterAction(AlterTable& table) {
  if (alterPartition(table)) {
  } else if (accept("add")) {
    addActions(table);
  } else if (accept("drop")) {
    dropActions(table);
  } else if (accept("modify")) {
    modifyActions(table);
  } else if (accept("replace")) {
    replaceAction(table);
  } else if (accept("lock")) {
    table.actions.emplace_back(ChangeLock{wordText()});
  } else if (accept("unpartition")) {
    table.actions.emplace_back(ChangePartitions{});
  } else if (at("partition") && at("by", 1)) {
    table.actions.emplace_back(ChangePartitions{std::nullopt, partitioning()});
  } else if (accept("partition")) {
    table.actions.emplace_back(ChangePartitions{integer(), std::nullopt});
  } else if (at("enable") || at("disable")) {
    const bool enable = at("enable");
    take();
    table.actions.emplace_back(switchTrigger(enable));
  } else if (accept("with") || accept("set")) {
    table.actions.emplace_back(ChangeStorage{storageOptions()});
  } else {
    unexpected();
  }
  if (accept("with")) table.actions.emplace_back(ChangeStorage{storageOptions()});
}

// `replace c default e`, `replace c decrypt_default e`
void Parser::replaceAction(AlterTable& table) {
  const Token& first = peek();
  std::string column = name();
  if (at("decrypt_default")) {
    ColumnDefinition changed;
    changed.name = std::move(column);
    storageClause(changed.storage);
    changed.range = from(first);
    table.actions.emplace_back(ModifyColumn{std::move(changed)});
    return;
  }
  table.actions.emplace_back(ReplaceDefault{std::move(column), defaultClause()});
}

// After a comma comes either another of the same kind or, with its own word, another action.
void Parser::addActions(AlterTable& table) {
  do {
    if (atConstraint()) {
      table.actions.emplace_back(AddConstraint{constraint(false)});
    } else {
      table.actions.emplace_back(AddColumn{columnDefinition()});
    }
    const bool another = atSymbol(",") && (atName(1) || atConstraint(1));
    if (!another) return;
  } while (acceptSymbol(","));
}

// Where `modify` names no type.
bool Parser::atColumnClause() const {
  static constexpr std::string_view kWords[] = {
      "null",       "not",     "in",          "off", "encrypt", "decrypt", "decrypt_default",
      "compressed", "default", "materialized"};
  return std::ranges::any_of(kWords, [&](std::string_view word) { return at(word); });
}

void Parser::modifyActions(AlterTable& table) {
  do {
    const Token& first = peek();
    ColumnDefinition column;
    column.name = name();
    if (at("as") || at("compute")) {
      since(15);
      take();
      column.computed = expression();
    } else if (!atColumnClause()) {
      column.type = dataType();
    }
    while (columnClause(column)) {
    }
    column.range = from(first);
    table.actions.emplace_back(ModifyColumn{std::move(column)});
  } while (atName(1) && acceptSymbol(","));
}

void Parser::dropActions(AlterTable& table) {
  bool constraints = false;
  do {
    constraints = accept("constraint") || constraints;
    if (constraints) {
      table.actions.emplace_back(DropConstraint{name()});
    } else {
      table.actions.emplace_back(DropColumn{name()});
    }
  } while (atSymbol(",") && (atName(1) || at("constraint", 1)) && acceptSymbol(","));
}

SwitchTrigger Parser::switchTrigger(bool enable) {
  expect("trigger");
  SwitchTrigger result{enable, {}};
  if (atName()) result.trigger = name();
  return result;
}

}  // namespace kelvane::tsql
