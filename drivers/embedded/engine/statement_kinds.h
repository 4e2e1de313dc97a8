// Which statements define something. A kind of statement that is neither among them nor has a place
// of its own where statements run does not compile. Facts about kinds of statements.
#pragma once

#include <concepts>
#include <cstdint>
#include <string_view>

#include "drivers/embedded/tsql/ast/administration.h"
#include "drivers/embedded/tsql/ast/objects.h"
#include "drivers/embedded/tsql/ast/permissions.h"
#include "drivers/embedded/tsql/ast/routines.h"
#include "drivers/embedded/tsql/ast/tables.h"
#include "drivers/embedded/tsql/error.h"

namespace kelvane::embedded {

template <class Node, class... Kinds>
concept OneOf = (std::same_as<Node, Kinds> || ...);

/// What makes, changes or drops something in the catalog.
template <class Node>
concept Definition =
    OneOf<Node, tsql::CreateTable, tsql::AlterTable, tsql::CreateIndex, tsql::CreateView,
          tsql::CreatePrecomputed, tsql::CreateProcedure, tsql::CreateFunction, tsql::CreateTrigger,
          tsql::CreateRule, tsql::CreateDefault, tsql::CreateSchema, tsql::CreateLogin,
          tsql::EncryptionKey, tsql::ModifyOwner, tsql::Drop, tsql::Permission>;

/// Whether the statement only removes something and the error says that it is not there.
bool isAlreadyGone(const tsql::Statement& statement, const message::Kind& error);

/// Whether it begins a transaction in chained mode.
bool touchesRows(const tsql::Statement& statement);

/// What messages call a definition that a transaction may hold only where a database allows it;
/// empty for others, those of temporary tables among them.
std::string_view commandName(const tsql::Statement& statement);

/// Where to say that something is wrong. A definition with a stored text begins with the batch,
/// with the comments before it.
std::uint32_t lineOf(const tsql::Statement& statement);

}  // namespace kelvane::embedded
