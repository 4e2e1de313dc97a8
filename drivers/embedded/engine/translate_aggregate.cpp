// Aggregates, and the column of numbers that a select into makes.

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "drivers/embedded/engine/builtins.h"
#include "drivers/embedded/engine/translator.h"
#include "drivers/embedded/engine/typing.h"
#include "drivers/embedded/engine/walk.h"

namespace kelvane::embedded {

using namespace tsql;

namespace {

// Sums and averages have the widest type of their kind.
ColumnType sumType(const ColumnType& type) {
  if (type.precision) return numericType(38, scaleOf(type));
  switch (type.kind) {
    case TypeKind::Bigint:
    case TypeKind::Ubigint:
      return type;
    case TypeKind::Uint:
    case TypeKind::Usmallint:
      return plainType(TypeKind::Bigint);
    case TypeKind::Smallmoney:
      return plainType(TypeKind::Money);
    case TypeKind::Real:
      return floatType();
    default:
      return isInteger(type.kind) ? intType(true) : type;
  }
}

}  // namespace

// The rows that an aggregate is about are those of the innermost table that its argument names.
const Scope* Translator::requireAggregation(const Expr& argument, const Scope* scope,
                                            std::uint32_t line) const {
  if (scope == nullptr) return nullptr;
  std::vector<const Scope*> homes;
  anyWithin(argument, [&](const Expr& part) {
    if (const auto* column = as<ColumnRef>(part)) homes.push_back(scope->home(*column));
    return false;
  });
  const Scope* rows = scope;
  const auto isHome = [&] { return std::ranges::find(homes, rows) != homes.end(); };
  while (!homes.empty() && rows != nullptr && !isHome()) rows = rows->outer;
  if (rows == nullptr) return scope;
  switch (rows->clause) {
    case Clause::Other:
      break;
    case Clause::Having:
      if (rows == scope) break;
      throw ServerError(message::aggregateOfOuterColumns, line);
    case Clause::Definition:
      throw ServerError(message::aggregateInDefinition, line);
    case Clause::Where:
      throw ServerError(message::aggregateInWhere, line);
    case Clause::GroupBy:
      throw ServerError(message::aggregateInGroupBy, line);
    case Clause::Set:
      throw ServerError(message::aggregateInSet, line);
  }
  if (rows == aggregated_) {
    throw ServerError(message::nestedAggregate, line);
  }
  return rows;
}

SqlValue Translator::aggregate(const FunctionRule& rule, const Call& call, const Expr& expr,
                               const Scope* scope) {
  const Scope* rows = requireAggregation(*call.arguments[0], scope, expr.range.line);
  SqlValue result = aggregateOf(rows, rule, call, expr, scope);
  Grouping* grouping = rows == nullptr ? nullptr : rows->grouping;
  if (grouping == nullptr || !grouping->isJoined) return result;
  auto& known = grouping->aggregates;
  const auto found = std::ranges::find(known, result.sql);
  const auto number = found - known.begin() + 1;
  if (found == known.end()) known.push_back(result.sql);
  result.sql = grouping->alias + ".a" + std::to_string(number);
  return result;
}

SqlValue Translator::aggregateOf(const Scope* rows, const FunctionRule& rule, const Call& call,
                                 const Expr& expr, const Scope* scope) {
  const std::string name(rule.name);
  const bool counts = name == "count" || name == "count_big";
  const ColumnType countType = name == "count" ? intType() : plainType(TypeKind::Bigint, false);
  const std::uint32_t line = expr.range.line;
  if (as<Star>(*call.arguments[0])) {
    if (!counts) throw ServerError(message::syntax, line, "*");
    return {"count(*)", countType};
  }
  const Scope* around = std::exchange(aggregated_, rows);
  const SqlValue argument = value(*call.arguments[0], scope);
  aggregated_ = around;
  const std::string inside = (call.distinct ? "DISTINCT " : "") + collated(argument);
  if (counts) return {"count(" + inside + ")", countType};
  if (name == "min" || name == "max") {
    const std::string function = isWide(argument.type) ? "exact_" + name : name;
    SqlValue result{function + "(" + inside + ")", withNullability(argument.type, true)};
    return result;
  }
  const ColumnType& type = argument.type;
  if (familyOf(type.kind) != TypeFamily::Number) {
    throw ServerError(message::invalidAggregate, line, name, shownName(type.kind));
  }
  if (!rule.sql.empty()) return {std::string(rule.sql) + "(" + inside + ")", floatType()};
  const ColumnType result = sumType(type);
  if (name == "sum") {
    const bool isExact = isExactFraction(type.kind) || type.kind == TypeKind::Ubigint;
    const std::string sql = (isExact ? "exact_sum(" : "sum(") + inside + ")";
    const ColumnType summed = withNullability(result, true);
    if (result.kind == TypeKind::Ubigint) return {"unsigned_result('+', " + sql + ", 0)", summed};
    if (isExact) return {exactly('+', {sql, result}, {"0", intType()}, result), summed};
    return {within(sql, result.kind), summed};
  }
  if (type.kind == TypeKind::Ubigint) {
    return {"unsigned_result('/', exact_sum(" + inside + "), nullif(count(" + inside + "), 0))",
            withNullability(result, true)};
  }
  if (isExactFraction(type.kind)) {
    const ColumnType average =
        type.precision ? numericType(38, std::max(scaleOf(type), 6)) : result;
    // Nothing has no average.
    return {exactly('/', {"exact_sum(" + inside + ")", result},
                    {"nullif(count(" + inside + "), 0)", intType()}, average),
            withNullability(average, true)};
  }
  // The average of integers is one, without its fraction.
  const std::string sql = isInteger(type.kind) ? "(sum(" + inside + ") / count(" + inside + "))"
                                               : within("avg(" + inside + ")", result.kind);
  return {sql, withNullability(result, true)};
}

// A column of numbers for the table that a select into makes.
SqlValue Translator::newIdentity(const Call& call, std::uint32_t line) {
  const auto* literal = call.arguments.size() == 1 ? as<Literal>(*call.arguments[0]) : nullptr;
  const int precision = literal != nullptr && literal->kind == LiteralKind::Integer
                            ? std::stoi(literal->text.substr(0, 3))
                            : 0;
  if (precision < 1 || precision > 38) throw wrongCount("identity", line);
  ColumnType type = numericType(precision, 0, false);
  type.identity = true;
  return {converted({"row_number() OVER ()", intType()}, type), type};
}

}  // namespace kelvane::embedded
