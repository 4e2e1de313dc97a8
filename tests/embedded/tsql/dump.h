// A syntax tree as one line of nested lists, for tests to compare with: `(select 1 (from (t a)))`.
#pragma once

#include <string>
#include <string_view>

#include "drivers/embedded/tsql/ast.h"
#include "drivers/embedded/tsql/lexer.h"

namespace kelvane::tsql {

std::string dump(const Expr& expr);
std::string dump(const Query& query);
std::string dump(const Statement& statement);

/// The statements of a batch, one blank between two; a server error as `<number> <line>: <text>`.
std::string parsed(std::string_view batch, ParseOptions options = {});

}  // namespace kelvane::tsql
