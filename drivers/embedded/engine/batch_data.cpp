// Queries, changes, and everything that makes or drops something.

#include <algorithm>

#include "drivers/embedded/engine/batch.h"
#include "drivers/embedded/engine/builtins.h"
#include "drivers/embedded/engine/convert.h"
#include "drivers/embedded/engine/star_expansion.h"
#include "drivers/embedded/engine/typing.h"
#include "drivers/embedded/engine/walk.h"

namespace kelvane::embedded {

using namespace tsql;

namespace {

// Collects the rows of procedures that feed an insert; everything else goes on to the client.
class RowCollector : public Outcome {
 public:
  RowCollector(Server& server, Outcome& outcome) : server_(server), outcome_(outcome) {}

  void beginRows(const std::vector<ResultColumn>& columns) override {
    results.push_back({columns, {}});
  }
  void row(Row row) override {
    server_.countStep();
    results.back().rows.push_back(std::move(row));
  }
  void count(std::int64_t) override {}
  void notice(const Notice& notice) override { outcome_.notice(notice); }

  std::vector<ResultSet> results;

 private:
  Server& server_;
  Outcome& outcome_;
};

}  // namespace

TranslationContext BatchRun::context() const {
  TranslationContext context{server_.catalog, session_.caller, session_.temporaries, variables_};
  context.beforeRun = compiling_;
  context.rowLimit = session_.options.rowLimit;
  context.systemColumns = &server_.systemColumns;
  context.ansiNull = session_.options.ansiNull;
  context.rowRules = &server_.rowRules;
  context.tableColumns = &server_.tableColumns;
  context.namesVersion = server_.namesVersion();
  if (compiling_) context.createdLater = &createdLater_;
  context.identityInsert = writesIdentity();
  context.texts = batch_->texts;
  return context;
}

bool BatchRun::writesIdentity() const {
  const auto* insert = current_ == nullptr ? nullptr : std::get_if<Insert>(&current_->node);
  const std::string& table =
      compiling_ ? identityInsertTable_ : session_.options.identityInsertTable;
  return insert != nullptr && table == insert->table.name;
}

Circumstances BatchRun::circumstances() const {
  return {server_.namesVersion(),    session_.caller.uid, session_.caller.database,
          session_.options.rowLimit, writesIdentity(),    session_.options.ansiNull};
}

bool BatchRun::serves(const Prepared& prepared, const Circumstances& now) const {
  const Plan& plan = prepared.plan;
  return prepared.made == now &&
         std::ranges::all_of(plan.assumptions,
                             [&](const NullAssumption& assumption) {
                               const auto found = variables_.find(assumption.variable);
                               return found != variables_.end() &&
                                      isNull(found->second.value) == assumption.isNull;
                             }) &&
         std::ranges::all_of(plan.temporaries, [&](const TemporaryUse& use) {
           const auto found = session_.temporaries.find(use.name);
           return found != session_.temporaries.end() && found->second.definition == use.definition;
         });
}

// A plan is kept with its place in the tree and used again while nothing it was made from changed.
Prepared& BatchRun::prepared(const void* key, const Translate& translate) {
  // A node with more is one whose plans no longer serve.
  constexpr std::size_t kMostPlans = 4;
  const Circumstances now = circumstances();
  NodePlans& kept = plans_[key];
  const auto found =
      std::ranges::find_if(kept, [&](const Prepared& one) { return serves(one, now); });
  if (found != kept.end()) return *found;
  const TranslationContext made = context();
  Translator translator(made);
  Plan plan = translate(translator);
  if (kept.size() >= kMostPlans || (!kept.empty() && kept.front().made != now)) {
    for (Prepared& one : kept) giveBack(one);
    kept.clear();
  }
  kept.push_back({std::move(plan), now, {}});
  return kept.back();
}

void BatchRun::giveBack(Prepared& prepared) {
  if (!prepared.statement) return;
  server_.giveBack(prepared.plan.sql, std::move(*prepared.statement));
  prepared.statement.reset();
}

void BatchRun::giveBackStatements() {
  for (auto& [key, kept] : plans_) {
    for (Prepared& prepared : kept) giveBack(prepared);
  }
}

void BatchRun::forgetPlansOfLong() {
  if (batch_->text.size() <= kLongestKeptBatch) return;
  giveBackStatements();
  plans_.clear();
}

void BatchRun::returnPlans() {
  giveBackStatements();
  for (auto& [key, kept] : plans_) {
    std::erase_if(kept, [](const Prepared& prepared) { return prepared.plan.holdsTexts; });
  }
  batch_->plans = std::move(plans_);
}

Cell BatchRun::parameterValue(const Parameter& parameter, const Row* bound,
                              const ParsedBatch& batch) const {
  switch (parameter.source) {
    case Parameter::Source::Variable:
      return variables_.at(parameter.name).value;
    case Parameter::Source::Global:
      return session_.globalVariable(parameter.name);
    case Parameter::Source::Text:
      return batch.texts[parameter.position];
    case Parameter::Source::Literal:
      return parameter.name;
    case Parameter::Source::Number:
      return exactNumber(parameter.name);
    case Parameter::Source::Bound:
      return bound->at(parameter.position);
    case Parameter::Source::Session:
      break;
  }
  return parameter.name == "uid" ? Cell(std::int64_t{session_.caller.uid})
                                 : Cell(session_.caller.database);
}

void BatchRun::bind(Prepared& prepared, const Row* bound) { bind(prepared, bound, *batch_); }

void BatchRun::bind(Prepared& prepared, const Row* bound, const ParsedBatch& batch) {
  if (!prepared.statement) {
    prepared.statement = server_.statement(prepared.plan.sql);
  }
  prepared.statement->reset();
  // A parameter may have vanished from the text with the comparison that it was in.
  const auto used = std::min(prepared.plan.parameters.size(),
                             static_cast<std::size_t>(prepared.statement->parameterCount()));
  for (std::size_t i = 0; i < used; ++i) {
    prepared.statement->bind(static_cast<int>(i) + 1,
                             parameterValue(prepared.plan.parameters[i], bound, batch));
  }
}

bool BatchRun::step(Prepared& prepared) {
  struct Counted {
    bool& counted;
    ~Counted() { counted = false; }
  } counted{server_.running.counted};
  counted.counted = true;
  return prepared.statement->step();
}

std::int64_t BatchRun::execute(Prepared& prepared, const Row* bound) {
  bind(prepared, bound);
  while (step(prepared)) {
  }
  const std::int64_t rows = server_.catalog.store().changes();
  giveBack(prepared);
  return rows;
}

void BatchRun::changed(std::int64_t rows) {
  session_.rowCount = rows;
  if (!session_.options.noCount) outcome_.count(rows);
}

std::int64_t BatchRun::change(Prepared& prepared) {
  if (prepared.plan.trigger.empty() && prepared.plan.tests.empty()) return execute(prepared);
  Savepoint savepoint(server_.catalog.store());
  const std::int64_t rows = execute(prepared);
  if (rows > 0 && !prepared.plan.trigger.empty()) {
    throw ServerError(kNotSupported, 16, 1,
                      "The embedded catalog cannot run trigger '" + prepared.plan.trigger +
                          "', which the change of rows would fire.",
                      session_.caller.line);
  }
  if (rows > 0) runTests(prepared.plan.tests);
  savepoint.keep();
  return rows;
}

void BatchRun::runTests(const std::vector<std::string>& tests) {
  for (const std::string& test : tests) {
    Statement statement = server_.statement(test);
    statement.step();
    server_.giveBack(test, std::move(statement));
  }
}

void BatchRun::select(const SelectStatement& statement) {
  const Select& first = statement.query->terms.front().select;
  if (!first.into.empty()) return selectInto(statement);
  Prepared& rows = prepared(current_, [&](Translator& t) { return t.select(*statement.query); });
  bind(rows);
  if (!first.items.front().variable.empty()) return assignFrom(first, rows);
  outcome_.beginRows(rows.plan.columns);
  std::int64_t count = 0;
  while (step(rows)) {
    outcome_.row(rowOf(*rows.statement));
    ++count;
  }
  giveBack(rows);
  session_.rowCount = count;
}

void BatchRun::assignFrom(const Select& select, Prepared& rows) {
  std::int64_t count = 0;
  while (step(rows)) {
    ++count;
    const Row row = rowOf(*rows.statement);
    for (std::size_t i = 0; i < row.size(); ++i) {
      assign(select.items[i].variable, row[i], rows.plan.columns[i].type);
    }
  }
  giveBack(rows);
  session_.rowCount = count;
}

// Queries translated before the table had rows of its own read another one.
std::string BatchRun::rowTable(int tableId) {
  server_.namesChanged();
  return server_.catalog.rowTable(tableId);
}

void BatchRun::selectInto(const SelectStatement& statement) {
  const ObjectName& into = statement.query->terms.front().select.into;
  const TranslationContext made = context();
  Prepared rows;
  rows.plan = Translator(made).selectInto(*statement.query);
  std::vector<NamedColumn> columns;
  for (const ResultColumn& column : rows.plan.columns) {
    if (column.name.empty()) {
      throw ServerError(1038, 15, 1,
                        "SELECT INTO failed because column " + std::to_string(columns.size() + 1) +
                            " of the select list has no name.",
                        statement.query->range.line);
    }
    columns.push_back({column.name, column.type});
  }
  std::string table;
  std::vector<ColumnInfo> stored;
  if (into.name.starts_with('#')) {
    for (const NamedColumn& column : columns) {
      ColumnInfo info;
      info.name = column.name;
      info.type = column.type;
      info.colid = static_cast<int>(stored.size()) + 1;
      stored.push_back(info);
    }
    table = temporaryTable(into.name, stored, {}, statement.query->range.line);
  } else {
    const ObjectInfo object = server_.catalog.createTable(into, columns, session_.caller);
    table = rowTable(object.id);
  }
  rows.plan.sql = "INSERT INTO " + table + " " + rows.plan.sql;
  changed(execute(rows));
}

// Of the statement at hand. Its table gets its place for rows, which others in the batch then find.
Prepared& BatchRun::insertPlan(const Insert& statement) {
  const auto translate = [&](Translator& t) {
    return t.insert(statement, t.writeTarget(statement.table));
  };
  if (const int table = prepared(current_, translate).plan.rowlessTable; table != 0) {
    rowTable(table);
  }
  return prepared(current_, translate);
}

void BatchRun::insert(const Insert& statement) {
  if (std::holds_alternative<Execute>(statement.source) ||
      std::holds_alternative<ExecuteImmediate>(statement.source)) {
    const TranslationContext made = context();
    WriteTarget target = Translator(made).writeTarget(statement.table);
    if (!target.isTemporary()) target.sqliteTable = rowTable(target.id);
    return insertExecuted(statement, target);
  }
  Prepared& rows = insertPlan(statement);
  const bool givesIdentity = rows.plan.givesIdentity;
  const std::int64_t inserted = change(rows);
  if (inserted == 0 && rows.plan.leavesOutDuplicates) {
    outcome_.notice({{3604, 10, 1, "Duplicate key was ignored."}, session_.caller.line});
  }
  changed(inserted);
  if (givesIdentity) session_.lastIdentity = server_.running.lastIdentity;
}

void BatchRun::insertExecuted(const Insert& statement, const WriteTarget& target) {
  RowCollector collected(server_, outcome_);
  if (const auto* call = std::get_if<Execute>(&statement.source)) {
    executeProcedure(*call, collected);
  } else {
    executeText(std::get<ExecuteImmediate>(statement.source), collected);
  }
  Savepoint savepoint(server_.catalog.store());
  std::int64_t count = 0;
  for (const ResultSet& result : collected.results) {
    std::vector<ColumnType> types;
    for (const ResultColumn& column : result.columns) types.push_back(column.type);
    const TranslationContext made = context();
    Prepared plan;
    plan.plan = Translator(made).insertBound(statement, target, types);
    for (const Row& row : result.rows) count += execute(plan, &row);
  }
  savepoint.keep();
  changed(count);
}

// temporary tables

std::string BatchRun::temporaryTable(const std::string& name, std::vector<ColumnInfo> columns,
                                     std::vector<std::string> defaults, std::uint32_t line) {
  if (session_.temporaries.contains(name)) {
    throw ServerError(2714, 16, 1,
                      "There is already an object named '" + name + "' in the database.", line);
  }
  std::string list;
  for (ColumnInfo& column : columns) {
    column.sqliteColumn = "c" + std::to_string(column.colid);
    list += (list.empty() ? "" : ", ") + column.sqliteColumn +
            (isCharacter(column.type.kind) ? " TEXT COLLATE RTRIM" : "");
  }
  TemporaryTable table{name, session_.temporaryStorage(list), list, std::move(columns),
                       std::move(defaults)};
  table.definition = server_.definition(table);
  const std::string sqliteTable = table.sqliteTable;
  session_.temporaries.emplace(name, std::move(table));
  if (session_.nestLevel > 0) ownTemporaries_.push_back(name);
  return sqliteTable;
}

void BatchRun::createTemporary(const CreateTable& statement) {
  std::vector<ColumnInfo> columns;
  std::vector<std::string> defaults;
  for (const ColumnDefinition& definition : statement.columns) {
    Caller caller = session_.caller;
    caller.line = definition.range.line;
    ColumnInfo column;
    column.name = definition.name;
    column.colid = static_cast<int>(columns.size()) + 1;
    const ColumnType declared = server_.catalog.resolveType(definition.type, caller);
    const bool nullable = definition.nullability == Nullability::Unspecified
                              ? declared.nullable
                              : definition.nullability == Nullability::Null;
    column.type = withNullability(declared, nullable);
    column.type.identity = definition.identity;
    columns.push_back(column);
    defaults.push_back(definition.defaultClause
                           ? std::string(definition.defaultClause->range.in(batch_->text))
                           : "");
  }
  temporaryTable(statement.name.name, std::move(columns), std::move(defaults),
                 statement.name.range.line);
}

// One after the other, whatever becomes of those before.
void BatchRun::dropObjects(const Drop& statement) {
  std::optional<ServerError> failure;
  for (const ObjectName& name : statement.names) {
    try {
      if (statement.kind == DropKind::Table && name.name.starts_with('#')) {
        dropTemporary(name);
      } else {
        server_.catalog.drop({statement.kind, {name}, statement.override}, session_.caller);
        server_.namesChanged();
      }
    } catch (const ServerError& error) {
      if (failure) tell(*current_, *failure);
      failure = error;
    }
  }
  if (failure) throw *failure;
}

void BatchRun::dropTemporary(const ObjectName& name) {
  if (!session_.temporaries.contains(name.name)) {
    throw ServerError(3701, 11, 1,
                      "Cannot drop the table '" + name.name +
                          "', because it doesn't exist in the system catalogs.",
                      name.range.line);
  }
  session_.dropTemporary(name.name);
}

// definitions

void BatchRun::createView(const CreateView& view, std::string_view text) {
  const TranslationContext made = context();
  const Plan plan = Translator(made).select(*view.query);
  std::vector<NamedColumn> columns;
  for (const ResultColumn& column : plan.columns) columns.push_back({column.name, column.type});
  server_.catalog.createView(view, text, columns, session_.caller);
}

namespace {

// A computed column is computed when it is read, which is what the server does unless it is
// materialized; then only an expression without side conditions gives the same.
void requireSteady(const ColumnDefinition& column) {
  if (!column.computed || !column.materialized) return;
  const bool changes = anyWithin(*column.computed, [](const Expr& part) {
    const auto* call = as<Call>(part);
    return call != nullptr && isVolatileFunction(lowered(call->function.name));
  });
  if (!changes) return;
  throw ServerError(kNotSupported, 16, 1,
                    "The embedded catalog cannot keep the materialized column '" + column.name +
                        "', whose value depends on when it is computed.",
                    column.range.line);
}

}  // namespace

namespace {

// Whose rows are then looked at; those of a new check are not.
bool addsReference(const AlterTable& table) {
  return std::ranges::any_of(table.actions, [](const AlterAction& action) {
    const auto references = [](const Constraint& constraint) {
      return std::holds_alternative<ForeignKeyConstraint>(constraint.node);
    };
    if (const auto* add = std::get_if<AddConstraint>(&action)) return references(add->constraint);
    const auto* column = std::get_if<AddColumn>(&action);
    return column != nullptr && std::ranges::any_of(column->column.constraints, references);
  });
}

}  // namespace

namespace {

// Tells of changed names at its end.
class NamesChange {
 public:
  explicit NamesChange(Server& server) : server_(server) {}
  ~NamesChange() { server_.namesChanged(); }
  NamesChange(const NamesChange&) = delete;
  NamesChange& operator=(const NamesChange&) = delete;

 private:
  Server& server_;
};

}  // namespace

RowValues BatchRun::rowValues() {
  return {[this](const Expr& value, const ColumnType& type) { return evaluate(value, &type); },
          [this](const Cell& value, const ColumnType& from, const ColumnType& to) {
            return convertCell(value, from, to, 0, session_.caller.line);
          },
          [this](const Expr& expression, const ObjectName& table) {
            TranslationContext made = context();
            made.tableColumns = nullptr;
            return Translator(made).typeOf(expression, table);
          }};
}

void BatchRun::define(const tsql::Statement& statement) {
  Catalog& catalog = server_.catalog;
  const Caller& caller = session_.caller;
  const std::string_view text = batch_->text;
  const auto stored = [&] {
    return withExpandedStars(statement, text, catalog, caller, session_.temporaries);
  };
  if (const auto* table = std::get_if<CreateTable>(&statement.node)) {
    if (table->name.name.starts_with('#')) return createTemporary(*table);
  }
  if (const auto* drop = std::get_if<Drop>(&statement.node)) return dropObjects(*drop);
  // A definition that fails is undone, which is a change for those who looked in between.
  const NamesChange change(server_);
  std::visit(Overloaded{
                 [&](const CreateTable& s) {
                   for (const ColumnDefinition& column : s.columns) requireSteady(column);
                   catalog.createTable(s, text, rowValues(), caller);
                 },
                 [&](const AlterTable& s) {
                   for (const AlterAction& action : s.actions) {
                     if (const auto* add = std::get_if<AddColumn>(&action)) {
                       requireSteady(add->column);
                     }
                   }
                   Savepoint savepoint(catalog.store());
                   catalog.alterTable(s, text, rowValues(), caller);
                   if (addsReference(s)) {
                     server_.namesChanged();
                     const TranslationContext made = context();
                     Translator translator(made);
                     runTests(translator.orphanTests(translator.writeTarget(s.table)));
                   }
                   savepoint.keep();
                 },
                 [&](const CreateIndex& s) {
                   if (!s.table.name.starts_with('#'))
                     catalog.createIndex(s, text, rowValues(), caller);
                 },
                 [&](const CreateView& s) { createView(s, stored()); },
                 [&](const CreateProcedure& s) { catalog.createProcedure(s, stored(), caller); },
                 [&](const CreateFunction& s) { catalog.createFunction(s, stored(), caller); },
                 [&](const CreateTrigger& s) { catalog.createTrigger(s, stored(), caller); },
                 [&](const CreateRule& s) { catalog.createRule(s, text, caller); },
                 [&](const CreateDefault& s) { catalog.createDefault(s, text, caller); },
                 [&](const Permission& s) { catalog.permission(s, caller); },
                 [](const auto&) {},
             },
             statement.node);
}

// cursors

void BatchRun::openCursor(const OpenCursor& open) {
  const auto found = session_.cursors.find(open.name);
  if (found == session_.cursors.end()) {
    throw ServerError(557, 16, 1,
                      "Attempt to use a cursor '" + open.name +
                          "' which is not found. Check to see if the cursor has been deallocated.",
                      session_.caller.line);
  }
  TranslationContext made = context();
  made.texts = found->second.batch->texts;
  Prepared rows;
  rows.plan = Translator(made).select(*found->second.query);
  bind(rows, nullptr, *found->second.batch);
  ResultSet result{rows.plan.columns, {}};
  while (step(rows)) {
    server_.countStep();
    result.rows.push_back(rowOf(*rows.statement));
  }
  giveBack(rows);
  found->second.rows = std::move(result);
  found->second.next = 0;
}

void BatchRun::fetchCursor(const FetchCursor& fetch) {
  constexpr int kFetched = 0, kNoMoreRows = 2;
  const auto found = session_.cursors.find(fetch.name);
  if (found == session_.cursors.end() || !found->second.rows) {
    throw ServerError(559, 16, 1, "Attempt to use a cursor '" + fetch.name + "' which is not open.",
                      session_.caller.line);
  }
  Cursor& cursor = found->second;
  if (cursor.next >= cursor.rows->rows.size()) {
    session_.cursorStatus = kNoMoreRows;
    session_.rowCount = 0;
    return;
  }
  const Row& row = cursor.rows->rows[cursor.next++];
  session_.cursorStatus = kFetched;
  session_.rowCount = 1;
  if (fetch.into.empty()) {
    outcome_.beginRows(cursor.rows->columns);
    outcome_.row(row);
    return;
  }
  for (std::size_t i = 0; i < fetch.into.size() && i < row.size(); ++i) {
    assign(fetch.into[i], row[i], cursor.rows->columns[i].type);
  }
}

}  // namespace kelvane::embedded
