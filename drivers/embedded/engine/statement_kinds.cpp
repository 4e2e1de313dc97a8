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

namespace {

std::string_view dropName(const Drop& drop) {
  struct Named {
    DropKind kind;
    std::string_view name;
  };
  static constexpr Named kNames[] = {
      {DropKind::Table, "DROP TABLE"},         {DropKind::View, "DROP VIEW"},
      {DropKind::Procedure, "DROP PROCEDURE"}, {DropKind::Function, "DROP FUNCTION"},
      {DropKind::Trigger, "DROP TRIGGER"},     {DropKind::Rule, "DROP RULE"},
      {DropKind::Default, "DROP DEFAULT"},     {DropKind::Index, "DROP INDEX"},
  };
  const auto isTemporary = [](const ObjectName& name) {
    return name.name.starts_with('#') || name.owner.starts_with('#');
  };
  const auto* found = std::ranges::find(kNames, drop.kind, &Named::kind);
  if (found == std::end(kNames) || std::ranges::all_of(drop.names, isTemporary)) return {};
  return found->name;
}

}  // namespace

std::string_view commandName(const tsql::Statement& statement) {
  using Name = std::string_view;
  return std::visit(
      Overloaded{
          [](const CreateTable& s) -> Name { return s.name.name[0] == '#' ? "" : "CREATE TABLE"; },
          [](const AlterTable& s) -> Name { return s.table.name[0] == '#' ? "" : "ALTER TABLE"; },
          [](const CreateIndex& s) -> Name { return s.table.name[0] == '#' ? "" : "CREATE INDEX"; },
          [](const CreateView&) -> Name { return "CREATE VIEW"; },
          [](const CreateProcedure&) -> Name { return "CREATE PROCEDURE"; },
          [](const CreateFunction&) -> Name { return "CREATE FUNCTION"; },
          [](const CreateTrigger&) -> Name { return "CREATE TRIGGER"; },
          [](const CreateRule&) -> Name { return "CREATE RULE"; },
          [](const CreateDefault&) -> Name { return "CREATE DEFAULT"; },
          [](const Permission& s) -> Name {
            return s.action == PermissionAction::Grant ? "GRANT" : "REVOKE";
          },
          [](const Drop& s) -> Name { return dropName(s); },
          [](const auto&) -> Name { return {}; },
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
