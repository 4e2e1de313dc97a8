// Exact numbers beyond what a double holds: arithmetic, order, aggregates.

#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "drivers/embedded/engine/convert.h"
#include "drivers/embedded/engine/decimal.h"
#include "drivers/embedded/engine/function_families.h"

namespace kelvane::embedded {
namespace {

using tsql::ServerError;

Decimal decimalArgument(const FunctionCall& call, int argument) {
  const auto decimal = decimalOf(call.cell(argument));
  if (!decimal) throw ServerError(message::arithmeticOverflow, kUnknownLine);
  return *decimal;
}

// (operator, a, b, digits before the point, digits behind it)
void exact(FunctionCall& call) {
  if (anyNull(call)) return;
  const auto scale = static_cast<std::size_t>(call.integer(4));
  Decimal result =
      calculated(call.text(0)[0], decimalArgument(call, 1), decimalArgument(call, 2), scale);
  result.round(scale);
  if (static_cast<std::int64_t>(result.whole.size()) > call.integer(3)) {
    throw ServerError(message::arithmeticOverflow, kUnknownLine);
  }
  call.result(cellOf(result));
}

// (amount, kind)
void inMoney(FunctionCall& call) {
  if (call.isNull(0)) return;
  if (!isMoney(decimalArgument(call, 0), static_cast<TypeKind>(call.integer(1)))) {
    throw ServerError(message::arithmeticOverflow, kUnknownLine);
  }
  call.result(call.cell(0));
}

void decimalKey(FunctionCall& call) {
  if (!call.isNull(0)) call.result(std::string_view(sortKey(decimalArgument(call, 0))));
}

// The sum, the least or the greatest of exact numbers.
class ExactAggregate final : public Aggregate {
 public:
  explicit ExactAggregate(char kind) : kind_(kind) {}
  void step(FunctionCall& row) override {
    if (row.isNull(0)) return;
    Decimal value = decimalArgument(row, 0);
    if (kind_ == '+') {
      result_ = result_ ? calculated('+', *result_, value, 0) : std::move(value);
      return;
    }
    std::string key = sortKey(value);
    if (result_ && (kind_ == '<') != (key < key_)) return;
    result_ = std::move(value);
    key_ = std::move(key);
  }
  Cell finish() override { return result_ ? cellOf(*result_) : Cell{}; }

 private:
  char kind_;
  std::optional<Decimal> result_;
  std::string key_;
};

}  // namespace

void registerDecimalFunctions(Database& store) {
  store.addFunction("exact", 5, FunctionKind::Fixed, exact);
  store.addFunction("in_money", 2, FunctionKind::Fixed, inMoney);
  store.addFunction("decimal_key", 1, FunctionKind::Fixed, decimalKey);
  struct Named {
    const char* name;
    char kind;
  };
  for (const Named& named :
       {Named{"exact_sum", '+'}, Named{"exact_min", '<'}, Named{"exact_max", '>'}}) {
    store.addAggregate(named.name, 1, [kind = named.kind]() -> std::unique_ptr<Aggregate> {
      return std::make_unique<ExactAggregate>(kind);
    });
  }
}

}  // namespace kelvane::embedded
