// What may stand in defaults, checks, rules and computed columns: they see one row, or nothing but
// themselves.
//
// Pure functions.
#pragma once

#include <cstdint>
#include <vector>

#include "drivers/embedded/tsql/ast/expressions.h"
#include "drivers/embedded/tsql/ast/routines.h"
#include "drivers/embedded/tsql/ast/tables.h"

namespace kelvane::embedded {

/// Throw 112 for a variable, 128 for the name of a column where none is seen, and 154 for a
/// subquery or an aggregate. `line` is that of the statement.
void requireLegal(const tsql::CreateTable& table, std::uint32_t line);
void requireLegal(const tsql::AlterTable& table, std::uint32_t line);
void requireLegal(const tsql::CreateRule& rule, std::uint32_t line);
void requireLegal(const tsql::CreateDefault& definition, std::uint32_t line);

/// The conditions of the checks that a statement brings.
std::vector<const tsql::Expr*> checksOf(const tsql::CreateTable& table);
std::vector<const tsql::Expr*> checksOf(const tsql::AlterTable& table);

}  // namespace kelvane::embedded
