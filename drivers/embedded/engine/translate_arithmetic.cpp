// Operators: arithmetic, bits, concatenation.

#include <algorithm>

#include "drivers/embedded/engine/translator.h"
#include "drivers/embedded/engine/typing.h"

namespace kelvane::embedded {

using namespace tsql;

namespace {

// Of the unsigned types whose values an int may be taken from; 0 for any other type.
std::int64_t largestUnsigned(TypeKind kind) {
  switch (kind) {
    case TypeKind::Bit:
      return 1;
    case TypeKind::Tinyint:
      return 0xff;
    case TypeKind::Usmallint:
      return 0xffff;
    case TypeKind::Uint:
      return 0xffff'ffff;
    default:
      return 0;
  }
}

}  // namespace

SqlValue Translator::unary(const Unary& unary, const Expr& expr, const Scope* scope) {
  const std::uint32_t line = expr.range.line;
  if (unary.op == UnaryOp::Not) throw ServerError(message::syntax, line, "not");
  SqlValue operand = value(*unary.operand, scope);
  if (unary.op == UnaryOp::Plus || operand.isNull) return operand;
  if (familyOf(operand.type.kind) != TypeFamily::Number) {
    requireImplicit(operand.type.kind, TypeKind::Int, line);
    operand.sql = converted(operand, intType(true));
    operand.type = intType(true);
  }
  const bool complement = unary.op == UnaryOp::BitNot;
  if (const std::int64_t most = largestUnsigned(operand.type.kind); most != 0) {
    if (complement) return {"(" + std::to_string(most) + " - " + operand.sql + ")", operand.type};
    const ColumnType type = intType(operand.type.nullable);
    return {within("-" + operand.sql, type.kind), type};
  }
  if (complement && operand.type.kind == TypeKind::Ubigint) {
    return {"unsigned_result('^', " + operand.sql + ", '18446744073709551615')", operand.type};
  }
  if (operand.type.kind == TypeKind::Ubigint) {
    return {"unsigned_result('-', 0, " + operand.sql + ")", operand.type};
  }
  const TypeKind kind = operand.type.kind;
  if ((isWide(operand.type) || kind == TypeKind::Smallmoney) && !complement) {
    return {exactly('-', {"0", intType()}, operand, operand.type), operand.type};
  }
  SqlValue result{(complement ? "(~" : "(-") + operand.sql + ")", operand.type};
  result.isLiteral = operand.isLiteral && !complement;
  // The least integers have no counterpart.
  if (isInteger(kind) && !complement && !operand.isLiteral) result.sql = within(result.sql, kind);
  return result;
}

// SQLite's integers have 64 bits, behind which it goes on with floating point.
std::string Translator::within(const std::string& sql, TypeKind kind) {
  if (kind == TypeKind::Bigint) return "in_bigint(" + sql + ")";
  const char* const function = isInteger(kind)         ? "in_range("
                               : isExactFraction(kind) ? "in_money("
                                                       : "in_real(";
  return function + sql + ", " + std::to_string(static_cast<int>(kind)) + ")";
}

std::string Translator::exactly(char op, const SqlValue& a, const SqlValue& b,
                                const ColumnType& type) {
  const int scale = scaleOf(type);
  const std::string result = std::string("exact('") + op + "', " + a.sql + ", " + b.sql + ", " +
                             std::to_string(precisionOf(type) - scale) + ", " +
                             std::to_string(scale) + ")";
  return type.precision ? result : within(result, type.kind);
}

namespace {

// Nothing joined to nothing stays null.
std::string closed(const std::string& joined, bool nullable) {
  return nullable ? "nullif((" + joined + "), '')" : "(" + joined + ")";
}

bool isJoined(const SqlValue& value) {
  return !value.joined.empty() && value.sql == closed(value.joined, value.type.nullable);
}

}  // namespace

// A chain stays flat: SQLite's parser has a small stack.
SqlValue Translator::concatenation(const SqlValue& left, const SqlValue& right) {
  const auto part = [](const SqlValue& value) {
    if (value.isNull) return std::string("''");
    if (isJoined(value)) return "(" + value.joined + ")";
    return value.isLiteral ? value.sql : "coalesce(" + shownText(value) + ", '')";
  };
  const bool nullable = left.type.nullable && right.type.nullable;
  if (isBinary(left.type.kind) && isBinary(right.type.kind)) {
    return {"nullif(CAST(coalesce(" + left.sql + ", x'') || coalesce(" + right.sql +
                ", x'') AS BLOB), x'')",
            varbinaryType(left.type.length + right.type.length, nullable)};
  }
  const auto characters = [](const SqlValue& value) {
    return isUnicode(value.type.kind) ? value.type.length / 2 : value.type.length;
  };
  const bool unicode = isUnicode(left.type.kind) || isUnicode(right.type.kind);
  const int length = std::min(
      (left.isNull ? 0 : characters(left)) + (right.isNull ? 0 : characters(right)), 16384);
  std::string joined = (isJoined(left) ? left.joined : part(left)) + " || " + part(right);
  SqlValue result{closed(joined, nullable),
                  declaredType(unicode ? TypeKind::Univarchar : TypeKind::Varchar,
                               std::max(length, 1), std::nullopt, nullable)};
  result.joined = std::move(joined);
  return result;
}

SqlValue Translator::bitwise(const char* op, const SqlValue& left, const SqlValue& right,
                             std::uint32_t line) {
  const auto integer = [&](const SqlValue& side) {
    if (isInteger(side.type.kind)) return side.sql;
    if (!isBinary(side.type.kind)) {
      throw ServerError(message::invalidOperator, line, op, shownName(side.type.kind));
    }
    return converted(side, intType(true));
  };
  const std::string a = integer(left), b = integer(right);
  const auto isUbigint = [](const SqlValue& v) { return v.type.kind == TypeKind::Ubigint; };
  if (isUbigint(left) || isUbigint(right)) {
    return {"unsigned_result('" + std::string(op) + "', " + a + ", " + b + ")",
            plainType(TypeKind::Ubigint, left.type.nullable || right.type.nullable)};
  }
  const bool wide = left.type.kind == TypeKind::Bigint || right.type.kind == TypeKind::Bigint;
  const ColumnType type =
      plainType(wide ? TypeKind::Bigint : TypeKind::Int, left.type.nullable || right.type.nullable);
  if (*op == '^') return {"exclusive_or(" + a + ", " + b + ")", type};
  return {"(" + a + " " + op + " " + b + ")", type};
}

SqlValue Translator::binary(const Binary& binary, const Expr& expr, const Scope* scope) {
  const std::uint32_t line = expr.range.line;
  const SqlValue left = value(*binary.left, scope);
  const SqlValue right = value(*binary.right, scope);
  const auto isText = [](const SqlValue& v) {
    return !v.isNull && (isCharacter(v.type.kind) || isBinary(v.type.kind));
  };
  char op = '+';
  switch (binary.op) {
    case BinaryOp::BitAnd:
      return bitwise("&", left, right, line);
    case BinaryOp::BitOr:
      return bitwise("|", left, right, line);
    case BinaryOp::BitXor:
      return bitwise("^", left, right, line);
    case BinaryOp::Concat:
      return concatenation(left, right);
    case BinaryOp::Add: {
      if (!isText(left) && !isText(right)) break;
      const bool joins = (isText(left) || left.isNull) && (isText(right) || right.isNull);
      if (joins) {
        for (const SqlValue* side : {&left, &right}) {
          if (side->isNull || !isLong(side->type.kind)) continue;
          throw ServerError(message::invalidOperator, line, "+", shownName(side->type.kind));
        }
        return concatenation(left, right);
      }
      const SqlValue& text = isText(left) ? left : right;
      const SqlValue& number = isText(left) ? right : left;
      if (!isBinary(text.type.kind)) requireImplicit(text.type.kind, number.type.kind, line);
      break;
    }
    case BinaryOp::Subtract:
      op = '-';
      break;
    case BinaryOp::Multiply:
      op = '*';
      break;
    case BinaryOp::Divide:
      op = '/';
      break;
    case BinaryOp::Modulo:
      op = '%';
      break;
    default:
      throw ServerError(message::syntax, line, "=");
  }
  if (left.isNull || right.isNull) {
    return {"NULL", withNullability(left.isNull ? right.type : left.type, true)};
  }
  if (isTemporal(left.type.kind) || isTemporal(right.type.kind)) {
    const SqlValue& moment = isTemporal(left.type.kind) ? left : right;
    const SqlValue& other = isTemporal(left.type.kind) ? right : left;
    throw ServerError(message::invalidOperator, line, std::string(1, op),
                      shownName((isTemporal(other.type.kind) ? other : moment).type.kind));
  }
  const ColumnType type = arithmeticType(left.type, right.type, op, line);
  const auto number = [&](const SqlValue& v) {
    return isBinary(v.type.kind) ? converted(v, intType(true)) : v.sql;
  };
  std::string a = number(left), b = number(right);
  if (op == '/' || op == '%') b = "divisor(" + b + ")";
  if (isExactFraction(type.kind)) {
    return {exactly(op, {a, left.type}, {b, right.type}, type), type};
  }
  if (type.kind == TypeKind::Ubigint) {
    return {"unsigned_result('" + std::string(1, op) + "', " + a + ", " + b + ")", type};
  }
  if (op == '%' && !isInteger(type.kind)) return {"real_remainder(" + a + ", " + b + ")", type};
  if (op == '/' && !isInteger(type.kind)) a = "CAST(" + a + " AS REAL)";
  const std::string sql = "(" + a + " " + op + " " + b + ")";
  return {op == '%' ? sql : within(sql, type.kind), type};
}

}  // namespace kelvane::embedded
