// Conditions: comparisons, membership, patterns, quantifiers.

#include <algorithm>
#include <array>
#include <tuple>

#include "drivers/embedded/engine/builtins.h"
#include "drivers/embedded/engine/translator.h"
#include "drivers/embedded/engine/typing.h"
#include "drivers/embedded/engine/walk.h"
#include "drivers/embedded/tsql/overloaded.h"
#include "drivers/embedded/tsql/words.h"

namespace kelvane::embedded {

using namespace tsql;

namespace {

const char* symbolOf(BinaryOp op) {
  switch (op) {
    case BinaryOp::Equal:
      return "=";
    case BinaryOp::NotEqual:
      return "<>";
    case BinaryOp::Less:
      return "<";
    case BinaryOp::LessEqual:
      return "<=";
    case BinaryOp::Greater:
      return ">";
    case BinaryOp::GreaterEqual:
      return ">=";
    default:
      return nullptr;
  }
}

// Functions that give the name of a number, and where the number of a name is found. The test
// `function(x) = name` becomes `x in (numbers with that name)`: the same rows, found by an index
// instead of naming every row.
struct NameFunction {
  std::string_view name;
  std::string_view table;
  std::string_view key;
};
constexpr std::array kNameFunctions = {
    NameFunction{"object_name", "sysobjects", "id"},
    NameFunction{"user_name", "sysusers", "uid"},
    NameFunction{"suser_name", "syslogins", "suid"},
};

}  // namespace

std::string joined(const std::vector<std::string>& parts, const char* separator) {
  std::string result;
  for (const std::string& part : parts) {
    if (!result.empty()) result += separator;
    result += part;
  }
  return result;
}

std::string chained(std::span<const std::string> parts, const char* separator) {
  constexpr std::size_t kLongest = 200;
  std::string result;
  if (parts.size() > kLongest) {
    const std::size_t half = parts.size() / 2;
    return "(" + chained(parts.first(half), separator) + ")" + separator + "(" +
           chained(parts.subspan(half), separator) + ")";
  }
  for (const std::string& part : parts) {
    if (!result.empty()) result += separator;
    result += part;
  }
  return result;
}

std::string Translator::ruleCondition(const Expr& rule, SqlValue ruled) {
  ruled_ = std::move(ruled);
  std::string sql = condition(rule, nullptr, Polarity::Any);
  ruled_.reset();
  return sql;
}

std::string Translator::condition(const Expr& expr, const Scope* scope, Polarity polarity) {
  const std::uint32_t line = expr.range.line;
  return std::visit(
      Overloaded{
          [&](const Binary& e) { return comparison(e, line, scope, polarity); },
          [&](const Logical& e) {
            const bool alone = polarity != Polarity::Conjunct || e.op == LogicalOp::And;
            const Polarity inner = alone ? polarity : Polarity::Positive;
            std::vector<std::string> parts;
            parts.reserve(e.operands.size());
            for (const auto& operand : e.operands)
              parts.push_back(condition(*operand, scope, inner));
            return "(" + chained(parts, e.op == LogicalOp::And ? " AND " : " OR ") + ")";
          },
          [&](const Unary& e) {
            if (e.op != UnaryOp::Not) throw ServerError(message::syntaxAnywhere, line);
            return "NOT (" + condition(*e.operand, scope, Polarity::Any) + ")";
          },
          [&](const Like& e) { return like(e, scope); },
          [&](const InList& e) { return membership(e, line, scope, polarity); },
          [&](const InSubquery& e) { return membership(e, line, scope, polarity); },
          [&](const Between& e) {
            const SqlValue v = value(*e.value, scope);
            const std::string low = compared(BinaryOp::GreaterEqual, v, value(*e.low, scope), line);
            const std::string high = compared(BinaryOp::LessEqual, v, value(*e.high, scope), line);
            return (e.negated ? "NOT (" : "(") + low + " AND " + high + ")";
          },
          [&](const IsNull& e) {
            return "(" + value(*e.value, scope).sql + (e.negated ? " IS NOT NULL)" : " IS NULL)");
          },
          [&](const Exists& e) {
            return "EXISTS (" + query(*e.query, scope, QueryUse::Existence).sql + ")";
          },
          [&](const Quantified& e) { return quantified(e, line, scope, polarity); },
          [&](const Call& e) { return callCondition(e, scope, line); },
          [&](const auto&) -> std::string { throw ServerError(message::syntaxOfCondition, line); },
      },
      expr.node);
}

std::string Translator::callCondition(const Call& call, const Scope* scope, std::uint32_t line) {
  const auto* column =
      call.arguments.size() == 1 ? as<ColumnRef>(*call.arguments.front()) : nullptr;
  if (tsql::equalsIgnoringCase(call.function.name, "update") && column != nullptr) {
    return parameter(Parameter::Source::Written, column->column);
  }
  const FunctionRule* rule =
      findFunction(call.function.name, call.arguments.size(), context_.catalog.options());
  if (rule == nullptr || rule->form != FunctionForm::Condition) {
    throw ServerError(message::syntax, line, ")");
  }
  std::vector<SqlValue> arguments;
  arguments.reserve(call.arguments.size());
  for (const auto& argument : call.arguments) arguments.push_back(value(*argument, scope));
  return templateCall(*rule, arguments, call.option, line).sql;
}

// Whether the operand is the literal null or a variable that holds null; nothing for all else.
std::optional<bool> Translator::knownNull(const Expr& expr) {
  if (const auto* literal = as<Literal>(expr)) return literal->kind == LiteralKind::Null;
  if (ruled_) return std::nullopt;
  const auto* variable = as<tsql::Variable>(expr);
  if (variable == nullptr) return std::nullopt;
  if (std::find(assignedVariables_.begin(), assignedVariables_.end(), variable->name) !=
      assignedVariables_.end()) {
    return std::nullopt;
  }
  const auto found = context_.variables.find(variable->name);
  if (found == context_.variables.end()) return std::nullopt;
  const bool isNull = !context_.beforeRun && embedded::isNull(found->second.value);
  assumptions_.push_back({variable->name, isNull});
  return isNull;
}

std::optional<std::string> Translator::keyLookup(const Expr& expr, const Scope* scope,
                                                 const std::string& nameTest, Polarity polarity) {
  const auto* call = as<Call>(expr);
  if (call == nullptr || call->arguments.size() != 1 || !call->function.owner.empty()) {
    return std::nullopt;
  }
  const std::string name = tsql::lowerCase(call->function.name);
  const auto function = std::ranges::find(kNameFunctions, name, &NameFunction::name);
  if (function == kNameFunctions.end()) return std::nullopt;
  const SqlValue key = value(*call->arguments[0], scope);
  if (!key.isColumn || !isInteger(key.type.kind)) return std::nullopt;
  const std::string table(function->table);
  const std::string number(function->key);
  if (polarity != Polarity::Conjunct) {
    return key.sql + " IN (SELECT " + number + " FROM " + table + " WHERE name " + nameTest + ")";
  }
  // Joined, the numbers need not be collected first.
  const std::string alias = newAlias();
  joinedTables_ += ", " + table + " AS " + alias;
  return "(" + alias + ".name " + nameTest + " AND " + alias + "." + number + " = " + key.sql + ")";
}

std::string Translator::comparison(const Binary& binary, std::uint32_t line, const Scope* scope,
                                   Polarity polarity) {
  if (symbolOf(binary.op) == nullptr) {
    throw ServerError(message::syntaxOfCondition, line);
  }
  const auto leftNull = knownNull(*binary.left);
  const auto rightNull = knownNull(*binary.right);
  const SqlValue left = value(*binary.left, scope);
  const SqlValue right = value(*binary.right, scope);
  if (leftNull == true || rightNull == true) {
    const bool equal = binary.op == BinaryOp::Equal;
    if (context_.ansiNull) return "NULL";
    if (!equal && binary.op != BinaryOp::NotEqual) return "NULL";
    if (leftNull == true && rightNull == true) return equal ? "1" : "0";
    return "(" + (leftNull == true ? right : left).sql + (equal ? " IS NULL)" : " IS NOT NULL)");
  }
  if (polarity != Polarity::Any && binary.op == BinaryOp::Equal) {
    // The name must be known before any row is read.
    const auto lookup = [&](const Expr& function, const std::optional<bool>& known,
                            const SqlValue& name) -> std::optional<std::string> {
      if (known != false || !isCharacter(name.type.kind)) return std::nullopt;
      return keyLookup(function, scope, "= " + name.sql, polarity);
    };
    if (auto sql = lookup(*binary.left, rightNull, right)) return *sql;
    if (auto sql = lookup(*binary.right, leftNull, left)) return *sql;
  }
  return compared(binary.op, left, right, line);
}

std::string Translator::compared(BinaryOp op, const SqlValue& left, const SqlValue& right,
                                 std::uint32_t line) {
  if (left.isNull || right.isNull) return "NULL";
  std::string a = left.sql;
  std::string b = right.sql;
  const TypeFamily leftFamily = familyOf(left.type.kind);
  const TypeFamily rightFamily = familyOf(right.type.kind);
  if (leftFamily != rightFamily) {
    const ColumnType common = commonType(left.type, right.type, line);
    if (familyOf(common.kind) != leftFamily) a = converted(left, common);
    if (familyOf(common.kind) != rightFamily) b = converted(right, common);
  } else if (isWide(left.type) || isWide(right.type)) {
    // Equal numbers are stored alike; only order needs more.
    const bool ordered = op != BinaryOp::Equal && op != BinaryOp::NotEqual;
    if (isApproximate(left.type.kind) || isApproximate(right.type.kind)) {
      a = "CAST(" + a + " AS REAL)";
      b = "CAST(" + b + " AS REAL)";
    } else if (ordered) {
      a = "decimal_key(" + a + ")";
      b = "decimal_key(" + b + ")";
    }
  } else if (leftFamily == TypeFamily::Binary) {
    std::tie(a, b) = comparableBytes(left, right);
  } else if (leftFamily == TypeFamily::Character && !left.isColumn && !right.isColumn) {
    b = collated(right);
  }
  return "(" + a + " " + symbolOf(op) + " " + b + ")";
}

// The zeros at the end of bytes count for nothing.
std::pair<std::string, std::string> Translator::comparableBytes(const SqlValue& left,
                                                                const SqlValue& right) {
  const auto fills = [](const ColumnType& type, const ColumnType& other) {
    return isZeroFilled(type) && !isLong(other.kind) && other.length <= type.length;
  };
  const bool leftFills = fills(left.type, right.type), rightFills = fills(right.type, left.type);
  if (leftFills && rightFills) return {left.sql, right.sql};
  // What is filled already stays untouched, so that SQLite can use its indexes.
  if (leftFills) return {left.sql, converted(right, left.type)};
  if (rightFills) return {converted(left, right.type), right.sql};
  return {"without_zeros(" + left.sql + ")", "without_zeros(" + right.sql + ")"};
}

std::string Translator::membership(const InList& in, std::uint32_t line, const Scope* scope,
                                   Polarity polarity) {
  const SqlValue v = value(*in.value, scope);
  std::vector<SqlValue> list;
  bool allKnown = true;
  for (const auto& element : in.list) {
    const auto known = knownNull(*element);
    allKnown = allKnown && known == false;
    list.push_back(value(*element, scope));
  }
  std::vector<std::string> same;
  bool plain = allKnown;
  for (const SqlValue& element : list) {
    plain = plain && familyOf(element.type.kind) == familyOf(v.type.kind) &&
            !isBinary(element.type.kind);
    same.push_back(element.sql);
  }
  if (plain) {
    const std::string names = "IN (" + joined(same, ", ") + ")";
    if (polarity != Polarity::Any && !in.negated) {
      if (auto sql = keyLookup(*in.value, scope, names, polarity)) return *sql;
    }
    return "(" + collated(v) + (in.negated ? " NOT " : " ") + names + ")";
  }
  std::vector<std::string> tests;
  for (std::size_t i = 0; i < list.size(); ++i) {
    const bool isNull = knownNull(*in.list[i]) == true;
    tests.push_back(isNull ? "(" + v.sql + " IS NULL)"
                           : compared(BinaryOp::Equal, v, list[i], line));
  }
  return (in.negated ? "NOT (" : "(") + joined(tests, " OR ") + ")";
}

std::string Translator::membership(const InSubquery& in, std::uint32_t line, const Scope* scope,
                                   Polarity polarity) {
  const SqlValue v = value(*in.value, scope);
  const QueryText inner = query(*in.query, scope, QueryUse::Values);
  if (inner.columns.size() != 1) {
    throw ServerError(message::starInSubquery, line);
  }
  const std::string names = "IN (" + inner.sql + ")";
  const ColumnType& type = inner.columns[0].type;
  if (familyOf(type.kind) != familyOf(v.type.kind)) {
    const ColumnType common = commonType(v.type, type, line);
    SqlValue element{"r1", type};
    return "(" + converted(v, common) + (in.negated ? " NOT" : "") + " IN (SELECT " +
           converted(element, common) + " FROM (" + inner.sql + ")))";
  }
  if (isBinary(type.kind)) {
    const auto [bytes, others] = comparableBytes(v, {"r1", type});
    return "(" + bytes + (in.negated ? " NOT" : "") + " IN (SELECT " + others + " FROM (" +
           inner.sql + ")))";
  }
  if (polarity != Polarity::Any && !in.negated) {
    if (auto sql = keyLookup(*in.value, scope, names, polarity)) return *sql;
  }
  return "(" + collated(v) + (in.negated ? " NOT " : " ") + names + ")";
}

std::string Translator::quantified(const Quantified& q, std::uint32_t line, const Scope* scope,
                                   Polarity polarity) {
  const SqlValue v = value(*q.value, scope);
  const QueryText inner = query(*q.query, scope, QueryUse::Values);
  const std::string alias = newAlias();
  const SqlValue element{alias + ".r1", inner.columns.at(0).type};
  const std::string test = compared(q.op, v, element, line);
  const std::string from = " FROM (" + inner.sql + ") AS " + alias;
  const std::string exists = "EXISTS (SELECT 1" + from + " WHERE ";
  if (q.quantifier == Quantifier::Any) return exists + test + ")";
  if (polarity != Polarity::Any) return "NOT " + exists + "(" + test + ") IS NOT TRUE)";
  return "(SELECT CASE WHEN sum(NOT (" + test + ")) > 0 THEN 0 WHEN count(" + test +
         ") = count(*) THEN 1 END" + from + ")";
}

std::string Translator::like(const Like& like, const Scope* scope) {
  const SqlValue v = value(*like.value, scope);
  const SqlValue pattern = value(*like.pattern, scope);
  const auto text = [&](const SqlValue& side) {
    return isCharacter(side.type.kind) ? side.sql : converted(side, varcharType(255));
  };
  std::string sql =
      "matches(" + (isCharacter(v.type.kind) ? shownText(v) : text(v)) + ", " + text(pattern);
  if (like.escape) sql += ", " + value(*like.escape, scope).sql;
  return (like.negated ? "NOT " : "") + sql + ")";
}

}  // namespace kelvane::embedded
