// Values: literals, variables, columns, case, conversions.

#include <algorithm>
#include <charconv>

#include "drivers/embedded/engine/builtins.h"
#include "drivers/embedded/engine/convert.h"
#include "drivers/embedded/engine/decimal.h"
#include "drivers/embedded/engine/globals.h"
#include "drivers/embedded/engine/translator.h"
#include "drivers/embedded/engine/typing.h"
#include "drivers/embedded/engine/walk.h"
#include "drivers/embedded/tsql/overloaded.h"

namespace kelvane::embedded {

using namespace tsql;

namespace {

// Beyond these a statement is one of a kind.
constexpr std::size_t kMostBoundTexts = 100;

ServerError syntaxError(const std::string& near, std::uint32_t line) {
  return ServerError(message::syntax, line, near);
}

// Whatever the tables hold; not every query that does is found.
bool hasOneRow(const Query& query) {
  if (!query.isSingle()) return false;
  const Select& select = query.terms.front().select;
  if (select.from.empty() || select.top == 1 || (query.limit && query.limit->count == 1)) {
    return true;
  }
  const auto* call = as<Call>(*select.items.front().value);
  return call != nullptr && isAggregateName(call->function.name) && select.groupBy.empty() &&
         !select.having;
}

bool isVaryingText(TypeKind kind) { return isCharacter(kind) && !isFixedWidthText(kind); }

}  // namespace

std::string shownText(const SqlValue& value) {
  if (value.isLiteral || value.type.nullable || !isFixedWidthText(value.type.kind)) {
    return value.sql;
  }
  // The width of unichar counts characters, that of the others bytes.
  const bool unicode = isUnicode(value.type.kind);
  const int width = unicode ? value.type.length / 2 : value.type.length;
  return "printf('%-" + std::string(unicode ? "!" : "") + std::to_string(width) + "s', " +
         value.sql + ")";
}

std::string quotedText(std::string_view text) {
  std::string result = "'";
  for (const char c : text) {
    if (c == '\'') result += c;
    result += c;
  }
  return result + "'";
}

std::string quotedName(std::string_view name) {
  std::string result = "\"";
  for (const char c : name) {
    if (c == '"') result += c;
    result += c;
  }
  return result + "\"";
}

ColumnType numberType(LiteralKind kind, std::string_view text) {
  const auto point = text.find('.');
  const auto digits = static_cast<int>(text.size()) - (point != text.npos);
  const int scale = point == text.npos ? 0 : static_cast<int>(text.size() - point) - 1;
  const bool fitsInt =
      kind == LiteralKind::Integer && (digits < 10 || (digits == 10 && text <= "2147483647"));
  if (fitsInt) return intType();
  return kind == LiteralKind::Money
             ? plainType(TypeKind::Money, false)
             : numericType(std::clamp(digits, 1, 38), std::min(scale, 38), false);
}

std::string collated(const SqlValue& value) {
  const bool needed = isCharacter(value.type.kind) && !value.isColumn;
  return needed ? "(" + value.sql + ") COLLATE RTRIM" : value.sql;
}

std::string Translator::parameter(Parameter::Source source, const std::string& name,
                                  std::size_t position) {
  const Parameter wanted{source, name, position};
  const auto found = std::find(parameters_.begin(), parameters_.end(), wanted);
  const auto number = found - parameters_.begin() + 1;
  if (found == parameters_.end()) parameters_.push_back(wanted);
  return "?" + std::to_string(number);
}

std::vector<SqlValue> Translator::boundValues(const std::vector<ExprPtr>& expressions) {
  std::vector<SqlValue> values;
  values.reserve(expressions.size());
  bindsNumbers_ = true;
  for (const ExprPtr& expression : expressions) values.push_back(value(*expression, nullptr));
  bindsNumbers_ = false;
  return values;
}

SqlValue Translator::value(const Expr& expr, const Scope* scope) {
  const std::uint32_t line = expr.range.line;
  if (isKeyExpression(expr, scope)) {
    isWithinKey_ = true;
    SqlValue result = value(expr, scope);
    isWithinKey_ = false;
    return result;
  }
  SqlValue result =
      std::visit(Overloaded{
                     [&](const Literal& e) { return literal(e, line); },
                     [&](const tsql::Variable& e) { return variable(e, line); },
                     [&](const GlobalVariable& e) { return global(e, line); },
                     [&](const ColumnRef& e) {
                       static const Scope kNoTables;
                       const FoundColumn found = (scope ? *scope : kNoTables).resolve(e, line);
                       SqlValue result{found.sql, found.column->type, e.column};
                       result.isColumn = true;
                       noteColumn(found.home, *found.column, found.sql);
                       return result;
                     },
                     [&](const Unary& e) { return unary(e, expr, scope); },
                     [&](const Binary& e) { return binary(e, expr, scope); },
                     [&](const ScalarSubquery& e) { return scalarSubquery(*e.query, scope); },
                     [&](const Case& e) { return caseValue(e, expr, scope); },
                     [&](const Call& e) { return call(e, expr, scope); },
                     [&](const Convert& e) { return convertValue(e, expr, scope); },
                     [&](const auto&) -> SqlValue { throw syntaxError("=", line); },
                 },
                 expr.node);
  // Some say an operand twice, and computed columns stand for whole expressions.
  const std::size_t longest = 1'000'000 + 100 * std::size_t{expr.range.end - expr.range.begin};
  if (result.sql.size() > longest) {
    throw ServerError(message::nestedTooDeeply, line);
  }
  return result;
}

std::string Translator::textLiteral(const Literal& literal, const std::string& text) {
  if (writesTexts_ || parameters_.size() >= kMostBoundTexts) {
    holdsTexts_ |= literal.slot >= 0;
    return quotedText(text);
  }
  return literal.slot < 0
             ? parameter(Parameter::Source::Literal, text)
             : parameter(Parameter::Source::Text, "", static_cast<std::size_t>(literal.slot));
}

namespace {

int unitsOfUtf16(std::string_view text) {
  constexpr unsigned char kFirstBeyondAscii = 0x80, kFirstLead = 0xC0, kFirstLeadOfTwoUnits = 0xF0;
  int units = 0;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < kFirstBeyondAscii || byte >= kFirstLead)
      units += byte < kFirstLeadOfTwoUnits ? 1 : 2;
  }
  return units;
}

void requireMoney(const std::string& text, std::uint32_t line) {
  auto amount = parseDecimal(text);
  if (amount) amount->round(4);
  if (!amount || !isMoney(*amount, TypeKind::Money)) {
    throw ServerError(message::arithmeticOverflow, line);
  }
}

}  // namespace

SqlValue Translator::literal(const Literal& literal, std::uint32_t line) {
  SqlValue result;
  result.isLiteral = true;
  result.type = intType();
  result.sql = literal.text;
  switch (literal.kind) {
    case LiteralKind::Null:
      result.sql = "NULL";
      result.isNull = true;
      result.type.nullable = true;
      break;
    case LiteralKind::String: {
      const std::string& written =
          literal.slot < 0 ? literal.text : context_.texts[static_cast<std::size_t>(literal.slot)];
      // The server has no empty text: two quotes are one blank.
      const std::string text = written.empty() ? " " : written;
      result.sql = textLiteral(literal, text);
      result.type = literal.isUnicode
                        ? declaredType(TypeKind::Univarchar, unitsOfUtf16(text), {}, false)
                        : varcharType(static_cast<int>(text.size()), false);
      break;
    }
    case LiteralKind::Binary: {
      const Blob bytes = bytesOfHex(literal.text);
      result.sql = "x'" + hexDigits(bytes) + "'";
      result.type = varbinaryType(static_cast<int>(bytes.size()), false);
      break;
    }
    case LiteralKind::Float:
      result.type = floatType(false);
      if (bindsNumbers_) result.sql = parameter(Parameter::Source::Real, literal.text);
      break;
    case LiteralKind::Integer:
    case LiteralKind::Decimal:
    case LiteralKind::Money: {
      result.type = numberType(literal.kind, literal.text);
      if (result.type.kind == TypeKind::Int) {
        if (bindsNumbers_) result.sql = parameter(Parameter::Source::Number, literal.text);
        break;
      }
      if (literal.kind == LiteralKind::Money) requireMoney(literal.text, line);
      const Cell cell = exactNumber(literal.text);
      if (const auto* digits = std::get_if<std::string>(&cell)) result.sql = quotedText(*digits);
      if (bindsNumbers_) result.sql = parameter(Parameter::Source::Number, literal.text);
      break;
    }
  }
  return result;
}

SqlValue Translator::variable(const tsql::Variable& variable, std::uint32_t line) {
  if (ruled_) return *ruled_;
  const auto found = context_.variables.find(variable.name);
  if (found == context_.variables.end()) {
    throw ServerError(message::undeclaredVariable, line, variable.name);
  }
  const bool changesByRow = std::find(assignedVariables_.begin(), assignedVariables_.end(),
                                      variable.name) != assignedVariables_.end();
  SqlValue result;
  result.type = withNullability(found->second.type, true);
  result.sql = changesByRow ? "current_variable(" + quotedText(variable.name) + ")"
                            : parameter(Parameter::Source::Variable, variable.name);
  return result;
}

SqlValue Translator::global(const GlobalVariable& variable, std::uint32_t line) {
  const auto type = globalVariableType(variable.name, context_.catalog.options());
  if (!type) throw ServerError(message::undeclaredVariable, line, variable.name);
  return {parameter(Parameter::Source::Global, variable.name), *type};
}

SqlValue Translator::caseValue(const Case& expr, const Expr& whole, const Scope* scope) {
  const std::uint32_t line = whole.range.line;
  std::optional<SqlValue> operand;
  if (expr.operand) operand = value(*expr.operand, scope);
  std::vector<SqlValue> results;
  std::vector<std::string> tests;
  for (const CaseBranch& branch : expr.branches) {
    tests.push_back(operand ? compared(BinaryOp::Equal, *operand, value(*branch.when, scope), line)
                            : condition(*branch.when, scope, Polarity::Any));
    results.push_back(value(*branch.then, scope));
  }
  if (expr.otherwise) results.push_back(value(*expr.otherwise, scope));
  std::optional<ColumnType> type;
  bool nullable = !expr.otherwise;
  for (const SqlValue& result : results) {
    nullable = nullable || result.isNull;
    if (!result.isNull) type = type ? commonType(*type, result.type, line) : result.type;
  }
  const ColumnType common =
      withNullability(type.value_or(intType()), nullable || (type && type->nullable));
  std::string sql = "CASE";
  for (std::size_t i = 0; i < results.size(); ++i) {
    sql += i < tests.size() ? " WHEN " + tests[i] + " THEN " : " ELSE ";
    sql += assigned(results[i], common, line);
  }
  return {sql + " END", common};
}

SqlValue Translator::scalarSubquery(const Query& inner, const Scope* scope) {
  const QueryText text = query(inner, scope, QueryUse::Values);
  if (text.columns.size() != 1) {
    throw ServerError(message::starInSubquery, inner.range.line);
  }
  const ColumnType type = withNullability(text.columns[0].type, true);
  if (hasOneRow(inner)) return {"(" + text.sql + ")", type};
  return {"(SELECT only_value(r1) FROM (" + text.sql + "))", type};
}

SqlValue Translator::convertValue(const Convert& convert, const Expr& expr, const Scope* scope) {
  ColumnType type = context_.catalog.resolveType(convert.type, caller_);
  if (!convert.type.length && !isLong(type.kind) && type.userType < 100 &&
      (isCharacter(type.kind) || isBinary(type.kind)) && type.kind != TypeKind::Sysname &&
      type.kind != TypeKind::Timestamp) {
    type = declaredType(type.kind, 30, std::nullopt, type.nullable);
  }
  const SqlValue operand = value(*convert.value, scope);
  int style = 0;
  if (convert.style) {
    const auto* number = as<Literal>(*convert.style);
    if (number == nullptr || number->kind != LiteralKind::Integer) {
      throw syntaxError("convert", expr.range.line);
    }
    std::from_chars(number->text.data(), number->text.data() + number->text.size(), style);
  }
  type = withNullability(type, convert.nullable.value_or(operand.isNull || operand.type.nullable));
  if (operand.isNull) return {"NULL", type};
  if (!convertsExplicitly(operand.type.kind, type.kind)) {
    throw ServerError(message::noExplicitConversion, expr.range.line, shownName(operand.type.kind),
                      shownName(type.kind));
  }
  return {converted(operand, type, ConversionForm::Explicit, style), type};
}

std::string Translator::converted(const SqlValue& value, const ColumnType& to, ConversionForm form,
                                  int style) {
  if (value.isNull) return "NULL";
  const auto number = [](int n) { return ", " + std::to_string(n); };
  const auto described = [&](const ColumnType& type) {
    return number(static_cast<int>(type.kind)) + number(type.length) +
           number(type.precision.value_or(0)) + number(type.scale.value_or(0));
  };
  return "as_type(" + value.sql + described(value.type) + described(to) + number(to.nullable) +
         number(style) + number(static_cast<int>(form)) + ")";
}

// Values that the target takes as they are stay untouched, so that SQLite can use its indexes.
std::string Translator::assigned(const SqlValue& value, const ColumnType& to, std::uint32_t line) {
  if (value.isNull) return "NULL";
  requireImplicit(value.type.kind, to.kind, line);
  const ColumnType& from = value.type;
  bool fits = false;
  if (isVaryingText(from.kind) || isFixedWidthText(from.kind)) {
    fits = value.isColumn && isCharacter(to.kind) && from.length <= to.length;
  } else if (isInteger(from.kind)) {
    fits = from.kind == to.kind;
  } else if (from.kind == to.kind) {
    fits = from.precision == to.precision && from.scale == to.scale && from.length <= to.length &&
           !isExactFraction(from.kind);
    if (isExactFraction(from.kind))
      fits = value.isColumn && from.length == to.length && from.precision == to.precision &&
             from.scale == to.scale;
    if (isZeroFilled(to)) fits = from.length == to.length;
  }
  if (fits) return value.sql;
  return converted(
      value, to,
      context_.numericTruncation ? ConversionForm::Implicit : ConversionForm::ImplicitCut);
}

}  // namespace kelvane::embedded
