#include "drivers/embedded/engine/row_conditions.h"

#include <algorithm>

#include "drivers/embedded/engine/typing.h"
#include "drivers/embedded/engine/walk.h"

namespace kelvane::embedded {

using namespace tsql;

namespace {

// What `obeyed` says when its condition does not hold.
template <class... Arguments>
std::string orElse(message::Message<sizeof...(Arguments)> broken, const Arguments&... arguments) {
  return std::to_string(static_cast<int>(broken.index)) + ", " +
         quotedText(message::textOf(broken, arguments...));
}

bool intersects(const std::vector<int>& columns, const std::set<int>& changed) {
  return std::ranges::any_of(columns, [&](int colid) { return changed.contains(colid); });
}

// A computed column may depend on any other.
bool namesAny(const Expr& condition, const std::vector<ColumnInfo>& columns,
              const std::set<int>& changed) {
  return anyWithin(condition, [&](const Expr& part) {
    const auto* reference = as<ColumnRef>(part);
    if (reference == nullptr) return false;
    const auto column = std::ranges::find(columns, reference->column, &ColumnInfo::name);
    return column != columns.end() &&
           (changed.contains(column->colid) || !column->computed.empty());
  });
}

SqlValue columnValue(const std::vector<ColumnInfo>& columns, int colid, const std::string& alias) {
  const auto column = std::ranges::find(columns, colid, &ColumnInfo::colid);
  if (column == columns.end()) return {"NULL", intType(true)};
  SqlValue value{alias + "." + quotedName(column->sqliteColumn), column->type};
  value.isColumn = true;
  return value;
}

std::shared_ptr<const RowRules> rulesOf(const TranslationContext& context,
                                        const WriteTarget& target) {
  static const auto kNone = std::make_shared<const RowRules>();
  if (target.isTemporary()) return target.rules;
  if (context.rowRules == nullptr) return kNone;
  return context.rowRules->of(target.id, context.namesVersion,
                              [&] { return readRowRules(context.catalog, target.id); });
}

}  // namespace

RowConditions::RowConditions(Translator& translator, const WriteTarget& target)
    : translator_(translator), target_(target), rules_(rulesOf(translator.context(), target)) {}

Scope RowConditions::newRow(const std::string& alias, const std::map<int, std::string>& assigned) {
  Source source;
  source.exposedName = target_.name;
  source.sqlAlias = alias;
  source.sqliteTable = target_.sqliteTable;
  auto columns = std::make_shared<SourceColumns>();
  for (const ColumnInfo& column : target_.columns) {
    const auto given = assigned.find(column.colid);
    columns->push_back({column.name, column.type, quotedName(column.sqliteColumn),
                        given == assigned.end() ? "" : given->second});
  }
  source.columns = std::move(columns);
  translator_.computeColumns(target_.columns, source);
  return {nullptr, {std::move(source)}, Clause::Definition};
}

std::string RowConditions::broken(const ForeignKeyRule& key, message::Message<3> violation) const {
  if (key.isElsewhere()) {
    return orElse(message::referenceElsewhere, target_.name, key.constraint, key.database);
  }
  return orElse(violation, translator_.caller().database, target_.name, key.constraint);
}

// Equal keys of two rows under their aliases.
std::string RowConditions::sameKey(const ForeignKeyRule& key, const std::string& referenced,
                                   const std::string& referencing) {
  const auto columns = translator_.columns(key.referencing);
  std::string sql;
  for (std::size_t i = 0; i < key.columns.size(); ++i) {
    sql += (i == 0 ? "" : " AND ") +
           translator_.compared(
               BinaryOp::Equal, columnValue(key.referencedColumns, key.keys[i], referenced),
               columnValue(columns, key.columns[i], referencing), translator_.caller().line);
  }
  return sql;
}

std::string RowConditions::referenceHolds(const ForeignKeyRule& key, const Scope& row) {
  const Source& source = row.sources[0];
  const std::string referenced = translator_.newAlias();
  std::vector<std::string> nulls;
  std::string found, itself;
  for (std::size_t i = 0; i < key.columns.size(); ++i) {
    const auto at = [&](int colid) {
      const auto column = std::ranges::find(target_.columns, colid, &ColumnInfo::colid);
      const auto index = static_cast<std::size_t>(column - target_.columns.begin());
      SqlValue value{source.sqlOf(source.columns->at(index)), column->type};
      value.isColumn = true;
      return value;
    };
    const SqlValue value = at(key.columns[i]);
    const std::string_view also = i == 0 ? "" : " AND ";
    nulls.push_back(value.sql + " IS NULL");
    if (key.isElsewhere()) continue;
    found.append(also).append(translator_.compared(
        BinaryOp::Equal, columnValue(key.referencedColumns, key.keys[i], referenced), value,
        translator_.caller().line));
    if (key.isWithinOneTable()) {
      itself.append(also).append(
          translator_.compared(BinaryOp::Equal, at(key.keys[i]), value, translator_.caller().line));
    }
  }
  std::string free = "(" + joined(nulls, key.matchFull ? " AND " : " OR ") + ")";
  if (key.isElsewhere()) return free;
  return "(" + free + " OR " + (itself.empty() ? "" : "(" + itself + ") OR ") +
         "EXISTS (SELECT 1 FROM " + key.referencedTable + " AS " + referenced + " WHERE " + found +
         "))";
}

std::string RowConditions::checkText(const CheckRule& check, const Scope& row) {
  try {
    return translator_.condition(*check.condition, &row, Translator::Polarity::Any);
  } catch (const ServerError& error) {
    if (!error.is(message::unknownColumn)) throw;
    // The server goes by the column's number; its text keeps the name from before sp_rename.
    throw ServerError(message::checkNamesLostColumn, translator_.caller().line, check.constraint,
                      target_.name);
  }
}

std::vector<std::string> RowConditions::conditions(const Scope& row, const RowChange& change) {
  const std::set<int>* changed = change.columns;
  std::vector<std::string> conditions;
  const auto obeyed = [&](const std::string& sql, const std::string& error) {
    conditions.push_back("obeyed(" + sql + ", " + error + ")");
  };
  for (const BoundRule& rule : rules_->rules) {
    if (changed != nullptr && !changed->contains(rule.colid)) continue;
    const auto column = std::ranges::find(target_.columns, rule.colid, &ColumnInfo::colid);
    const auto index = static_cast<std::size_t>(column - target_.columns.begin());
    const Source& source = row.sources[0];
    SqlValue ruled{source.sqlOf(source.columns->at(index)), column->type};
    ruled.isColumn = true;
    // Null passes where the column takes it, whatever the rule says.
    obeyed(
        "(" + ruled.sql + " IS NULL OR " + translator_.ruleCondition(*rule.condition, ruled) + ")",
        orElse(message::ruleViolation, translator_.caller().database, target_.name, rule.rule,
               column->name));
  }
  for (const CheckRule& check : rules_->checks) {
    if (changed != nullptr && !namesAny(*check.condition, target_.columns, *changed)) continue;
    obeyed(checkText(check, row), orElse(message::checkViolation, translator_.caller().database,
                                         target_.name, check.constraint));
  }
  for (const ForeignKeyRule& key : rules_->references) {
    if (changed != nullptr && !intersects(key.columns, *changed)) continue;
    // Within one table another row of the same statement may be the one that is meant.
    if (key.isWithinOneTable() && !change.insertsOneRow) continue;
    obeyed(referenceHolds(key, row), broken(key, message::foreignKeyViolation));
  }
  return conditions;
}

void RowConditions::testOrphans(const ForeignKeyRule& key, message::Message<3> violation,
                                Plan& plan) {
  const auto referencing = translator_.context().catalog.objectById(key.referencing);
  if (!referencing || referencing->sqliteTable == kNoRows) return;
  const std::string row = translator_.newAlias(), found = translator_.newAlias();
  const auto columns = translator_.columns(key.referencing);
  std::string sql = "SELECT 1 FROM " + referencing->sqliteTable + " AS " + row + " WHERE ";
  for (const int colid : key.columns) {
    sql += columnValue(columns, colid, row).sql + " IS NOT NULL AND ";
  }
  sql += key.isElsewhere() ? "1"
                           : "NOT EXISTS (SELECT 1 FROM " + key.referencedTable + " AS " + found +
                                 " WHERE " + sameKey(key, found, row) + ")";
  plan.tests.push_back("SELECT obeyed(0, " + broken(key, violation) + ") FROM (" + sql +
                       " LIMIT 1)");
}

void RowConditions::testDependents(const std::set<int>* changed, Plan& plan) {
  for (const auto* keys : {&rules_->referencedBy, &rules_->references}) {
    for (const ForeignKeyRule& key : *keys) {
      const bool dependsOnThis = keys == &rules_->referencedBy || key.isWithinOneTable();
      if (dependsOnThis && (changed == nullptr || intersects(key.keys, *changed))) {
        testOrphans(key, message::dependentViolation, plan);
      }
    }
  }
}

void RowConditions::testOwnReferences(const std::set<int>* changed, Plan& plan) {
  for (const ForeignKeyRule& key : rules_->references) {
    if (key.isWithinOneTable() && (changed == nullptr || intersects(key.columns, *changed))) {
      testOrphans(key, message::foreignKeyViolation, plan);
    }
  }
}

void RowConditions::testAll(Plan& plan) {
  for (const ForeignKeyRule& key : rules_->references) {
    testOrphans(key, message::foreignKeyViolation, plan);
  }
}

}  // namespace kelvane::embedded
