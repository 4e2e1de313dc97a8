#include "drivers/embedded/engine/walk.h"

#include "drivers/embedded/tsql/ast/queries.h"
#include "drivers/embedded/tsql/overloaded.h"

namespace kelvane::embedded {

using namespace tsql;

void eachOperand(const Expr& expr, const std::function<void(const Expr&)>& visit) {
  const auto go = [&](const ExprPtr& operand) {
    if (operand) visit(*operand);
  };
  const auto all = [&](const std::vector<ExprPtr>& operands) {
    for (const auto& operand : operands) go(operand);
  };
  std::visit(Overloaded{
                 [&](const Unary& e) { go(e.operand); },
                 [&](const Binary& e) { go(e.left), go(e.right); },
                 [&](const Logical& e) { all(e.operands); },
                 [&](const Like& e) { go(e.value), go(e.pattern), go(e.escape); },
                 [&](const InList& e) { go(e.value), all(e.list); },
                 [&](const InSubquery& e) { go(e.value); },
                 [&](const Between& e) { go(e.value), go(e.low), go(e.high); },
                 [&](const IsNull& e) { go(e.value); },
                 [&](const Quantified& e) { go(e.value); },
                 [&](const Case& e) {
                   go(e.operand);
                   for (const auto& branch : e.branches) go(branch.when), go(branch.then);
                   go(e.otherwise);
                 },
                 [&](const Call& e) { all(e.arguments); },
                 [&](const Convert& e) { go(e.value), go(e.style); },
                 [](const auto&) {},
             },
             expr.node);
}

bool anyWithin(const Expr& expr, const std::function<bool(const Expr&)>& test) {
  if (test(expr)) return true;
  bool found = false;
  eachOperand(expr, [&](const Expr& operand) { found = found || anyWithin(operand, test); });
  return found;
}

std::vector<const Expr*> conjuncts(const Expr* condition) {
  std::vector<const Expr*> terms;
  if (condition == nullptr) return terms;
  const auto* chain = as<Logical>(*condition);
  if (chain == nullptr || chain->op != LogicalOp::And) return {condition};
  for (const auto& operand : chain->operands) {
    const auto below = conjuncts(operand.get());
    terms.insert(terms.end(), below.begin(), below.end());
  }
  return terms;
}

}  // namespace kelvane::embedded
