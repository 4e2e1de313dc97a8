#include <algorithm>

#include "drivers/embedded/tsql/grammar.h"
#include "drivers/embedded/tsql/words.h"

namespace kelvane::tsql {

// `update (a, b)`, `create table`, `dump database`, `all privileges`: words up to what follows.
Privilege Parser::privilege() {
  Privilege result;
  if (at("decrypt") || (at("create") && at("encryption", 1))) since(15);
  result.name = wordText();
  while (atKind(TokenKind::Word) && !at("on") && !at("to") && !at("from"))
    result.name += ' ' + wordText();
  if (result.name == "all privileges") result.name = "all";
  if (atSymbol("(")) result.columns = parenthesizedNames();
  return result;
}

void Parser::privilegesOrRoles(Permission& permission) {
  if (accept("role")) {
    commaList([&] { permission.roles.push_back(nameOrString()); });
    return;
  }
  commaList([&] { permission.privileges.push_back(privilege()); });
  if (!accept("on")) return;
  const auto isDbcc = [](const Privilege& one) { return one.name.starts_with("dbcc "); };
  if (std::ranges::all_of(permission.privileges, isDbcc)) return dbccPlace(permission);
  if (at("builtin") && atName(1)) {
    take();
    permission.isBuiltin = true;
  }
  permission.object = objectName();
  if (atSymbol("(")) permission.columns = parenthesizedNames();
}

// `on all` or `on d`
void Parser::dbccPlace(Permission& permission) {
  if (accept("all")) {
    for (Privilege& privilege : permission.privileges) privilege.name += " any database";
  } else {
    permission.database = name();
  }
}

void Parser::grantees(Permission& permission) {
  commaList([&] {
    if (accept("public")) {
      permission.grantees.emplace_back("public");
    } else if (atKind(TokenKind::Variable)) {
      permission.grantees.push_back(variableName());
    } else {
      permission.grantees.push_back(nameOrString());
    }
  });
}

/// `where a = 1 as p`: the rows that a right is about.
void Parser::predicate(Permission& permission) {
  if (!at("where") || permission.object.empty()) return;
  since(15);
  const Token& first = take();
  expression();
  permission.predicate = from(first);
  if (accept("as")) permission.predicateName = name();
}

// `default permissions on system tables`, which servers grant by themselves
StatementNode Parser::defaultPermissions() {
  take();
  take();
  expect("on");
  expect("system");
  expect("tables");
  return Utility{"default permissions on system tables"};
}

StatementNode Parser::grantStatement() {
  expect("grant");
  if (at("default") && at("permissions", 1)) return defaultPermissions();
  Permission result;
  result.action = PermissionAction::Grant;
  privilegesOrRoles(result);
  predicate(result);
  expect("to");
  grantees(result);
  if (accept("with")) {
    expect("grant");
    expect("option");
    result.grantOption = true;
  }
  grantedBy(result);
  return result;
}

StatementNode Parser::revokeStatement() {
  expect("revoke");
  if (at("default") && at("permissions", 1)) return defaultPermissions();
  Permission result;
  result.action = PermissionAction::Revoke;
  if (at("grant") && at("option", 1)) {
    take();
    take();
    expect("for");
    result.grantOption = true;
  }
  privilegesOrRoles(result);
  // The server's own DDL generator writes `to` here.
  if (!accept("to")) expect("from");
  grantees(result);
  result.cascade = accept("cascade");
  grantedBy(result);
  return result;
}

void Parser::grantedBy(Permission& permission) {
  if (!accept("granted")) return;
  expect("by");
  permission.grantor = nameOrString();
}

}  // namespace kelvane::tsql
