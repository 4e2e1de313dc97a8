// A visitor of a variant, put together from lambdas.
#pragma once

namespace kelvane::tsql {

/// `std::visit(Overloaded{[](const Literal& l) {...}, [](const auto&) {...}}, expr.node)`
template <class... Functions>
struct Overloaded : Functions... {
  using Functions::operator()...;
};
template <class... Functions>
Overloaded(Functions...) -> Overloaded<Functions...>;

}  // namespace kelvane::tsql
