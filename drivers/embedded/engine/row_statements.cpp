#include "drivers/embedded/engine/row_statements.h"

#include <algorithm>
#include <utility>

#include "drivers/embedded/engine/convert.h"
#include "drivers/embedded/engine/typing.h"
#include "drivers/embedded/engine/write_translator.h"

namespace kelvane::embedded {

using namespace tsql;

void RowStatements::select(const SelectStatement& statement) {
  const Select& first = statement.query->terms.front().select;
  if (!first.into.empty()) return selectInto(*statement.query);
  Prepared& rows =
      frame_.prepared(frame_.current(), [&](Translator& t) { return t.select(*statement.query); });
  frame_.bind(rows);
  if (!first.items.front().variable.empty()) return assignFrom(first, rows);
  reporter_.outcome().beginRows(rows.plan.columns);
  std::int64_t count = 0;
  while (frame_.step(rows)) {
    reporter_.outcome().row(rowOf(*rows.statement));
    ++count;
  }
  frame_.giveBack(rows);
  session_.last.rowCount = count;
}

void RowStatements::describe(const SelectStatement& statement) {
  const Select& first = statement.query->terms.front().select;
  if (!first.into.empty() || !first.items.front().variable.empty()) return;
  const Prepared& rows =
      frame_.prepared(frame_.current(), [&](Translator& t) { return t.select(*statement.query); });
  reporter_.outcome().beginRows(rows.plan.columns);
}

void RowStatements::assignFrom(const Select& select, Prepared& rows) {
  std::int64_t count = 0;
  while (frame_.step(rows)) {
    ++count;
    const Row row = rowOf(*rows.statement);
    for (std::size_t i = 0; i < row.size(); ++i) {
      frame_.assign(select.items[i].variable, row[i], rows.plan.columns[i].type);
    }
  }
  frame_.giveBack(rows);
  session_.last.rowCount = count;
}

// Queries translated before the table had rows of its own read another one.
std::string RowStatements::rowTable(int tableId) {
  server_.namesChanged();
  return server_.catalog.rowTable(tableId);
}

WriteTarget RowStatements::targetWithRows(const ObjectName& table) {
  WriteTarget target = frame_.writeTarget(table);
  if (!target.isTemporary()) target.sqliteTable = rowTable(target.id);
  return target;
}

void RowStatements::selectIntoExisting(const Query& query) {
  const Insert insert{query.terms.front().select.into, {}, InsertDefaults{}};
  const WriteTarget target = targetWithRows(insert.table);
  std::vector<ResultSet> results;
  results.push_back(frame_.rows([&](Translator& t) { return t.selectInto(query); }));
  reporter_.changed(insertResults(insert, target, results));
}

// A select into makes its table when it runs.
void RowStatements::selectInto(const Query& query) {
  const Select& first = query.terms.front().select;
  if (first.intoExisting) return selectIntoExisting(query);
  Prepared rows;
  rows.plan = frame_.plan([&](Translator& t) { return t.selectInto(query); });
  const std::string table = newTable(first, rows.plan.columns, query.range.line);
  rows.plan.sql = "INSERT INTO " + table + " " + rows.plan.sql;
  reporter_.changed(frame_.execute(rows));
}

// Returns its name in SQLite.
std::string RowStatements::newTable(const Select& select, const std::vector<ResultColumn>& results,
                                    std::uint32_t line) {
  std::vector<NamedColumn> columns;
  for (const ResultColumn& column : results) {
    if (column.name.empty()) {
      throw ServerError(message::selectIntoUnnamed, line, columns.size() + 1);
    }
    columns.push_back({column.name, column.type});
  }
  if (select.into.name.starts_with('#')) {
    TemporaryTable made;
    made.name = select.into.name;
    for (const NamedColumn& column : columns) {
      ColumnInfo& info = made.columns.emplace_back();
      info.name = column.name;
      info.type = column.type;
    }
    return temporaries_.add(std::move(made), line).sqliteTable;
  }
  const InDatabase there(session_, select.into.database);
  const ObjectInfo object = server_.catalog.createTable(select.into, columns, select.intoStorage,
                                                        frame_.batch()->text, session_.caller);
  return rowTable(object.id);
}

// Of the statement at hand. Its table gets its place for rows, which others in the batch then find.
Prepared& RowStatements::insertPlan(const Insert& statement) {
  const auto translate = [&](Translator& t) {
    WriteTranslator write(t);
    return write.insert(statement, write.writeTarget(statement.table));
  };
  if (const int table = frame_.prepared(frame_.current(), translate).plan.rowlessTable;
      table != 0) {
    rowTable(table);
  }
  return frame_.prepared(frame_.current(), translate);
}

RowPlan RowStatements::rowPlan(const tsql::Statement& statement) {
  frame_.lookAt(statement);
  const auto& insert = std::get<Insert>(statement.node);
  RowPlan rows;
  const auto translate = [&] {
    rows.plan = frame_.plan([&](Translator& t) {
      WriteTranslator write(t);
      return write.insertStored(insert, write.writeTarget(insert.table), rows.types);
    });
  };
  translate();
  if (rows.plan.rowlessTable != 0) {
    rowTable(rows.plan.rowlessTable);
    translate();
  }
  rows.made = frame_.circumstances();
  return rows;
}

void RowStatements::insert(const Insert& statement) {
  Prepared& rows = insertPlan(statement);
  const bool givesIdentity = rows.plan.givesIdentity;
  const std::int64_t inserted = change(rows);
  if (inserted == 0 && rows.plan.leavesOutDuplicates) {
    reporter_.outcome().notice({message::duplicateIgnored, frame_.line()});
  }
  reporter_.changed(inserted);
  if (givesIdentity) session_.last.identity = server_.running.lastIdentity;
}

std::int64_t RowStatements::insertResults(const Insert& statement, const WriteTarget& target,
                                          const std::vector<ResultSet>& results) {
  if (results.empty()) return 0;
  std::vector<Prepared> plans(results.size());
  for (std::size_t i = 0; i < plans.size(); ++i) {
    std::vector<ColumnType> types;
    for (const ResultColumn& column : results[i].columns) types.push_back(column.type);
    plans[i].plan = frame_.plan(
        [&](Translator& t) { return WriteTranslator(t).insertBound(statement, target, types); });
  }
  Savepoint savepoint(server_.catalog.store());
  const std::int64_t count = triggers_.change(plans.front().plan, [&] {
    std::int64_t inserted = 0;
    for (std::size_t i = 0; i < plans.size(); ++i) {
      for (const Row& row : results[i].rows) inserted += frame_.execute(plans[i], &row);
    }
    return inserted;
  });
  savepoint.keep();
  return count;
}

std::int64_t RowStatements::change(Prepared& prepared) {
  return triggers_.change(prepared.plan, [&] { return frame_.execute(prepared); });
}

// SQLite compares each row with those that the statement has not changed yet; the server compares
// when all are changed.
std::int64_t RowStatements::updateKeys(Prepared& prepared, const StoreError& failure) {
  Database& store = server_.catalog.store();
  const std::string& table = prepared.plan.updatedTable;
  const auto point = table.find('.');
  const std::string schema =
      point == table.npos ? prepared.plan.updatedStore : table.substr(0, point);
  std::vector<std::pair<std::string, std::string>> indexes;
  store.each(
      "SELECT name, sql FROM " + schema +
          ".sqlite_master WHERE type = 'index' AND tbl_name = ? AND sql LIKE 'CREATE UNIQUE INDEX "
          "%'",
      [&](const Statement& row) { indexes.emplace_back(row.text(0), row.text(1)); },
      point == table.npos ? table : table.substr(point + 1));
  constexpr std::string_view kCreate = "CREATE UNIQUE INDEX ";
  Savepoint savepoint(store);
  try {
    for (const auto& [name, sql] : indexes) store.execute("DROP INDEX " + schema + "." + name);
  } catch (const StoreError&) {
    throw failure;  // rows of the table are being read
  }
  const std::int64_t rows = frame_.execute(prepared);
  for (const auto& [name, sql] : indexes) {
    store.execute(std::string(kCreate) + schema + "." + sql.substr(kCreate.size()));
  }
  savepoint.keep();
  return rows;
}

void RowStatements::update(const Update& statement) {
  Prepared& prepared = frame_.prepared(
      frame_.current(), [&](Translator& t) { return WriteTranslator(t).update(statement); });
  const bool assigns = std::ranges::any_of(
      statement.assignments, [](const Assignment& one) { return !one.variable.empty(); });
  const Variables before = assigns ? frame_.variables() : Variables();
  reporter_.changed(triggers_.change(
      prepared.plan, [&] { return frame_.execute(prepared); },
      [&](const StoreError& failure) {
        if (assigns) frame_.variables() = before;
        return updateKeys(prepared, failure);
      }));
}

void RowStatements::remove(const Delete& statement) {
  reporter_.changed(change(frame_.prepared(
      frame_.current(), [&](Translator& t) { return WriteTranslator(t).remove(statement); })));
}

void RowStatements::truncate(const Truncate& statement) {
  if (!statement.partition.empty()) {
    throw ServerError(message::rowsOfPartition, frame_.line(), statement.table.name,
                      statement.partition);
  }
  change(frame_.prepared(frame_.current(),
                         [&](Translator& t) { return WriteTranslator(t).truncate(statement); }));
}

// cursors

void RowStatements::openCursor(const OpenCursor& open) {
  const Cursors::Declared cursor = session_.cursors.declared(open.name, frame_.line());
  session_.cursors.open(
      open.name,
      frame_.rows([&](Translator& t) { return t.select(*cursor.query); }, *cursor.batch));
}

void RowStatements::fetchCursor(const FetchCursor& fetch) {
  const auto offset = [&]() -> std::int64_t {
    const ColumnType number = intType(true);
    const Cell given = fetch.offset ? frame_.evaluate(*fetch.offset, &number) : Cell();
    return isNull(given) ? 0 : std::get<std::int64_t>(given);
  };
  const Cursors::Fetched fetched = session_.cursors.fetch(fetch, offset, frame_.line());
  session_.last.rowCount = fetched.count;
  if (fetched.row == nullptr) return;
  const Row& row = *fetched.row;
  if (fetch.into.empty()) {
    reporter_.outcome().beginRows(fetched.rows.columns);
    reporter_.outcome().row(row);
    return;
  }
  for (std::size_t i = 0; i < fetch.into.size() && i < row.size(); ++i) {
    frame_.assign(fetch.into[i], row[i], fetched.rows.columns[i].type);
  }
}

}  // namespace kelvane::embedded
