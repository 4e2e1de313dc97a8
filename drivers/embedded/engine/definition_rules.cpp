#include "drivers/embedded/engine/definition_rules.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <string>
#include <string_view>
#include <variant>

#include "drivers/embedded/engine/builtins.h"
#include "drivers/embedded/engine/walk.h"
#include "drivers/embedded/tsql/error.h"
#include "drivers/embedded/tsql/words.h"

namespace kelvane::embedded {

using namespace tsql;

namespace {

bool readsRows(const Expr& part) {
  return as<Exists>(part) != nullptr || as<InSubquery>(part) != nullptr ||
         as<Quantified>(part) != nullptr || as<ScalarSubquery>(part) != nullptr;
}

bool aggregates(const Expr& part) {
  const auto* call = as<Call>(part);
  return call != nullptr && isAggregateName(call->function.name);
}

void requireOneRow(const Expr& expr, std::string_view where, std::uint32_t line) {
  if (anyWithin(expr, readsRows)) {
    throw ServerError(message::notAllowedIn, line, "A subquery", where);
  }
  if (anyWithin(expr, aggregates)) {
    throw ServerError(message::notAllowedIn, line, "An aggregate", where);
  }
}

void requireNoVariable(const Expr& expr, std::string_view statement, std::uint32_t line) {
  const auto isVariable = [](const Expr& part) { return as<tsql::Variable>(part) != nullptr; };
  if (anyWithin(expr, isVariable)) {
    throw ServerError(message::variableInDefinition, line, statement);
  }
}

// Install scripts for several servers have them, which a comparison of their tables survives; an
// insert that needs the default says that there is no such name.
bool isStandardWord(std::string_view name) {
  constexpr std::string_view kWords[] = {"current_date", "current_time", "current_timestamp",
                                         "current_user", "session_user", "system_user"};
  return std::ranges::any_of(kWords,
                             [&](std::string_view word) { return equalsIgnoringCase(name, word); });
}

// The words that some functions take stand where names of columns could.
void requireNoColumn(const Expr& expr, std::uint32_t line) {
  if (const auto* column = as<ColumnRef>(expr);
      column != nullptr && !isStandardWord(column->column)) {
    throw ServerError(message::nameInConstant, line, column->column);
  }
  const auto* call = as<Call>(expr);
  std::size_t argument = 0;
  eachOperand(expr, [&](const Expr& operand) {
    const bool isWord = call != nullptr && takesWord(call->function.name, argument++);
    if (!isWord) requireNoColumn(operand, line);
  });
}

void requireConstant(const Expr& value, std::string_view statement, std::uint32_t line) {
  requireNoVariable(value, statement, line);
  requireOneRow(value, "a default", line);
  requireNoColumn(value, line);
}

// A computed column is computed when it is read, which is what the server does unless it is
// materialized; then only an expression without side conditions gives the same.
void requireSteady(const ColumnDefinition& column) {
  if (!column.computed || !column.materialized.value_or(false)) return;
  const bool changes = anyWithin(*column.computed, [](const Expr& part) {
    const auto* call = as<Call>(part);
    return as<GlobalVariable>(part) != nullptr ||
           (call != nullptr && !isSteadyFunction(call->function.name));
  });
  if (!changes) return;
  throw ServerError(message::materializedVaries, column.range.line, column.name);
}

void requireLegal(const ColumnDefinition& column, std::string_view statement) {
  requireSteady(column);
  const std::uint32_t line = column.range.line;
  if (column.defaultClause) requireConstant(*column.defaultClause->value, statement, line);
  if (column.computed) requireNoVariable(*column.computed, statement, line);
}

void requireLegal(const std::vector<const Expr*>& checks, std::string_view statement,
                  std::uint32_t line) {
  for (const Expr* check : checks) {
    requireNoVariable(*check, statement, line);
    requireOneRow(*check, "a check", line);
  }
}

std::vector<const Expr*> checksOf(const std::vector<Constraint>& constraints) {
  std::vector<const Expr*> checks;
  for (const Constraint& constraint : constraints) {
    const auto* check = std::get_if<CheckConstraint>(&constraint.node);
    if (check != nullptr) checks.push_back(check->condition.get());
  }
  return checks;
}

}  // namespace

std::vector<const Expr*> checksOf(const CreateTable& table) {
  std::vector<const Expr*> checks = checksOf(table.constraints);
  for (const ColumnDefinition& column : table.columns) {
    std::ranges::copy(checksOf(column.constraints), std::back_inserter(checks));
  }
  return checks;
}

std::vector<const Expr*> checksOf(const AlterTable& table) {
  std::vector<const Expr*> checks;
  for (const AlterAction& action : table.actions) {
    if (const auto* add = std::get_if<AddColumn>(&action)) {
      std::ranges::copy(checksOf(add->column.constraints), std::back_inserter(checks));
    } else if (const auto* constraint = std::get_if<AddConstraint>(&action)) {
      const auto* check = std::get_if<CheckConstraint>(&constraint->constraint.node);
      if (check != nullptr) checks.push_back(check->condition.get());
    }
  }
  return checks;
}

void requireLegal(const CreateTable& table, std::uint32_t line) {
  constexpr std::string_view kStatement = "CREATE TABLE";
  for (const ColumnDefinition& column : table.columns) requireLegal(column, kStatement);
  requireLegal(checksOf(table), kStatement, line);
}

void requireLegal(const AlterTable& table, std::uint32_t line) {
  constexpr std::string_view kStatement = "ALTER TABLE";
  for (const AlterAction& action : table.actions) {
    if (const auto* add = std::get_if<AddColumn>(&action)) requireLegal(add->column, kStatement);
    if (const auto* modify = std::get_if<ModifyColumn>(&action)) {
      requireLegal(modify->column, kStatement);
    }
    if (const auto* replace = std::get_if<ReplaceDefault>(&action)) {
      requireConstant(*replace->value.value, kStatement, line);
    }
  }
  requireLegal(checksOf(table), kStatement, line);
}

void requireLegal(const CreateRule& rule, std::uint32_t line) {
  requireOneRow(*rule.condition, "a rule", line);
  requireNoColumn(*rule.condition, line);
}

void requireLegal(const CreateDefault& definition, std::uint32_t line) {
  requireConstant(*definition.value, "CREATE DEFAULT", line);
}

}  // namespace kelvane::embedded
