// Calls: built-in functions and aggregates.

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>

#include "drivers/embedded/engine/builtins.h"
#include "drivers/embedded/engine/moment.h"
#include "drivers/embedded/engine/translator.h"
#include "drivers/embedded/engine/typing.h"
#include "drivers/embedded/engine/walk.h"
#include "drivers/embedded/tsql/parser.h"
#include "drivers/embedded/tsql/words.h"

namespace kelvane::embedded {

using namespace tsql;

namespace {

constexpr int kWidest = 16384;
constexpr std::string_view kSessionFacts[] = {"uid", "database", "login", "host", "process"};

ServerError wrongCount(const std::string& name, std::uint32_t line) {
  return ServerError(174, 15, 1, "The function '" + name + "' has a wrong number of arguments.",
                     line);
}

ServerError unknownFunction(const std::string& name, std::uint32_t line) {
  return ServerError(14216, 16, 1,
                     "Function '" + name +
                         "' not found. If this is a SQLJ function or SQL function, use sp_help to "
                         "check whether the object exists (sp_help may produce lots of output).",
                     line);
}

std::optional<int> literalNumber(const SqlValue& value) {
  int number = 0;
  const char* const end = value.sql.data() + value.sql.size();
  const auto [rest, error] = std::from_chars(value.sql.data(), end, number);
  const bool whole = value.isLiteral && error == std::errc() && rest == end;
  return whole ? std::optional(number) : std::nullopt;
}

ColumnType resultType(const FunctionRule& rule, const std::vector<SqlValue>& arguments) {
  const bool nullable = rule.nullable;
  switch (rule.result) {
    case ResultRule::Int:
      return intType(nullable);
    case ResultRule::Float:
      return floatType(nullable);
    case ResultRule::Moment:
      return plainType(TypeKind::Datetime, nullable);
    case ResultRule::Name:
      return varcharType(30, nullable);
    case ResultRule::Text255:
      return varcharType(255, nullable);
    case ResultRule::Wide:
      return varcharType(kWidest, nullable);
    case ResultRule::Binary16:
      return varbinaryType(16, nullable);
    case ResultRule::First:
      return withNullability(arguments.at(0).type, nullable);
    case ResultRule::FirstText:
    case ResultRule::PartOfText:
      break;
  }
  const ColumnType& first = arguments.at(0).type;
  int length = isCharacter(first.kind) || isBinary(first.kind) ? first.length : 255;
  if (isUnicode(first.kind)) length /= 2;
  if (rule.result == ResultRule::PartOfText) {
    length = std::min(length, literalNumber(arguments.back()).value_or(length));
  }
  if (isBinary(first.kind)) return varbinaryType(length, nullable);
  if (isUnicode(first.kind)) {
    return declaredType(TypeKind::Univarchar, std::max(length, 1), std::nullopt, nullable);
  }
  return varcharType(length, nullable);
}

}  // namespace

SqlValue Translator::templateCall(const FunctionRule& rule, const std::vector<SqlValue>& arguments,
                                  std::uint32_t line) {
  std::vector<std::string> texts;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const SqlValue& argument = arguments[i];
    const TypeKind kind = argument.type.kind;
    std::string sql = argument.sql;
    const char wanted = rule.arguments[i];
    if (!argument.isNull && wanted != '*') {
      const TypeKind target = wanted == 'c'   ? TypeKind::Varchar
                              : wanted == 'd' ? TypeKind::Datetime
                                              : TypeKind::Int;
      requireImplicit(kind, target, line);
      if (familyOf(kind) != familyOf(target)) sql = converted(argument, plainType(target));
      if (wanted == 'i' && familyOf(kind) == TypeFamily::Number && !isInteger(kind)) {
        sql = converted(argument, plainType(target));
      }
      if (wanted == 'c' && isBinary(kind)) sql = converted(argument, varcharType(255));
    }
    texts.push_back(std::move(sql));
  }
  std::string sql;
  for (std::size_t at = 0; at < rule.sql.size();) {
    const std::string_view rest = rule.sql.substr(at);
    const auto* fact = std::ranges::find_if(
        kSessionFacts, [&](std::string_view name) { return rest.substr(1).starts_with(name); });
    if (rest[0] == '$' && fact != std::end(kSessionFacts)) {
      sql += parameter(Parameter::Source::Session, std::string(*fact));
      at += fact->size() + 1;
    } else if (rest[0] == '$') {
      sql += texts.at(static_cast<std::size_t>(rest[1] - '1'));
      at += 2;
    } else {
      sql += rest[0];
      ++at;
    }
  }
  return {std::move(sql), resultType(rule, arguments)};
}

SqlValue Translator::isNullCall(const std::vector<SqlValue>& arguments, std::uint32_t line) {
  const SqlValue& first = arguments[0];
  const SqlValue& second = arguments[1];
  if (first.isNull) return second;
  const bool nullable = second.isNull || second.type.nullable;
  return {"coalesce(" + first.sql + ", " + assigned(second, first.type, line) + ")",
          withNullability(first.type, nullable)};
}

SqlValue Translator::coalesceCall(const std::vector<SqlValue>& arguments, std::uint32_t line) {
  std::optional<ColumnType> type;
  for (const SqlValue& argument : arguments) {
    if (!argument.isNull) type = type ? commonType(*type, argument.type, line) : argument.type;
  }
  const ColumnType common = type.value_or(intType(true));
  std::string sql = "coalesce(";
  for (const SqlValue& argument : arguments) sql += assigned(argument, common, line) + ", ";
  return {sql + "NULL)", withNullability(common, true)};
}

SqlValue Translator::datePartCall(const std::string& name, const Call& call, const Expr& expr,
                                  const Scope* scope) {
  const std::uint32_t line = expr.range.line;
  const std::size_t count = name == "dateadd" || name == "datediff" ? 3 : 2;
  if (call.arguments.size() != count) throw wrongCount(name, line);
  const auto* word = as<ColumnRef>(*call.arguments[0]);
  const auto part = word == nullptr ? std::nullopt : datePart(word->column);
  if (!part) {
    throw ServerError(155, 15, 1,
                      "'" + (word == nullptr ? std::string() : word->column) +
                          "' is not a recognized " + name + " option.",
                      line);
  }
  const std::string partNumber = std::to_string(static_cast<int>(*part));
  std::vector<SqlValue> rest;
  for (std::size_t i = 1; i < count; ++i) rest.push_back(value(*call.arguments[i], scope));
  const auto moment = [&](const SqlValue& v) {
    requireImplicit(v.type.kind, TypeKind::Datetime, line);
    return isTemporal(v.type.kind) ? v.sql : converted(v, plainType(TypeKind::Datetime));
  };
  if (name == "dateadd") {
    const ColumnType type = isTemporal(rest[1].type.kind) ? withNullability(rest[1].type, true)
                                                          : plainType(TypeKind::Datetime);
    return {"date_add(" + partNumber + ", " + rest[0].sql + ", " + moment(rest[1]) + ")", type};
  }
  if (name == "datediff") {
    return {"date_diff(" + partNumber + ", " + moment(rest[0]) + ", " + moment(rest[1]) + ")",
            intType(true)};
  }
  const bool asWord = name == "datename";
  return {(asWord ? "date_name(" : "date_part(") + partNumber + ", " + moment(rest[0]) + ")",
          asWord ? varcharType(30) : intType(true)};
}

namespace {

// Sums and averages have the widest type of their kind.
ColumnType sumType(const ColumnType& type) {
  if (type.precision) return numericType(38, scaleOf(type));
  switch (type.kind) {
    case TypeKind::Bigint:
    case TypeKind::Ubigint:
      return type;
    case TypeKind::Smallmoney:
      return plainType(TypeKind::Money);
    case TypeKind::Real:
      return floatType();
    default:
      return isInteger(type.kind) ? intType(true) : type;
  }
}

}  // namespace

SqlValue Translator::aggregate(const std::string& name, const Call& call, const Expr& expr,
                               const Scope* scope) {
  const std::uint32_t line = expr.range.line;
  if (call.arguments.size() != 1) throw wrongCount(name, line);
  if (as<Star>(*call.arguments[0])) {
    if (name != "count") throw ServerError(102, 15, 1, "Incorrect syntax near '*'.", line);
    return {"count(*)", intType()};
  }
  const SqlValue argument = value(*call.arguments[0], scope);
  const std::string inside = (call.distinct ? "DISTINCT " : "") + collated(argument);
  if (name == "count") return {"count(" + inside + ")", intType()};
  if (name == "min" || name == "max") {
    const std::string function = isWide(argument.type) ? "exact_" + name : name;
    SqlValue result{function + "(" + inside + ")", withNullability(argument.type, true)};
    return result;
  }
  const ColumnType& type = argument.type;
  if (familyOf(type.kind) != TypeFamily::Number) {
    throw ServerError(409, 16, 1,
                      "The " + name + " operation cannot take a " + shownName(type.kind) +
                          " datatype as an argument.",
                      line);
  }
  const ColumnType result = sumType(type);
  if (name == "sum") {
    const std::string sql = (isExactFraction(type.kind) ? "exact_sum(" : "sum(") + inside + ")";
    return {result.kind == TypeKind::Int ? "in_int(" + sql + ")" : sql,
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
                                               : "avg(" + inside + ")";
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

std::optional<SqlValue> Translator::schemaFunction(const Call& call, std::uint32_t line,
                                                   const Scope* scope) {
  const auto object = context_.catalog.findObject(call.function, context_.caller);
  if (!object || object->type != "SF") return std::nullopt;
  const SourceText source = context_.catalog.source(object->id);
  const StatementList batch = parseBatch(source.text, source.options());
  const auto* create = std::get_if<CreateFunction>(&batch.front()->node);
  if (create == nullptr) return std::nullopt;
  if (call.arguments.size() != create->parameters.size()) throw wrongCount(object->name, line);
  const auto type = [&](const DataType& declared) {
    return withNullability(context_.catalog.resolveType(declared, context_.caller), true);
  };
  std::string sql = "schema_function(" + std::to_string(object->id);
  for (std::size_t i = 0; i < call.arguments.size(); ++i) {
    sql +=
        ", " + assigned(value(*call.arguments[i], scope), type(create->parameters[i].type), line);
  }
  return SqlValue{sql + ")", type(create->returns)};
}

SqlValue Translator::call(const Call& call, const Expr& expr, const Scope* scope) {
  static constexpr std::array<std::string_view, 4> kDateParts = {"dateadd", "datediff", "datename",
                                                                 "datepart"};
  const std::uint32_t line = expr.range.line;
  const std::string name = tsql::lowerCase(call.function.name);
  const bool isQualified = !call.function.owner.empty() || !call.function.database.empty();
  if (isQualified || !isFunction(name)) {
    if (auto result = schemaFunction(call, line, scope)) return *result;
  }
  if (isQualified) throw unknownFunction(call.function.name, line);
  if (name == "identity" && makesTable_) return newIdentity(call, line);
  if (isAggregateName(name)) return aggregate(name, call, expr, scope);
  if (std::ranges::count(kDateParts, name) != 0) return datePartCall(name, call, expr, scope);
  std::vector<SqlValue> arguments;
  const bool special = name == "isnull" || name == "coalesce" || name == "nullif";
  if (!special && !isFunction(name)) throw unknownFunction(call.function.name, line);
  arguments.reserve(call.arguments.size());
  for (const auto& argument : call.arguments) arguments.push_back(value(*argument, scope));
  if (name == "isnull" && arguments.size() == 2) return isNullCall(arguments, line);
  if (name == "coalesce" && !arguments.empty()) return coalesceCall(arguments, line);
  if (name == "nullif" && arguments.size() == 2) {
    return {"CASE WHEN " + compared(BinaryOp::Equal, arguments[0], arguments[1], line) +
                " THEN NULL ELSE " + arguments[0].sql + " END",
            withNullability(arguments[0].type, true)};
  }
  const FunctionRule* rule = special ? nullptr : findFunction(name, arguments.size());
  if (rule == nullptr) throw wrongCount(name, line);
  if (name == "datalength" && !isCharacter(arguments[0].type.kind) &&
      !isBinary(arguments[0].type.kind)) {
    return {"CASE WHEN " + arguments[0].sql + " IS NULL THEN NULL ELSE " +
                std::to_string(arguments[0].type.length) + " END",
            intType(true)};
  }
  return templateCall(*rule, arguments, line);
}

}  // namespace kelvane::embedded
