#include <algorithm>

#include "drivers/embedded/tsql/grammar.h"
#include "drivers/embedded/tsql/words.h"

namespace kelvane::tsql {

StatementNode Parser::createTable(bool proxy) {
  CreateTable result;
  result.proxy = proxy;
  result.name = objectName();
  const auto element = [&] {
    if (atConstraint()) {
      result.constraints.push_back(constraint(false));
    } else {
      result.columns.push_back(columnDefinition());
    }
  };
  if (!proxy || atSymbol("(")) parenthesizedList(element);
  tableTail(result);
  if (proxy && accept("external")) wordText();  // table, procedure or file
  if (proxy && accept("at")) nameOrString();
  return result;
}

void Parser::tableTail(CreateTable& table) {
  for (;;) {
    if (at("lock") && !at("table", 1)) {
      take();
      table.lockScheme = wordText();
    } else if (accept("with")) {
      table.options = storageOptions();
    } else if (at("on")) {
      table.segment = segment();
    } else if (at("partition")) {
      table.partitioning = partitioning();
    } else {
      return;
    }
  }
}

std::string Parser::segment() {
  expect("on");
  if (accept("default")) return "default";
  return nameOrString();
}

Partitioning Parser::partitioning() {
  const Token& first = peek();
  Partitioning result;
  expect("partition");
  expect("by");
  result.method = wordText();
  if (result.method != "roundrobin" && atSymbol("(")) result.columns = parenthesizedNames();
  if (atKind(TokenKind::Integer)) take();
  if (atSymbol("(")) skipParenthesized();
  if (at("on") && atSymbol("(", 1)) {
    take();
    skipParenthesized();
  }
  result.range = from(first);
  return result;
}

// columns and constraints

bool Parser::atConstraint(std::size_t ahead) const {
  static constexpr std::string_view kWords[] = {"constraint", "primary", "unique",
                                                "foreign",    "check",   "references"};
  return std::ranges::any_of(kWords, [&](std::string_view word) { return at(word, ahead); });
}

ColumnDefinition Parser::columnDefinition() {
  const Token& first = peek();
  ColumnDefinition column;
  column.name = name();
  if (accept("as") || accept("compute")) {
    column.computed = expression();
  } else if (equalsIgnoringCase(column.name, "timestamp") && !atName()) {
    column.type.name = column.name;  // a lone `timestamp` is both the name and the type
    column.type.range = from(first);
  } else {
    column.type = dataType();
  }
  while (columnClause(column)) {
  }
  column.range = from(first);
  return column;
}

bool Parser::columnClause(ColumnDefinition& column) {
  if (at("default")) {
    column.defaultClause = defaultClause();
  } else if (accept("null")) {
    column.nullability = Nullability::Null;
  } else if (at("not") && (at("materialized", 1) || at("compressed", 1))) {
    take();
    take();
  } else if (accept("not")) {
    expect("null");
    column.nullability = Nullability::NotNull;
  } else if (accept("identity")) {
    column.identity = true;
  } else if (accept("materialized")) {
    column.materialized = true;
  } else if (atConstraint()) {
    column.constraints.push_back(constraint(true));
  } else {
    return storageClause(column);
  }
  return true;
}

bool Parser::storageClause(ColumnDefinition& column) {
  if ((at("in") || at("off")) && at("row", 1)) {
    const std::string where = wordText();
    column.storage.push_back(where + ' ' + wordText());
    if (atSymbol("(")) skipParenthesized();
  } else if (accept("encrypt")) {
    column.storage.emplace_back("encrypt");
    if (accept("with")) objectName();
    if (accept("decrypt_default")) constant();
  } else if (accept("compressed")) {
    column.storage.emplace_back("compressed");
    if (acceptSymbol("=")) take();
  } else {
    return false;
  }
  return true;
}

DefaultClause Parser::defaultClause() {
  const Token& first = peek();
  expect("default");
  DefaultClause result;
  result.value = expression(Level::Additive);
  result.range = from(first);
  return result;
}

Constraint Parser::constraint(bool ofColumn) {
  const Token& first = peek();
  Constraint result;
  if (accept("constraint")) result.name = name();
  if (accept("primary")) {
    expect("key");
    result.node = keyConstraint(true, ofColumn);
  } else if (accept("unique")) {
    result.node = keyConstraint(false, ofColumn);
  } else if (at("check")) {
    result.node = check();
  } else if (ofColumn) {
    result.node = references();
  } else {
    expect("foreign");
    expect("key");
    std::vector<std::string> columns = parenthesizedNames();
    ForeignKeyConstraint key = references();
    key.columns = std::move(columns);
    result.node = std::move(key);
  }
  result.range = from(first);
  return result;
}

Clustering Parser::clustering() {
  if (accept("clustered")) return Clustering::Clustered;
  return accept("nonclustered") ? Clustering::Nonclustered : Clustering::Unspecified;
}

KeyConstraint Parser::keyConstraint(bool primary, bool ofColumn) {
  KeyConstraint result;
  result.primary = primary;
  result.clustering = clustering();
  if (ofColumn) {
    sortOrder();
  } else {
    parenthesizedList([&] { result.columns.push_back(indexKey()); });
  }
  if (accept("with")) result.options = storageOptions();
  if (at("on")) result.segment = segment();
  return result;
}

ForeignKeyConstraint Parser::references() {
  ForeignKeyConstraint result;
  expect("references");
  result.table = objectName();
  if (atSymbol("(")) result.referenced = parenthesizedNames();
  if (accept("match")) {
    expect("full");
    result.matchFull = true;
  }
  return result;
}

CheckConstraint Parser::check() {
  const Token& first = peek();
  CheckConstraint result;
  expect("check");
  expectSymbol("(");
  result.condition = expression();
  expectSymbol(")");
  result.range = from(first);
  return result;
}

// indexes

IndexKey Parser::indexKey() {
  IndexKey result;
  ExprPtr key = expression(Level::Additive);
  const auto* column = std::get_if<ColumnRef>(&key->node);
  if (column && column->table.empty()) {
    result.column = column->column;
  } else {
    result.expression = std::move(key);
  }
  result.order = sortOrder();
  return result;
}

// In a list of columns a comma may also begin the next column.
bool Parser::atNextStorageOption() const {
  return atSymbol(",") && atKind(TokenKind::Word, 1) &&
         (atSymbol("=", 2) || at("ignore_dup_key", 1) || at("ignore_dup_row", 1) ||
          at("allow_dup_row", 1) || at("sorted_data", 1) || at("statistics", 1) ||
          (at("transfer", 1) && at("table", 2)));
}

std::vector<StorageOption> Parser::storageOptions() {
  std::vector<StorageOption> options{storageOption()};
  while (atNextStorageOption()) {
    take();
    options.push_back(storageOption());
  }
  return options;
}

StorageOption Parser::storageOption() {
  StorageOption result;
  result.name = wordText();
  if (result.name == "statistics") {
    result.name += ' ' + wordText();
    if (atKind(TokenKind::Integer)) result.value = integer();
    accept("values");
  } else if (acceptSymbol("=")) {
    if (atKind(TokenKind::Integer)) {
      result.value = integer();
    } else if (at("on")) {
      take();
    } else {
      nameOrString();
    }
  } else if (result.name == "transfer" && accept("table")) {
    take();
  }
  return result;
}

StatementNode Parser::createIndex() {
  CreateIndex result;
  result.unique = accept("unique");
  result.clustering = clustering();
  expect("index");
  result.name = name();
  expect("on");
  result.table = objectName();
  parenthesizedList([&] { result.keys.push_back(indexKey()); });
  for (;;) {
    if (accept("with")) {
      result.options = storageOptions();
    } else if (at("on")) {
      result.segment = segment();
    } else if (at("local") && at("index", 1)) {
      take();
      take();
      if (atName())
        commaList([&] {
          name();
          if (at("on")) segment();
        });
    } else {
      return result;
    }
  }
}

// alter table

StatementNode Parser::alterStatement() {
  if (at("database", 1) || at("role", 1) || at("login", 1)) return utilityStatement();
  expect("alter");
  expect("table");
  AlterTable result;
  result.table = objectName();
  do alterAction(result);
  while (acceptSymbol(","));
  return result;
}

void Parser::alterAction(AlterTable& table) {
  if ((at("add") || at("drop")) && at("partition", 1)) {
    take();
    table.actions.emplace_back(ChangeStorage{{{wordText(), {}}}});
    if (atSymbol("(")) {
      skipParenthesized();
    } else {
      commaList([&] { name(); });
    }
  } else if (accept("add")) {
    addActions(table);
  } else if (accept("drop")) {
    dropActions(table);
  } else if (accept("modify")) {
    modifyActions(table);
  } else if (accept("replace")) {
    ReplaceDefault action;
    action.column = name();
    action.value = defaultClause();
    table.actions.emplace_back(std::move(action));
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

void Parser::modifyActions(AlterTable& table) {
  do {
    const Token& first = peek();
    ColumnDefinition column;
    column.name = name();
    if (!at("null") && !at("not") && !at("in") && !at("off")) column.type = dataType();
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
