// Which statements define something. A kind of statement that is neither among them nor has a place
// of its own where statements run does not compile.
#pragma once

#include <concepts>

#include "drivers/embedded/tsql/ast/administration.h"
#include "drivers/embedded/tsql/ast/objects.h"
#include "drivers/embedded/tsql/ast/permissions.h"
#include "drivers/embedded/tsql/ast/routines.h"
#include "drivers/embedded/tsql/ast/tables.h"

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

}  // namespace kelvane::embedded
