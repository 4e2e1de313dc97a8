// What rows must obey when they are written: checks, rules and foreign keys, as conditions of the
// statement that writes them and as tests of what it leaves behind.

#include <algorithm>

#include "drivers/embedded/engine/translator.h"
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

}  // namespace

std::shared_ptr<const RowRules> Translator::rulesOf(const WriteTarget& target) const {
  static const auto kNone = std::make_shared<const RowRules>();
  if (target.isTemporary()) return target.rules;
  if (context_.rowRules == nullptr) return kNone;
  return context_.rowRules->of(target.id, context_.namesVersion,
                               [&] { return readRowRules(context_.catalog, target.id); });
}

// `assigned` says by colid where the new values are; the others stand under the alias.
Scope Translator::newRow(const WriteTarget& target, const std::string& alias,
                         const std::map<int, std::string>& assigned) {
  Source source;
  source.exposedName = target.name;
  source.sqlAlias = alias;
  source.sqliteTable = target.sqliteTable;
  auto columns = std::make_shared<SourceColumns>();
  for (const ColumnInfo& column : target.columns) {
    const auto given = assigned.find(column.colid);
    columns->push_back({column.name, column.type, quotedName(column.sqliteColumn),
                        given == assigned.end() ? "" : given->second});
  }
  source.columns = std::move(columns);
  computeColumns(target.columns, source);
  return {nullptr, {std::move(source)}, Clause::Definition};
}

std::string Translator::broken(const ForeignKeyRule& key, const WriteTarget& target,
                               message::Message<3> violation) const {
  if (key.isElsewhere()) {
    return orElse(message::referenceElsewhere, target.name, key.constraint, key.database);
  }
  return orElse(violation, caller_.database, target.name, key.constraint);
}

// Equal keys of two rows under their aliases.
std::string Translator::sameKey(const ForeignKeyRule& key, const std::string& referenced,
                                const std::string& referencing) {
  const auto columns = this->columns(key.referencing);
  std::string sql;
  for (std::size_t i = 0; i < key.columns.size(); ++i) {
    sql += (i == 0 ? "" : " AND ") +
           compared(BinaryOp::Equal, columnValue(key.referencedColumns, key.keys[i], referenced),
                    columnValue(columns, key.columns[i], referencing), caller_.line);
  }
  return sql;
}

std::string Translator::referenceHolds(const ForeignKeyRule& key, const WriteTarget& target,
                                       const Scope& row) {
  const Source& source = row.sources[0];
  const std::string referenced = newAlias();
  std::string anyNull, found, itself;
  for (std::size_t i = 0; i < key.columns.size(); ++i) {
    const auto at = [&](int colid) {
      const auto column = std::ranges::find(target.columns, colid, &ColumnInfo::colid);
      const auto index = static_cast<std::size_t>(column - target.columns.begin());
      SqlValue value{source.sqlOf(source.columns->at(index)), column->type};
      value.isColumn = true;
      return value;
    };
    const SqlValue value = at(key.columns[i]);
    const std::string_view also = i == 0 ? "" : " AND ";
    anyNull += value.sql + " IS NULL OR ";
    if (key.isElsewhere()) continue;
    found.append(also).append(compared(BinaryOp::Equal,
                                       columnValue(key.referencedColumns, key.keys[i], referenced),
                                       value, caller_.line));
    if (key.isWithinOneTable()) {
      itself.append(also).append(compared(BinaryOp::Equal, at(key.keys[i]), value, caller_.line));
    }
  }
  if (key.isElsewhere()) return "(" + anyNull + "0)";
  return "(" + anyNull + (itself.empty() ? "" : "(" + itself + ") OR ") + "EXISTS (SELECT 1 FROM " +
         key.referencedTable + " AS " + referenced + " WHERE " + found + "))";
}

std::string Translator::checkText(const CheckRule& check, const WriteTarget& target,
                                  const Scope& row) {
  try {
    return condition(*check.condition, &row, Polarity::Any);
  } catch (const ServerError& error) {
    if (!error.is(message::unknownColumn)) throw;
    // The server goes by the column's number; its text keeps the name from before sp_rename.
    throw ServerError(message::checkNamesLostColumn, caller_.line, check.constraint, target.name);
  }
}

std::vector<std::string> Translator::rowConditions(const WriteTarget& target, const RowRules& rules,
                                                   const Scope& row, const RowChange& change) {
  const std::set<int>* changed = change.columns;
  std::vector<std::string> conditions;
  const auto obeyed = [&](const std::string& sql, const std::string& error) {
    conditions.push_back("obeyed(" + sql + ", " + error + ")");
  };
  for (const BoundRule& rule : rules.rules) {
    if (changed != nullptr && !changed->contains(rule.colid)) continue;
    const auto column = std::ranges::find(target.columns, rule.colid, &ColumnInfo::colid);
    const auto index = static_cast<std::size_t>(column - target.columns.begin());
    const Source& source = row.sources[0];
    ruled_ = SqlValue{source.sqlOf(source.columns->at(index)), column->type};
    ruled_->isColumn = true;
    // Null passes where the column takes it, whatever the rule says.
    obeyed("(" + ruled_->sql + " IS NULL OR " + condition(*rule.condition, nullptr, Polarity::Any) +
               ")",
           orElse(message::ruleViolation, caller_.database, target.name, rule.rule, column->name));
    ruled_.reset();
  }
  for (const CheckRule& check : rules.checks) {
    if (changed != nullptr && !namesAny(*check.condition, target.columns, *changed)) continue;
    obeyed(checkText(check, target, row),
           orElse(message::checkViolation, caller_.database, target.name, check.constraint));
  }
  for (const ForeignKeyRule& key : rules.references) {
    if (changed != nullptr && !intersects(key.columns, *changed)) continue;
    // Within one table another row of the same statement may be the one that is meant.
    if (key.isWithinOneTable() && !change.insertsOneRow) continue;
    obeyed(referenceHolds(key, target, row), broken(key, target, message::foreignKeyViolation));
  }
  return conditions;
}

void Translator::testOrphans(const ForeignKeyRule& key, const WriteTarget& target,
                             message::Message<3> violation, Plan& plan) {
  const auto referencing = context_.catalog.objectById(key.referencing);
  if (!referencing || referencing->sqliteTable == kNoRows) return;
  const std::string row = newAlias(), found = newAlias();
  const auto columns = this->columns(key.referencing);
  std::string sql = "SELECT 1 FROM " + referencing->sqliteTable + " AS " + row + " WHERE ";
  for (const int colid : key.columns) {
    sql += columnValue(columns, colid, row).sql + " IS NOT NULL AND ";
  }
  sql += key.isElsewhere() ? "1"
                           : "NOT EXISTS (SELECT 1 FROM " + key.referencedTable + " AS " + found +
                                 " WHERE " + sameKey(key, found, row) + ")";
  plan.tests.push_back("SELECT obeyed(0, " + broken(key, target, violation) + ") FROM (" + sql +
                       " LIMIT 1)");
}

// Without `changed`, rows go.
void Translator::testDependents(const WriteTarget& target, const RowRules& rules,
                                const std::set<int>* changed, Plan& plan) {
  for (const auto* keys : {&rules.referencedBy, &rules.references}) {
    for (const ForeignKeyRule& key : *keys) {
      const bool dependsOnThis = keys == &rules.referencedBy || key.isWithinOneTable();
      if (dependsOnThis && (changed == nullptr || intersects(key.keys, *changed))) {
        testOrphans(key, target, message::dependentViolation, plan);
      }
    }
  }
}

void Translator::testOwnReferences(const WriteTarget& target, const RowRules& rules,
                                   const std::set<int>* changed, Plan& plan) {
  for (const ForeignKeyRule& key : rules.references) {
    if (key.isWithinOneTable() && (changed == nullptr || intersects(key.columns, *changed))) {
      testOrphans(key, target, message::foreignKeyViolation, plan);
    }
  }
}

std::vector<std::string> Translator::orphanTests(const WriteTarget& target) {
  Plan plan;
  for (const ForeignKeyRule& key : rulesOf(target)->references) {
    testOrphans(key, target, message::foreignKeyViolation, plan);
  }
  return std::move(plan.tests);
}

}  // namespace kelvane::embedded
