// Visits the parts of an expression.
#pragma once

#include <functional>

#include "drivers/embedded/tsql/ast/expressions.h"

namespace kelvane::embedded {

/// The expressions directly below `expr`. The insides of its subqueries are not visited.
void eachOperand(const tsql::Expr& expr, const std::function<void(const tsql::Expr&)>& visit);

/// Whether `test` holds for `expr` or anything below it outside of subqueries.
bool anyWithin(const tsql::Expr& expr, const std::function<bool(const tsql::Expr&)>& test);

/// The terms of a chain of `and`; the expression itself when it is none.
std::vector<const tsql::Expr*> conjuncts(const tsql::Expr* condition);

template <class Node>
const Node* as(const tsql::Expr& expr) {
  return std::get_if<Node>(&expr.node);
}

}  // namespace kelvane::embedded
