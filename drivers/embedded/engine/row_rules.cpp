#include "drivers/embedded/engine/row_rules.h"

#include <algorithm>

#include "drivers/embedded/catalog/ordered_triggers.h"
#include "drivers/embedded/catalog/status_bits.h"
#include "drivers/embedded/tsql/ast.h"
#include "drivers/embedded/tsql/lexer.h"
#include "drivers/embedded/tsql/parser.h"

namespace kelvane::embedded {

namespace {

tsql::ExprPtr ruleCondition(Catalog& catalog, int ruleId) {
  const SourceText source = catalog.source(ruleId);
  tsql::StatementList batch = tsql::parseBatch(source.text, source.options());
  auto* create = batch.empty() ? nullptr : std::get_if<tsql::CreateRule>(&batch.front()->node);
  return create == nullptr ? nullptr : std::move(create->condition);
}

ForeignKeyRule ruleOf(Catalog& catalog, const SysReference& row) {
  ForeignKeyRule key;
  key.constraint = catalog.objectName(row.constrid).value_or("");
  key.referencing = row.tableid;
  key.referenced = row.reftabid;
  const bool isAtHand = catalog.objectById(row.reftabid).has_value();
  if (!isAtHand) key.database = row.pmrydbname.value_or("");
  key.matchFull = (row.status & reference_status::kMatchFull) != 0;
  key.columns.assign(row.fokey.begin(), row.fokey.begin() + row.keycnt);
  key.keys.assign(row.refkey.begin(), row.refkey.begin() + row.keycnt);
  return key;
}

/// In the order of their ids.
std::vector<ForeignKeyRule> foreignKeys(Catalog& catalog, std::vector<SysReference> rows) {
  std::ranges::sort(rows, {}, &SysReference::constrid);
  std::vector<ForeignKeyRule> keys;
  keys.reserve(rows.size());
  for (const SysReference& row : rows) keys.push_back(ruleOf(catalog, row));
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
  std::vector<int> constraints;
  SystemRecords& records = catalog.recordsOf(tableId);
  for (const Slot slot : records.constraints.where<&SysConstraint::tableid>(tableId)) {
    const SysConstraint& row = records.constraints[slot];
    constraints.push_back(row.constrid);
    if (isCheck(records, row)) checks.push_back(row.constrid);
  }
  std::ranges::sort(checks);
  for (const int id : checks) {
    rules.checks.push_back(
        {catalog.objectName(id).value_or(""), checkCondition(catalog.source(id))});
  }
  std::vector<std::pair<int, int>> bound;
  for (const Slot slot : records.columns.where<&SysColumn::id>(tableId)) {
    const SysColumn& column = records.columns[slot];
    const bool isBound = column.domain != 0 && std::ranges::count(constraints, column.domain) == 0;
    if (isBound) bound.emplace_back(column.colid, column.domain);
  }
  for (const auto& [colid, ruleId] : bound) {
    if (auto condition = ruleCondition(catalog, ruleId)) {
      rules.rules.push_back({catalog.objectName(ruleId).value_or(""), colid, std::move(condition)});
    }
  }
  const auto slots = records.references.where<&SysReference::tableid>(tableId);
  std::vector<SysReference> own;
  own.reserve(slots.size());
  for (const Slot slot : slots) {
    own.push_back(records.references[slot]);
  }
  rules.references = foreignKeys(catalog, std::move(own));
  std::vector<SysReference> others = catalog.referencesTo(tableId);
  std::erase_if(others, [](const SysReference& row) { return row.tableid == row.reftabid; });
  rules.referencedBy = foreignKeys(catalog, std::move(others));
  rules.ignoredDuplicates = catalog.ignoredDuplicates(tableId);
  return rules;
}

}  // namespace kelvane::embedded
