// Values: converting them, arithmetic that SQLite does not have, and what a column asks of them.

#include <charconv>
#include <cmath>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "drivers/embedded/engine/convert.h"
#include "drivers/embedded/engine/decimal.h"
#include "drivers/embedded/engine/function_families.h"
#include "drivers/embedded/engine/typing.h"

namespace kelvane::embedded {
namespace {

using tsql::ServerError;

void asType(FunctionCall& call) {
  if (call.isNull(0)) return;
  int at = 1;
  const auto next = [&] { return static_cast<int>(call.integer(at++)); };
  const auto described = [&] {
    ColumnType type;
    type.kind = static_cast<TypeKind>(next());
    type.length = next();
    const int precision = next(), scale = next();
    if (precision != 0) type.precision = precision, type.scale = scale;
    return type;
  };
  const ColumnType from = described();
  ColumnType to = described();
  to.nullable = next() != 0;
  const int style = next();
  const auto form = static_cast<ConversionForm>(next());
  call.result(convertCell(call.cell(0), from, to, {form, style, kUnknownLine}));
}

void withoutZeros(FunctionCall& call) {
  if (call.isNull(0)) return;
  Cell cell = call.cell(0);
  if (auto* bytes = std::get_if<Blob>(&cell)) {
    while (!bytes->empty() && bytes->back() == std::byte{0}) bytes->pop_back();
    if (bytes->empty()) bytes->resize(1);
  }
  call.result(cell);
}

// (value, kind)
void inRange(FunctionCall& call) {
  if (call.isNull(0)) return;
  const std::int64_t value = call.integer(0);
  if (!isInRange(value, static_cast<TypeKind>(call.integer(1)))) {
    throw ServerError(message::arithmeticOverflow, kUnknownLine);
  }
  call.result(value);
}

// SQLite goes on with floating point where its integers end.
void inBigint(FunctionCall& call) {
  const Cell cell = call.cell(0);
  if (std::holds_alternative<double>(cell)) {
    throw ServerError(message::arithmeticOverflow, kUnknownLine);
  }
  call.result(cell);
}

// (value, kind)
void inReal(FunctionCall& call) {
  if (call.isNull(0)) return;
  if (!isReal(call.real(0), static_cast<TypeKind>(call.integer(1)))) {
    throw ServerError(message::arithmeticOverflow, kUnknownLine);
  }
  call.result(call.cell(0));
}

// SQLite cuts both to integers first.
void realRemainder(FunctionCall& call) {
  if (!anyNull(call)) call.result(std::fmod(call.real(0), call.real(1)));
}

// (operator, a, b): the operators of 64 bits without a sign, which SQLite does not have. The
// divisor is not zero.
void unsignedResult(FunctionCall& call) {
  if (anyNull(call)) return;
  const auto natural = [&](int argument) -> __int128 {
    const Cell cell = call.cell(argument);
    if (const auto* number = std::get_if<std::int64_t>(&cell)) return *number;
    std::uint64_t value = 0;
    const std::string_view digits = call.text(argument);
    const auto read = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    // A sum may have more digits than its type.
    if (read.ec != std::errc()) throw ServerError(message::arithmeticOverflow, kUnknownLine);
    return value;
  };
  const __int128 a = natural(1), b = natural(2);
  __int128 result = 0;
  bool overflows = false;
  switch (call.text(0)[0]) {
    case '+':
      result = a + b;
      break;
    case '-':
      result = a - b;
      break;
    case '*':
      overflows = __builtin_mul_overflow(a, b, &result);
      break;
    case '/':
      result = a / b;
      break;
    case '%':
      result = a % b;
      break;
    case '&':
      result = a & b;
      break;
    case '|':
      result = a | b;
      break;
    default:
      result = a ^ b;
  }
  if (overflows || result < 0 || result > std::numeric_limits<std::uint64_t>::max()) {
    throw ServerError(message::arithmeticOverflow, kUnknownLine);
  }
  call.result(cellOfNatural(static_cast<std::uint64_t>(result)));
}

// SQLite has no operator for it.
void exclusiveOr(FunctionCall& call) {
  if (!anyNull(call)) call.result(call.integer(0) ^ call.integer(1));
}

void divisor(FunctionCall& call) {
  if (call.isNull(0)) return;
  if (call.real(0) == 0) throw ServerError(message::divisionByZero, kUnknownLine);
  call.result(call.cell(0));
}

void required(FunctionCall& call) {
  if (call.isNull(0)) {
    throw ServerError(message::nullInserted, kUnknownLine, call.text(1), call.text(2));
  }
  call.result(call.cell(0));
}

// (text, kind and length of the column, the text as it is stored, the name of the column or null
// where cutting is an error). Blanks may be cut off.
void uncut(FunctionCall& call, Running& running) {
  const std::string_view text = call.isNull(0) ? std::string_view() : call.text(0);
  ColumnType type;
  type.kind = static_cast<TypeKind>(call.integer(1));
  type.length = static_cast<int>(call.integer(2));
  const auto kept = cutText(text, type).size();
  if (text.find_first_not_of(' ', kept) != std::string_view::npos) {
    if (call.isNull(4)) throw ServerError(message::textTruncated, kUnknownLine);
    const int characters = isUnicode(type.kind) ? type.length / 2 : type.length;
    running.tooNarrow.emplace(call.text(4), characters);
  }
  call.result(call.cell(3));
}

// Of a subquery that stands for a value.
class OnlyValue final : public Aggregate {
 public:
  void step(FunctionCall& row) override {
    if (found_) throw ServerError(message::subqueryOfSeveralRows, kUnknownLine);
    found_ = row.cell(0);
  }
  Cell finish() override { return found_ ? std::move(*found_) : Cell{}; }

 private:
  std::optional<Cell> found_;
};

// What is unknown breaks no rule.
void obeyed(FunctionCall& call) {
  if (!call.isNull(0) && call.integer(0) == 0) {
    const auto broken = static_cast<message::Index>(call.integer(1));
    throw ServerError(message::ServerMessage(broken, std::string(call.text(2))), kUnknownLine);
  }
  call.result(1);
}

}  // namespace

void registerValueFunctions(Database& store, Running& running) {
  const auto add = [&](const char* name, int count, void (*function)(FunctionCall&)) {
    store.addFunction(name, count, FunctionKind::Fixed, function);
  };
  add("as_type", 12, asType);
  add("without_zeros", 1, withoutZeros);
  add("in_range", 2, inRange);
  add("in_bigint", 1, inBigint);
  add("in_real", 2, inReal);
  add("real_remainder", 2, realRemainder);
  add("unsigned_result", 3, unsignedResult);
  add("exclusive_or", 2, exclusiveOr);
  add("divisor", 1, divisor);
  add("required", 3, required);
  store.addFunction("uncut", 5, FunctionKind::Volatile,
                    [&running](FunctionCall& call) { uncut(call, running); });
  store.addFunction("obeyed", 3, FunctionKind::Volatile, obeyed);
  store.addAggregate("only_value", 1, [] { return std::make_unique<OnlyValue>(); });
}

}  // namespace kelvane::embedded
