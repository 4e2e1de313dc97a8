#include "cli/words/read_only_sql.h"

#include <algorithm>
#include <variant>

#include "drivers/embedded/tsql/ast.h"
#include "drivers/embedded/tsql/parser.h"

namespace kelvane::cli {
namespace {

template <class Parse>
std::string whyNot(std::string_view text, Parse whyNotParsed) {
  try {
    return whyNotParsed(text);
  } catch (const tsql::ServerError& error) {
    std::string why = error.what();
    if (why.ends_with('.')) why.pop_back();
    return why;
  }
}

}  // namespace

std::string whyNoSelect(std::string_view text) {
  return whyNot(text, [](std::string_view batch) -> std::string {
    const tsql::StatementList statements = tsql::parseBatch(batch);
    if (statements.size() != 1) return "it is " + std::to_string(statements.size()) + " statements";
    const auto* const select = std::get_if<tsql::SelectStatement>(&statements.front()->node);
    if (select == nullptr) return "it is another statement";
    for (const tsql::UnionTerm& term : select->query->terms) {
      if (!term.select.into.empty()) return "it makes a table";
      const bool assigns = std::ranges::any_of(
          term.select.items, [](const tsql::SelectItem& item) { return !item.variable.empty(); });
      if (assigns) return "it returns no rows";
    }
    return {};
  });
}

std::string whyNoCondition(std::string_view text) {
  return whyNot(text, [](std::string_view condition) {
    tsql::parseExpression(condition);
    return std::string();
  });
}

}  // namespace kelvane::cli
