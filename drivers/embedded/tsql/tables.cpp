#include <algorithm>
#include <iterator>

#include "drivers/embedded/tsql/error.h"
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
  if (!proxy && result.columns.empty()) throw ServerError(message::syntax, previous().line, ")");
  tableTail(result);
  if (accept("external")) result.proxyType = wordText();
  if (accept("at")) result.remoteObject = nameOrString();
  result.proxy = proxy || !result.remoteObject.empty();
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
    since(15);
    take();
    take();
    column.storage.compressed = false;
  } else if (at("not") && at("materialized", 1)) {
    take();
    take();
    column.materialized = false;
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
    const std::string& type = column.type.name;
    const bool isLong = type == "text" || type == "image" || type == "unitext";
    if (isLong && at("in") && at("row", 1)) since(15);
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
  } else if (at("encrypt")) {
    since(15);
    take();
    storage.encrypted = true;
    if (accept("with")) storage.key = objectName();
  } else if (at("decrypt")) {
    since(15);
    take();
    storage.encrypted = false;
  } else if (at("decrypt_default")) {
    since(15);
    take();
    storage.decryptDefault = constant();
  } else if (at("compressed")) {
    since(15);
    take();
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
  static constexpr std::pair<std::string_view, int> kLater[] = {
      {"compression", 15},      {"dml_logging", 15},     {"erase", 15},  {"index_compression", 16},
      {"latch_free_index", 16}, {"lob_compression", 15}, {"online", 16}, {"transfer", 15}};
  for (const auto& [word, release] : kLater) {
    if (at(word)) since(release);
  }
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

}  // namespace kelvane::tsql
