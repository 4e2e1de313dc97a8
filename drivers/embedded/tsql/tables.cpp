#include <algorithm>
#include <iterator>

#include "drivers/embedded/tsql/grammar.h"
#include "drivers/embedded/tsql/words.h"

namespace kelvane::tsql {

namespace {

void append(std::vector<StorageOption>& options, std::vector<StorageOption> more) {
  std::ranges::move(more, std::back_inserter(options));
}

}  // namespace

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
  if (proxy && accept("external")) result.proxyType = wordText();
  if (proxy && accept("at")) result.remoteObject = nameOrString();
  return result;
}

void Parser::tableTail(TableStorage& table) {
  for (;;) {
    if (at("lock") && !at("table", 1)) {
      take();
      table.lockScheme = wordText();
    } else if (accept("with")) {
      append(table.options, storageOptions());
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

// partitions

Partitioning Parser::partitioning() {
  since(15);
  Partitioning result;
  expect("partition");
  expect("by");
  result.method = wordText();
  if (result.method != "roundrobin" && atSymbol("(")) result.columns = parenthesizedNames();
  if (atKind(TokenKind::Integer)) {
    result.partitions = unnamedPartitions();
  } else if (atSymbol("(")) {
    result.partitions = partitions();
  }
  return result;
}

// `3 on (seg1, seg2)`
std::vector<Partition> Parser::unnamedPartitions() {
  constexpr std::int64_t kMost = 10'000;
  std::vector<Partition> result(static_cast<std::size_t>(integer(kMost)));
  if (!at("on")) return result;
  take();
  std::vector<std::string> segments;
  const auto add = [&] { segments.push_back(accept("default") ? "default" : nameOrString()); };
  if (atSymbol("(")) {
    parenthesizedList(add);
  } else {
    add();
  }
  for (std::size_t i = 0; i < result.size(); ++i) {
    result[i].segment = segments[i % segments.size()];
  }
  return result;
}

std::vector<Partition> Parser::partitions() {
  std::vector<Partition> result;
  parenthesizedList([&] { result.push_back(partition()); });
  return result;
}

Partition Parser::partition() {
  Partition result;
  if (!at("values")) result.name = name();
  if (at("values")) {
    const Token& first = take();
    acceptSymbol("<=");
    skipParenthesized();
    result.condition = from(first);
  }
  if (at("on")) result.segment = segment();
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
  if (at("as") || at("compute")) {
    since(15);
    take();
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
  } else if (at("not") && at("compressed", 1)) {
    take();
    take();
    column.storage.compressed = false;
  } else if (at("not") && at("materialized", 1)) {
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
    return storageClause(column.storage);
  }
  return true;
}

bool Parser::storageClause(ColumnStorage& storage) {
  if ((at("in") || at("off")) && at("row", 1)) {
    storage.place = at("in") ? LobPlace::InRow : LobPlace::OffRow;
    take();
    take();
    if (acceptSymbol("(")) {
      storage.rowLength = typeArgument();
      expectSymbol(")");
    }
  } else if (accept("encrypt")) {
    storage.encrypted = true;
    if (accept("with")) storage.key = objectName();
  } else if (accept("decrypt")) {
    storage.encrypted = false;
  } else if (accept("decrypt_default")) {
    storage.decryptDefault = constant();
  } else if (accept("compressed")) {
    storage.compressed = true;
    if (acceptSymbol("=")) storage.level = typeArgument();
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
  static constexpr std::string_view kWords[] = {"ignore_dup_key", "ignore_dup_row", "allow_dup_row",
                                                "sorted_data",    "statistics",     "online"};
  return atSymbol(",") && atKind(TokenKind::Word, 1) &&
         (atSymbol("=", 2) || (at("transfer", 1) && at("table", 2)) ||
          (at("erase", 1) && at("residual", 2)) ||
          std::ranges::any_of(kWords, [&](std::string_view word) { return at(word, 1); }));
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
    } else {
      result.text = atKind(TokenKind::Word) ? wordText() : lowerCase(nameOrString());
    }
  } else if (result.name == "transfer" && accept("table")) {
    result.name = "transfer table";
    result.text = wordText();
  } else if (result.name == "erase") {
    expect("residual");
    expect("data");
    result.name = "erase residual data";
    result.text = wordText();
  } else if (result.name == "no" && accept("datacopy")) {
    result.name = "no datacopy";
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
      append(result.options, storageOptions());
    } else if (at("on")) {
      result.segment = segment();
    } else if (at("local") && at("index", 1)) {
      since(15);
      take();
      take();
      result.local = true;
      if (atName()) commaList([&] { result.partitions.push_back(partition()); });
    } else {
      return result;
    }
  }
}

// alter table

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
  while (acceptSymbol(","));
  return result;
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
      "null", "not", "in", "off", "encrypt", "decrypt", "decrypt_default", "compressed", "default"};
  return std::ranges::any_of(kWords, [&](std::string_view word) { return at(word); });
}

void Parser::modifyActions(AlterTable& table) {
  do {
    const Token& first = peek();
    ColumnDefinition column;
    column.name = name();
    if (!atColumnClause()) column.type = dataType();
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
