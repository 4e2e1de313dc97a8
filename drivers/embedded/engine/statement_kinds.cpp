#include "drivers/embedded/engine/statement_kinds.h"

#include <algorithm>

#include "drivers/embedded/tsql/ast.h"

namespace kelvane::embedded {

using namespace tsql;

namespace {

bool removesOnly(const tsql::Statement& statement) {
  return std::visit(Overloaded{
                        [](const Drop&) { return true; },
                        [](const EncryptionKey& s) { return s.action == KeyAction::Drop; },
                        [](const Delete&) { return true; },
                        [](const Truncate&) { return true; },
                        [](const AlterTable& alter) {
                          return std::ranges::all_of(alter.actions, [](const AlterAction& action) {
                            return std::holds_alternative<DropColumn>(action) ||
                                   std::holds_alternative<DropConstraint>(action);
                          });
                        },
                        [](const Permission& p) { return p.action == PermissionAction::Revoke; },
                        [](const Execute& e) { return e.procedure.name.starts_with("sp_drop"); },
                        [](const auto&) { return false; },
                    },
                    statement.node);
}

}  // namespace

bool isAlreadyGone(const tsql::Statement& statement, const message::Kind& error) {
  return error.saysGone() && removesOnly(statement);
}

bool touchesRows(const tsql::Statement& statement) {
  return std::visit(Overloaded{
                        [](const SelectStatement&) { return true; },
                        [](const Insert&) { return true; },
                        [](const Update&) { return true; },
                        [](const Delete&) { return true; },
                        [](const OpenCursor&) { return true; },
                        [](const FetchCursor&) { return true; },
                        [](const auto&) { return false; },
                    },
                    statement.node);
}

std::uint32_t lineOf(const tsql::Statement& statement) {
  return std::visit(Overloaded{
                        [](const CreateView& s) { return s.name.range.line; },
                        [](const CreateProcedure& s) { return s.name.range.line; },
                        [](const CreateFunction& s) { return s.name.range.line; },
                        [](const CreateTrigger& s) { return s.name.range.line; },
                        [](const CreateRule& s) { return s.name.range.line; },
                        [](const CreateDefault& s) { return s.name.range.line; },
                        [&](const auto&) { return statement.range.line; },
                    },
                    statement.node);
}

}  // namespace kelvane::embedded
