#include "drivers/embedded/engine/row_rules.h"

#include <algorithm>

#include "drivers/embedded/tsql/lexer.h"
#include "drivers/embedded/tsql/parser.h"

namespace kelvane::embedded {

namespace {

constexpr int kMostKeyColumns = 16;

tsql::ExprPtr ruleCondition(Catalog& catalog, int ruleId) {
  const SourceText source = catalog.source(ruleId);
  tsql::StatementList batch = tsql::parseBatch(source.text, source.options());
  auto* create = batch.empty() ? nullptr : std::get_if<tsql::CreateRule>(&batch.front()->node);
  return create == nullptr ? nullptr : std::move(create->condition);
}

std::vector<ForeignKeyRule> foreignKeys(Catalog& catalog, const std::string& condition,
                                        int tableId) {
  std::string columns;
  for (int i = 1; i <= kMostKeyColumns; ++i) {
    columns += ", fokey" + std::to_string(i) + ", refkey" + std::to_string(i);
  }
  std::vector<ForeignKeyRule> keys;
  catalog.store().each(
      "SELECT constrid, tableid, reftabid, pmrydbname, keycnt" + columns +
          " FROM sysreferences WHERE " + condition + " ORDER BY constrid",
      [&](const Statement& row) {
        ForeignKeyRule key;
        key.constraint = catalog.objectName(row.number(0)).value_or("");
        key.referencing = row.number(1);
        key.referenced = row.number(2);
        key.database = row.text(3);
        for (int i = 0; i < row.number(4); ++i) {
          key.columns.push_back(row.number(5 + 2 * i));
          key.keys.push_back(row.number(6 + 2 * i));
        }
        keys.push_back(std::move(key));
      },
      tableId);
  for (ForeignKeyRule& key : keys) {
    if (key.isElsewhere()) continue;
    key.referencedTable = catalog.objectById(key.referenced).value().sqliteTable;
    key.referencedColumns = catalog.columns(key.referenced);
  }
  return keys;
}

}  // namespace

tsql::ExprPtr checkCondition(const SourceText& source) {
  const auto tokens = tsql::tokenize(source.text, source.options());
  const auto open = std::ranges::find(tokens, "(", &tsql::Token::text);
  return tsql::parseExpression(std::string_view(source.text).substr(open->begin), source.options());
}

RowRules readRowRules(Catalog& catalog, int tableId) {
  RowRules rules;
  std::vector<int> checks;
  constexpr int kCheck = 0x80;
  catalog.store().each(
      "SELECT constrid FROM sysconstraints WHERE tableid = ? AND status & ? ORDER BY constrid",
      [&](const Statement& row) { checks.push_back(row.number(0)); }, tableId, kCheck);
  for (const int id : checks) {
    rules.checks.push_back(
        {catalog.objectName(id).value_or(""), checkCondition(catalog.source(id))});
  }
  std::vector<std::pair<int, int>> bound;
  catalog.store().each(
      "SELECT colid, domain FROM syscolumns WHERE id = ? AND number = 0 AND domain != 0 AND"
      " domain NOT IN (SELECT constrid FROM sysconstraints WHERE tableid = syscolumns.id)"
      " ORDER BY colid",
      [&](const Statement& row) { bound.emplace_back(row.number(0), row.number(1)); }, tableId);
  for (const auto& [colid, ruleId] : bound) {
    if (auto condition = ruleCondition(catalog, ruleId)) {
      rules.rules.push_back({catalog.objectName(ruleId).value_or(""), colid, std::move(condition)});
    }
  }
  rules.references = foreignKeys(catalog, "tableid = ?", tableId);
  rules.referencedBy =
      foreignKeys(catalog, "tableid != reftabid AND pmrydbname IS NULL AND reftabid = ?", tableId);
  rules.ignoredDuplicates = catalog.ignoredDuplicates(tableId);
  return rules;
}

}  // namespace kelvane::embedded
