// Queries, changes and cursors.

#include <algorithm>

#include "drivers/embedded/engine/batch.h"
#include "drivers/embedded/engine/convert.h"
#include "drivers/embedded/engine/typing.h"

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

void BatchRun::changed(std::int64_t rows) {
  session_.rowCount = rows;
  if (!session_.options.noCount) outcome_.count(rows);
}

std::int64_t BatchRun::change(Prepared& prepared) {
  return change(prepared.plan, [&] { return execute(prepared); });
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

void BatchRun::selectIntoExisting(const SelectStatement& statement) {
  Insert insert{statement.query->terms.front().select.into, {}, InsertDefaults{}};
  const TranslationContext made = context();
  WriteTarget target = Translator(made).writeTarget(insert.table);
  if (!target.isTemporary()) target.sqliteTable = rowTable(target.id);
  Prepared rows;
  rows.plan = Translator(context()).selectInto(*statement.query);
  bind(rows);
  ResultSet found{rows.plan.columns, {}};
  while (step(rows)) {
    server_.countStep();
    found.rows.push_back(rowOf(*rows.statement));
  }
  giveBack(rows);
  std::vector<ResultSet> results;
  results.push_back(std::move(found));
  changed(insertResults(insert, target, results));
}

void BatchRun::selectInto(const SelectStatement& statement) {
  if (statement.query->terms.front().select.intoExisting) return selectIntoExisting(statement);
  const ObjectName& into = statement.query->terms.front().select.into;
  const TranslationContext made = context();
  Prepared rows;
  rows.plan = Translator(made).selectInto(*statement.query);
  std::vector<NamedColumn> columns;
  for (const ResultColumn& column : rows.plan.columns) {
    if (column.name.empty()) {
      throw ServerError(message::selectIntoUnnamed, statement.query->range.line,
                        columns.size() + 1);
    }
    columns.push_back({column.name, column.type});
  }
  std::string table;
  if (into.name.starts_with('#')) {
    TemporaryTable made;
    made.name = into.name;
    for (const NamedColumn& column : columns) {
      ColumnInfo& info = made.columns.emplace_back();
      info.name = column.name;
      info.type = column.type;
    }
    table = addTemporary(std::move(made), statement.query->range.line);
  } else {
    const InDatabase there(session_, into.database);
    const ObjectInfo object = server_.catalog.createTable(
        into, columns, statement.query->terms.front().select.intoStorage, batch_->text,
        session_.caller);
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

RowPlan BatchRun::rowPlan(const tsql::Statement& statement) {
  current_ = &statement;
  const auto& insert = std::get<Insert>(statement.node);
  RowPlan rows;
  const auto translate = [&] {
    const TranslationContext made = context();
    Translator translator(made);
    rows.plan = translator.insertStored(insert, translator.writeTarget(insert.table), rows.types);
  };
  translate();
  if (rows.plan.rowlessTable != 0) {
    rowTable(rows.plan.rowlessTable);
    translate();
  }
  rows.made = circumstances();
  return rows;
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
    outcome_.notice({message::duplicateIgnored, session_.caller.line});
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
  changed(insertResults(statement, target, collected.results));
}

std::int64_t BatchRun::insertResults(const Insert& statement, const WriteTarget& target,
                                     const std::vector<ResultSet>& results) {
  if (results.empty()) return 0;
  std::vector<Prepared> plans(results.size());
  for (std::size_t i = 0; i < plans.size(); ++i) {
    std::vector<ColumnType> types;
    for (const ResultColumn& column : results[i].columns) types.push_back(column.type);
    const TranslationContext made = context();
    plans[i].plan = Translator(made).insertBound(statement, target, types);
  }
  Savepoint savepoint(server_.catalog.store());
  const std::int64_t count = change(plans.front().plan, [&] {
    std::int64_t inserted = 0;
    for (std::size_t i = 0; i < plans.size(); ++i) {
      for (const Row& row : results[i].rows) inserted += execute(plans[i], &row);
    }
    return inserted;
  });
  savepoint.keep();
  return count;
}

void BatchRun::refusePartition(const Truncate& truncate) {
  throw ServerError(message::rowsOfPartition, session_.caller.line, truncate.table.name,
                    truncate.partition);
}

// cursors

void BatchRun::openCursor(const OpenCursor& open) {
  const auto found = session_.cursors.find(open.name);
  if (found == session_.cursors.end()) {
    throw ServerError(message::cursorNotFound, session_.caller.line, open.name);
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
  session_.cursorRows = static_cast<std::int64_t>(result.rows.size());
  found->second.rows = std::move(result);
  found->second.next = 0;
  found->second.fetched = 0;
}

// The row that a fetch goes to, from 0; one outside of the rows where there is none.
std::int64_t BatchRun::wantedRow(const FetchCursor& fetch, const Cursor& cursor) {
  const auto next = static_cast<std::int64_t>(cursor.next);
  if (fetch.direction.empty() || fetch.direction == "next") return next;
  if (!cursor.scroll) {
    throw ServerError(message::notScrollCursor, session_.caller.line, fetch.name, fetch.direction);
  }
  const auto size = static_cast<std::int64_t>(cursor.rows->rows.size());
  const ColumnType number = intType(true);
  const Cell given = fetch.offset ? evaluate(*fetch.offset, &number) : Cell(std::int64_t{0});
  const std::int64_t offset = isNull(given) ? 0 : std::get<std::int64_t>(given);
  if (fetch.direction == "prior") return next - 2;
  if (fetch.direction == "first") return size == 0 ? -1 : 0;
  if (fetch.direction == "last") return size - 1;
  if (fetch.direction == "relative") return next - 1 + offset;
  return offset < 0 ? size + offset : offset - 1;
}

void BatchRun::fetchCursor(const FetchCursor& fetch) {
  constexpr int kFetched = 0, kNoMoreRows = 2;
  const auto found = session_.cursors.find(fetch.name);
  if (found == session_.cursors.end() || !found->second.rows) {
    throw ServerError(message::cursorNotOpen, session_.caller.line, fetch.name);
  }
  Cursor& cursor = found->second;
  const auto size = static_cast<std::int64_t>(cursor.rows->rows.size());
  const std::int64_t at = std::clamp<std::int64_t>(wantedRow(fetch, cursor), -1, size);
  const bool isRow = at >= 0 && at < size;
  cursor.next = static_cast<std::size_t>(at + 1);
  cursor.fetched += isRow ? 1 : 0;
  session_.cursorStatus = isRow ? kFetched : kNoMoreRows;
  session_.rowCount = cursor.fetched;
  if (!isRow) return;
  const Row& row = cursor.rows->rows[static_cast<std::size_t>(at)];
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
