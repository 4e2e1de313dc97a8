// The syntax tree of one T-SQL batch (Adaptive Server 12.5.4 dialect).
//
// Nodes are values: a statement or an expression owns everything below it, and nothing points
// upwards. Texts are UTF-8 and decoded (quotes removed, doubled quotes halved); identifiers keep
// the case they were written in. Source ranges are byte offsets into the batch that was parsed;
// a tree does not keep that text alive and does not need it.
// Trees have no hidden state, so that several threads may read one.
//
// This header has all of it. The families of statements have headers of their own in ast/, for
// those who need no other.
#pragma once

#include <string>
#include <variant>
#include <vector>

#include "drivers/embedded/tsql/ast/administration.h"
#include "drivers/embedded/tsql/ast/basics.h"
#include "drivers/embedded/tsql/ast/calls.h"
#include "drivers/embedded/tsql/ast/control_flow.h"
#include "drivers/embedded/tsql/ast/cursors.h"
#include "drivers/embedded/tsql/ast/data_statements.h"
#include "drivers/embedded/tsql/ast/expressions.h"
#include "drivers/embedded/tsql/ast/objects.h"
#include "drivers/embedded/tsql/ast/permissions.h"
#include "drivers/embedded/tsql/ast/queries.h"
#include "drivers/embedded/tsql/ast/routines.h"
#include "drivers/embedded/tsql/ast/session_statements.h"
#include "drivers/embedded/tsql/ast/storage.h"
#include "drivers/embedded/tsql/ast/tables.h"
#include "drivers/embedded/tsql/overloaded.h"

namespace kelvane::tsql {

using StatementNode =
    std::variant<SelectStatement, Insert, Update, Delete, Truncate, Merge, Declare, DeclareCursor,
                 OpenCursor, CloseCursor, DeallocateCursor, FetchCursor, SetOption, SetVariables,
                 Block, If, While, Break, Continue, Return, Goto, Label, Print, RaiseError, WaitFor,
                 Execute, ExecuteImmediate, Transaction, RollbackTrigger, UseDatabase, SetUser,
                 Utility, CreateLogin, EncryptionKey, ModifyOwner, CreatePrecomputed, CreateTable,
                 AlterTable, CreateIndex, CreateView, CreateProcedure, CreateFunction,
                 CreateTrigger, CreateRule, CreateDefault, CreateSchema, Drop, Permission>;

struct Statement {
  SourceRange range;
  StatementNode node;
  /// What it advises without effect on rows: `plan`, `holdlock`, `at isolation`, `index` of a hint.
  std::vector<std::string> hints = {};
};

}  // namespace kelvane::tsql
