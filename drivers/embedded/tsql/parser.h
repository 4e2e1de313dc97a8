// Reads one T-SQL batch into a syntax tree.
//
// The text is only needed while parsing; trees own what they hold. No shared state, so that any
// number of batches may be parsed at once.
#pragma once

#include <string_view>

#include "drivers/embedded/tsql/ast/basics.h"
#include "drivers/embedded/tsql/error.h"
#include "drivers/embedded/tsql/lexer.h"

namespace kelvane::tsql {

/// The statements of a batch, none for an empty one. Where the batch creates a procedure, function,
/// trigger, rule or default, that is the only statement and its range is the whole batch; the range
/// of a view is the whole batch when it is the only statement.
/// Throws ServerError: 102, 156 (syntax), 105, 113 (unclosed quote or comment), 111 (such a create
/// is not first), 191 (nested too deeply).
StatementList parseBatch(std::string_view batch, ParseOptions options = {});

/// A text that is one expression, such as a stored default. Throws as parseBatch does.
ExprPtr parseExpression(std::string_view text, ParseOptions options = {});

}  // namespace kelvane::tsql
