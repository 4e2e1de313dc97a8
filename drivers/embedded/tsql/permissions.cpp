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
  permission.object = objectName();
  if (atSymbol("(")) permission.columns = parenthesizedNames();
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

StatementNode Parser::grantStatement() {
  expect("grant");
  Permission result;
  result.action = PermissionAction::Grant;
  privilegesOrRoles(result);
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
