#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>

#include "drivers/embedded/tsql/error.h"
#include "drivers/embedded/tsql/grammar.h"
#include "drivers/embedded/tsql/words.h"

namespace kelvane::tsql {
namespace {

// Reserved words that are functions when a parenthesis follows.
constexpr auto kReservedFunctions = std::to_array<std::string_view>(
    {"avg", "coalesce", "count", "identity", "max", "min", "nullif", "replace", "sum", "tsequal",
     "update", "user", "xmlextract", "xmlparse", "xmltest", "xmlvalidate"});

}  // namespace

const Parser::BinaryOperator Parser::kBinaryOperators[] = {
    {"=", BinaryOp::Equal, Level::Comparison},
    {"<>", BinaryOp::NotEqual, Level::Comparison},
    {"!=", BinaryOp::NotEqual, Level::Comparison},
    {"<", BinaryOp::Less, Level::Comparison},
    {"<=", BinaryOp::LessEqual, Level::Comparison},
    {">", BinaryOp::Greater, Level::Comparison},
    {">=", BinaryOp::GreaterEqual, Level::Comparison},
    {"!<", BinaryOp::GreaterEqual, Level::Comparison},
    {"!>", BinaryOp::LessEqual, Level::Comparison},
    {"*=", BinaryOp::LeftOuterEqual, Level::Comparison},
    {"=*", BinaryOp::RightOuterEqual, Level::Comparison},
    {"+", BinaryOp::Add, Level::Additive},
    {"-", BinaryOp::Subtract, Level::Additive},
    {"&", BinaryOp::BitAnd, Level::Additive},
    {"|", BinaryOp::BitOr, Level::Additive},
    {"^", BinaryOp::BitXor, Level::Additive},
    {"||", BinaryOp::Concat, Level::Additive},
    {"*", BinaryOp::Multiply, Level::Multiplicative},
    {"/", BinaryOp::Divide, Level::Multiplicative},
    {"%", BinaryOp::Modulo, Level::Multiplicative},
};

ExprPtr Parser::make(ExprNode node, const Token& first) {
  growTaller();
  return std::make_unique<Expr>(Expr{from(first), std::move(node)});
}

void Parser::growTaller() {
  if (++height_ > kMaxHeight) nestedTooDeeply();
}

// Reads operators of `level` and all that bind tighter.
ExprPtr Parser::expression(Level level) {
  const Nesting nesting(*this);
  const int outerHeight = std::exchange(height_, 0);
  const Token& first = peek();
  ExprPtr result = binaryTail(prefix(), level, first);
  height_ = std::max(height_, outerHeight);
  return result;
}

ExprPtr Parser::binaryTail(ExprPtr left, Level level, const Token& first) {
  while (extendBinary(left, level, first)) {
  }
  if (level <= Level::Comparison) extendComparison(left, first);
  while (level <= Level::And && extendLogical(left, level, first)) {
  }
  return left;
}

// Tighter operators first: `left` is complete up to the level of the operator that follows, because
// every right operand is read with the next tighter level.
bool Parser::extendBinary(ExprPtr& left, Level level, const Token& first) {
  if (!atKind(TokenKind::Symbol)) return false;
  const auto found = std::ranges::find(kBinaryOperators, peek().text, &BinaryOperator::symbol);
  if (found == std::end(kBinaryOperators) || found->level <= Level::Comparison ||
      found->level < level)
    return false;
  take();
  const auto tighter = static_cast<Level>(static_cast<int>(found->level) + 1);
  ExprPtr right = expression(tighter);
  left = make(Binary{found->op, std::move(left), std::move(right)}, first);
  return true;
}

ExprPtr Parser::quantifiedOrBinary(BinaryOp op, ExprPtr left, Level operand, const Token& first) {
  if (!at("any") && !at("some") && !at("all")) {
    ExprPtr right = expression(operand);
    return make(Binary{op, std::move(left), std::move(right)}, first);
  }
  const Quantifier quantifier = at("all") ? Quantifier::All : Quantifier::Any;
  take();
  QueryPtr query = parenthesizedQuery();
  return make(Quantified{op, std::move(left), quantifier, std::move(query)}, first);
}

// One comparison or predicate; they do not chain.
bool Parser::extendComparison(ExprPtr& left, const Token& first) {
  if (atKind(TokenKind::Symbol)) {
    const auto found = std::ranges::find(kBinaryOperators, peek().text, &BinaryOperator::symbol);
    if (found == std::end(kBinaryOperators) || found->level != Level::Comparison) return false;
    take();
    left = quantifiedOrBinary(found->op, std::move(left), Level::Additive, first);
    return true;
  }
  if (accept("is")) {
    const bool negated = accept("not");
    expect("null");
    left = make(IsNull{std::move(left), negated}, first);
    return true;
  }
  const std::size_t ahead = at("not") ? 1 : 0;
  if (!at("like", ahead) && !at("in", ahead) && !at("between", ahead) && !at("xmltest", ahead))
    return false;
  const bool negated = accept("not");
  if (accept("like")) {
    ExprPtr pattern = expression(Level::Additive);
    ExprPtr escape = accept("escape") ? expression(Level::Additive) : nullptr;
    left = make(Like{std::move(left), std::move(pattern), std::move(escape), negated}, first);
  } else if (accept("between")) {
    ExprPtr low = expression(Level::Additive);
    expect("and");
    ExprPtr high = expression(Level::Additive);
    left = make(Between{std::move(left), std::move(low), std::move(high), negated}, first);
  } else if (at("xmltest")) {
    left = xmlTest(std::move(left), negated, first);
  } else {
    left = membership(std::move(left), negated, first);
  }
  return true;
}

// `'/a/b' xmltest document option 'xmlerror=null'`, as a function that gives 0 or 1.
ExprPtr Parser::xmlTest(ExprPtr path, bool negated, const Token& first) {
  const Token& word = take();
  Call test;
  test.function = objectNameOf({"xmltest"}, word);
  test.arguments.push_back(std::move(path));
  test.arguments.push_back(expression(Level::Additive));
  xmlTail();
  ExprPtr found = make(std::move(test), first);
  ExprPtr none = make(Literal{LiteralKind::Integer, "0"}, word);
  const BinaryOp op = negated ? BinaryOp::Equal : BinaryOp::NotEqual;
  return make(Binary{op, std::move(found), std::move(none)}, first);
}

ExprPtr Parser::membership(ExprPtr value, bool negated, const Token& first) {
  expect("in");
  if (atSubquery()) {
    QueryPtr query = parenthesizedQuery();
    return make(InSubquery{std::move(value), std::move(query), negated}, first);
  }
  std::vector<ExprPtr> list;
  if (acceptSymbol("(")) {
    commaList([&] { list.push_back(expression()); });
    expectSymbol(")");
  } else {
    list.push_back(constant());
  }
  return make(InList{std::move(value), std::move(list), negated}, first);
}

bool Parser::extendLogical(ExprPtr& left, Level level, const Token& first) {
  const bool conjunction = at("and");
  if (!conjunction && !(at("or") && level == Level::Or)) return false;
  const std::string_view word = conjunction ? "and" : "or";
  const Level tighter = conjunction ? Level::Comparison : Level::And;
  Logical chain{conjunction ? LogicalOp::And : LogicalOp::Or, {}};
  chain.operands.push_back(std::move(left));
  while (accept(word)) chain.operands.push_back(expression(tighter));
  left = make(std::move(chain), first);
  return true;
}

ExprPtr Parser::prefix() {
  const Token& first = peek();
  if (accept("not")) {
    ExprPtr operand = expression(Level::Comparison);
    return make(Unary{UnaryOp::Not, std::move(operand)}, first);
  }
  const auto unary = [&](UnaryOp op) {
    take();
    ExprPtr operand = expression(Level::Operand);
    return make(Unary{op, std::move(operand)}, first);
  };
  if (atSymbol("-")) return unary(UnaryOp::Minus);
  if (atSymbol("+")) return unary(UnaryOp::Plus);
  if (atSymbol("~")) return unary(UnaryOp::BitNot);
  return primary();
}

int Parser::takeSlot(const Token& token) {
  const std::size_t begin = token.begin + token.prefix() + 1;
  const auto found = std::ranges::lower_bound(texts_, begin, {}, &TextSpan::begin);
  if (found == texts_.end() || found->begin != begin) return -1;
  ++slotsTaken_;
  return static_cast<int>(found - texts_.begin());
}

namespace {

void requireRange(LiteralKind kind, const Token& token) {
  constexpr std::size_t kMostDigits = 38;
  const std::string text = token.value();
  if (kind == LiteralKind::Float && std::isinf(std::strtod(text.c_str(), nullptr))) {
    throw ServerError(message::floatOutOfRange, token.line, text);
  }
  if (kind != LiteralKind::Integer && kind != LiteralKind::Decimal) return;
  const std::size_t first = std::min(text.find_first_not_of('0'), text.size());
  const std::size_t digits = text.size() - first - (text.find('.') != text.npos ? 1 : 0);
  if (digits > kMostDigits) {
    throw ServerError(message::numberOutOfRange, token.line, text, kMostDigits);
  }
}

}  // namespace

ExprPtr Parser::literal(LiteralKind kind) {
  const Token& token = take();
  requireRange(kind, token);
  std::string text = token.value();
  if (kind == LiteralKind::Money) text.erase(0, 1);
  if (kind == LiteralKind::Binary) text.erase(0, 2);
  if (kind == LiteralKind::Null) text.clear();
  const bool isNegative = kind == LiteralKind::Money && text.starts_with('-');
  if (kind == LiteralKind::Money && (isNegative || text.starts_with('+'))) text.erase(0, 1);
  const int slot = kind == LiteralKind::String ? takeSlot(token) : -1;
  const bool isUnicode = kind == LiteralKind::String && token.prefix() == kUnicodePrefix;
  ExprPtr amount = make(Literal{kind, std::move(text), slot, isUnicode}, token);
  return isNegative ? make(Unary{UnaryOp::Minus, std::move(amount)}, token) : std::move(amount);
}

ExprPtr Parser::primary() {
  const Token& first = peek();
  switch (first.kind) {
    case TokenKind::Integer:
      return literal(LiteralKind::Integer);
    case TokenKind::Decimal:
      return literal(LiteralKind::Decimal);
    case TokenKind::Float:
      return literal(LiteralKind::Float);
    case TokenKind::Money:
      return literal(LiteralKind::Money);
    case TokenKind::String:
      return literal(LiteralKind::String);
    case TokenKind::Binary:
      return literal(LiteralKind::Binary);
    case TokenKind::Variable:
      take();
      requireDeclared(first);
      return make(Variable{first.value()}, first);
    case TokenKind::GlobalVariable:
      take();
      return make(GlobalVariable{first.value()}, first);
    case TokenKind::Symbol:
      return parenthesized();
    case TokenKind::Word:
      if (!first.reserved.empty()) return reservedPrimary();
      if (at("cast") && atSymbol("(", 1)) return castCall();
      return nameExpression();
    case TokenKind::QuotedWord:
      return nameExpression();
    case TokenKind::End:
      break;
  }
  unexpected();
}

// `((select 1) union (select 2))` shows only after its first select that it is a query.
ExprPtr Parser::parenthesized() {
  const Token& first = peek();
  if (!atSymbol("(")) unexpected();
  if (atSubquery()) {
    QueryPtr query = parenthesizedQuery();
    return make(ScalarSubquery{std::move(query)}, first);
  }
  take();
  ExprPtr result = expression();
  if (auto* leading = std::get_if<ScalarSubquery>(&result->node); leading && at("union"))
    leading->query = queryFrom(std::move(leading->query), first);
  expectSymbol(")");
  result->range = from(first);
  return result;
}

ExprPtr Parser::reservedPrimary() {
  const Token& first = peek();
  if (at("null")) return literal(LiteralKind::Null);
  if (at("case")) return caseExpression();
  if (at("convert")) return convertCall();
  if (accept("exists")) {
    QueryPtr query = parenthesizedQuery();
    return make(Exists{std::move(query)}, first);
  }
  if (accept("syb_identity")) return make(ColumnRef{{}, first.value(), false}, first);
  if (at("user") && !atSymbol("(", 1)) {
    take();
    Call call{{}, {}, false, false};
    call.function.name = first.value();
    return make(std::move(call), first);
  }
  const bool function =
      std::ranges::find(kReservedFunctions, first.reserved) != kReservedFunctions.end();
  if (!function || !atSymbol("(", 1)) unexpected();
  take();
  return call(objectNameOf({first.value()}, first), first);
}

ExprPtr Parser::caseExpression() {
  const Token& first = take();
  Case result;
  if (!at("when")) result.operand = expression();
  do {
    expect("when");
    CaseBranch branch;
    branch.when = expression();
    expect("then");
    branch.then = expression();
    result.branches.push_back(std::move(branch));
  } while (at("when"));
  if (accept("else")) result.otherwise = expression();
  expect("end");
  return make(std::move(result), first);
}

ExprPtr Parser::convertCall() {
  const Token& first = take();
  Convert result;
  expectSymbol("(");
  result.type = dataType();
  if (accept("not")) {
    expect("null");
    result.nullable = false;
  } else if (accept("null")) {
    result.nullable = true;
  }
  expectSymbol(",");
  result.value = expression();
  if (acceptSymbol(",")) result.style = expression();
  expectSymbol(")");
  return make(std::move(result), first);
}

ExprPtr Parser::castCall() {
  const Token& first = take();
  Convert result;
  expectSymbol("(");
  result.value = expression();
  expect("as");
  result.type = dataType();
  expectSymbol(")");
  return make(std::move(result), first);
}

ExprPtr Parser::nameExpression() {
  const Token& first = peek();
  std::vector<std::string> parts = dottedParts();
  if (parts.back().empty()) {
    expectSymbol("*");
    parts.pop_back();
    ObjectName table = objectNameOf(std::move(parts), first);
    return make(Star{std::move(table)}, first);
  }
  if (atSymbol("(")) return call(objectNameOf(std::move(parts), first), first);
  const bool quoted = previous().kind == TokenKind::QuotedWord;
  std::string column = std::move(parts.back());
  parts.pop_back();
  ObjectName table = parts.empty() ? ObjectName() : objectNameOf(std::move(parts), first);
  return make(ColumnRef{std::move(table), std::move(column), quoted}, first);
}

ExprPtr Parser::call(ObjectName function, const Token& first) {
  Call result;
  result.function = std::move(function);
  expectSymbol("(");
  if (acceptSymbol(")")) return make(std::move(result), first);
  result.distinct = accept("distinct");
  if (!result.distinct) accept("all");
  commaList([&] {
    const Token& argument = peek();
    if (!result.arguments.empty() && at("using") && atKind(TokenKind::Word, 1)) {
      take();
      result.option = wordText();
      return;
    }
    const bool star = acceptSymbol("*");
    result.arguments.push_back(star ? make(Star{}, argument) : expression());
  });
  const bool isXml = result.function.name.starts_with("xml");
  const std::optional<DataType> returned = isXml ? xmlTail() : std::nullopt;
  expectSymbol(")");
  ExprPtr called = make(std::move(result), first);
  return returned ? make(Convert{*returned, std::move(called), {}, {}}, first) : std::move(called);
}

// What the server takes as an argument of exec or as a default: no operators but a sign.
bool Parser::atConstant() const {
  const std::size_t ahead = atSymbol("-") || atSymbol("+") ? 1 : 0;
  switch (peek(ahead).kind) {
    case TokenKind::Integer:
    case TokenKind::Decimal:
    case TokenKind::Float:
    case TokenKind::Money:
      return true;
    case TokenKind::String:
    case TokenKind::Binary:
    case TokenKind::Variable:
    case TokenKind::GlobalVariable:
      return ahead == 0;
    case TokenKind::Word:
      return ahead == 0 && at("null");
    default:
      return false;
  }
}

ExprPtr Parser::constant() {
  if (!atConstant()) unexpected();
  return expression(Level::Operand);
}

bool Parser::atSubquery() const { return atSymbol("(") && at("select", 1); }

// A select, however many parentheses stand before it.
bool Parser::startsQuery() const {
  std::size_t ahead = 0;
  while (atSymbol("(", ahead)) ++ahead;
  return at("select", ahead);
}

bool Parser::startsExpression() const {
  if (atConstant() || atSymbol("(") || atSymbol("-") || atSymbol("+") || atSymbol("~")) return true;
  if (atName()) return !atSymbol(":", 1);
  return at("case") || at("convert") || at("exists") || at("not") ||
         (atKind(TokenKind::Word) && atSymbol("(", 1) &&
          std::ranges::find(kReservedFunctions, peek().reserved) != kReservedFunctions.end());
}

}  // namespace kelvane::tsql
