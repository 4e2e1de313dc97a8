#include "tests/embedded/catalog/fixture.h"

#include "drivers/embedded/tsql/ast.h"
#include "drivers/embedded/tsql/parser.h"
#include "drivers/embedded/tsql/script.h"

namespace kelvane::embedded {

namespace {

std::string textOf(const Cell& cell) {
  return std::visit(
      tsql::Overloaded{[](Null) { return std::string("null"); },
                       [](std::int64_t number) { return std::to_string(number); },
                       [](double number) { return std::to_string(number); },
                       [](const std::string& text) { return text; },
                       [](const Blob& bytes) {
                         std::string hex = "0x";
                         for (const std::byte byte : bytes) {
                           hex += "0123456789ABCDEF"[std::to_integer<int>(byte >> 4)];
                           hex += "0123456789ABCDEF"[std::to_integer<int>(byte & std::byte{15})];
                         }
                         return hex;
                       }},
      cell);
}

std::string drawRow(const Row& row) {
  std::string line;
  for (const Cell& cell : row) line += (&cell == row.data() ? "" : " | ") + textOf(cell);
  return line + "\n";
}

Cell literalValue(const tsql::Expr& value) {
  const auto& literal = std::get<tsql::Literal>(value.node);
  if (literal.kind == tsql::LiteralKind::Integer) return std::int64_t{std::stoll(literal.text)};
  return literal.text;
}

ProcedureCall callOf(const tsql::Execute& execute, const Caller& caller) {
  ProcedureCall call{execute.procedure.name, {}, caller};
  for (const tsql::ExecuteArgument& argument : execute.arguments) {
    const auto& literal = std::get<tsql::Literal>(argument.value->node);
    auto& placed = call.arguments.emplace_back();
    placed.name = argument.name;
    if (literal.kind != tsql::LiteralKind::Null) placed.value = literal.text;
  }
  return call;
}

}  // namespace

void CatalogTest::run(std::string_view script) {
  for (const tsql::Batch& batch : tsql::splitScript(script)) {
    for (const auto& statement : tsql::parseBatch(batch.text)) runStatement(*statement, batch.text);
  }
}

void CatalogTest::runStatement(const tsql::Statement& statement, std::string_view batch) {
  const RowValues values{
      [](const tsql::Expr& value, const ColumnType&) { return literalValue(value); },
      [](const Cell& value, const ColumnType&, const ColumnType& to) -> Cell {
        return isCharacter(to.kind) ? Cell(textOf(value)) : value;
      },
      [](const tsql::Expr&, const tsql::ObjectName&) { return ColumnType{}; }};
  std::visit(
      tsql::Overloaded{
          [&](const tsql::CreateTable& s) { catalog.createTable(s, batch, values, caller); },
          [&](const tsql::AlterTable& s) { catalog.alterTable(s, batch, values, caller); },
          [&](const tsql::CreateIndex& s) { catalog.createIndex(s, batch, values, caller); },
          [&](const tsql::CreateView& s) {
            catalog.createView(s, statement.range.in(batch), viewColumns, caller);
          },
          [&](const tsql::CreateProcedure& s) {
            catalog.createProcedure(s, statement.range.in(batch), caller);
          },
          [&](const tsql::CreateTrigger& s) {
            catalog.createTrigger(s, statement.range.in(batch), caller);
          },
          [&](const tsql::CreateRule& s) {
            catalog.createRule(s, statement.range.in(batch), caller);
          },
          [&](const tsql::CreateDefault& s) {
            catalog.createDefault(s, statement.range.in(batch), caller);
          },
          [&](const tsql::Drop& s) { catalog.drop(s, caller); },
          [&](const tsql::Permission& s) { catalog.permission(s, batch, caller); },
          [&](const tsql::SetUser& s) { caller.uid = s.user ? *catalog.userId(*s.user) : kDboUid; },
          [&](const tsql::Execute& s) {
            const auto result = catalog.callSystemProcedure(callOf(s, caller)).value();
            for (const ServerMessage& message : result.messages) {
              if (message.severity < 11) continue;
              throw tsql::ServerError(message, 1);
            }
          },
          [](const auto&) { FAIL() << "a statement that no catalog runs"; }},
      statement.node);
}

std::string CatalogTest::errorOf(std::string_view script) {
  try {
    run(script);
  } catch (const tsql::ServerError& error) {
    return std::to_string(error.number) + " " + error.text();
  }
  return "";
}

ProcedureResult CatalogTest::call(std::string_view statement) {
  const auto parsed = tsql::parseBatch(statement);
  return catalog.callSystemProcedure(callOf(std::get<tsql::Execute>(parsed.at(0)->node), caller))
      .value();
}

std::string CatalogTest::rows(const std::string& sql) {
  std::string drawn;
  embedded::Statement statement = catalog.store().prepare(sql);
  while (statement.step()) {
    Row row;
    for (int i = 0; i < statement.columnCount(); ++i) row.push_back(statement.cell(i));
    drawn += drawRow(row);
  }
  return drawn;
}

std::string CatalogTest::draw(const ResultSet& set, const std::vector<std::size_t>& columns) {
  std::string drawn;
  for (const Row& row : set.rows) {
    EXPECT_EQ(row.size(), set.columns.size());
    Row shown;
    for (const std::size_t column : columns) shown.push_back(row.at(column));
    drawn += drawRow(shown);
  }
  return drawn;
}

int CatalogTest::idOf(std::string_view name) {
  return catalog.findObject(name, caller).value_or(ObjectInfo{}).id;
}

std::string CatalogTest::withIds(std::string text, const std::vector<std::string>& names) {
  for (const std::string& name : names) {
    const std::string mark = "#" + name;
    for (std::size_t at; (at = text.find(mark)) != std::string::npos;) {
      text.replace(at, mark.size(), std::to_string(idOf(name)));
    }
  }
  return text;
}

}  // namespace kelvane::embedded
