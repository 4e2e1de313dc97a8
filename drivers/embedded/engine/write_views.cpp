// The rows that a statement changes: those of a table, or what a view shows of them.

#include <algorithm>

#include "drivers/embedded/engine/write_translator.h"

namespace kelvane::embedded {

using namespace tsql;

Source WriteTranslator::tableSource(const WriteTarget& target, const std::string& alias) const {
  Source source;
  source.sqlAlias = alias;
  source.sqliteTable = target.sqliteTable;
  auto columns = std::make_shared<SourceColumns>();
  for (const ColumnInfo& column : target.columns) {
    columns->push_back({column.name, column.type, quotedName(column.sqliteColumn)});
  }
  source.columns = std::move(columns);
  translator_.computeColumns(target.columns, source);
  return source;
}

std::vector<ViewColumn> WriteTranslator::viewColumns(const WriteTarget& target) {
  const ViewedRow row = translator_.viewed(*target.view, tableSource(target, ""));
  std::vector<ViewColumn> columns;
  for (const SourceColumn& shown : *row.source.columns) {
    ViewColumn& column = columns.emplace_back(shown.name, std::nullopt);
    if (!shown.computed.empty()) continue;
    const auto own = std::ranges::find_if(target.columns, [&](const ColumnInfo& candidate) {
      return quotedName(candidate.sqliteColumn) == shown.sqliteColumn;
    });
    if (own != target.columns.end()) {
      column.column = static_cast<std::size_t>(own - target.columns.begin());
    }
  }
  return columns;
}

// The table, or what the view shows of it, with the conditions of the view.
WriteTranslator::ChangedRows WriteTranslator::changedRows(const ObjectName& name,
                                                          const WriteTarget& target) {
  if (target.view == nullptr) {
    NamedTable self;
    self.name = name;
    return {translator_.sourceOf(self), {}};
  }
  ViewedRow row = translator_.viewed(*target.view, tableSource(target, translator_.newAlias()));
  row.source.exposedName = name.name;
  std::erase(row.conditions, "");
  return {std::move(row.source), std::move(row.conditions)};
}

// What views with a check option ask of new rows.
std::vector<std::string> WriteTranslator::checkOptions(const WriteTarget& target,
                                                       const Scope& newRow) {
  std::vector<std::string> checks;
  if (!checksRows(target)) return checks;
  const ViewedRow row = translator_.viewed(*target.view, newRow.sources.front());
  for (std::size_t i = target.view->firstChecked(); i < row.conditions.size(); ++i) {
    if (row.conditions[i].empty()) continue;
    checks.push_back("obeyed((" + row.conditions[i] + ") IS TRUE, " +
                     std::to_string(static_cast<int>(message::checkOptionViolation.index)) + ", " +
                     quotedText(message::textOf(message::checkOptionViolation)) + ")");
  }
  return checks;
}

bool WriteTranslator::checksRows(const WriteTarget& target) {
  return target.view != nullptr && target.view->firstChecked() < target.view->levels.size();
}

// Adds the source of the rows to the scope.
std::string WriteTranslator::whereText(const ObjectName& name, const WriteTarget& target,
                                       const Expr* where, Scope& scope) {
  ChangedRows rows = changedRows(name, target);
  scope.sources.push_back(std::move(rows.source));
  if (where != nullptr) {
    rows.conditions.push_back(
        translator_.condition(*where, &scope, Translator::Polarity::Positive));
  }
  return rows.conditions.empty() ? "" : " WHERE " + chained(rows.conditions, " AND ");
}

}  // namespace kelvane::embedded
