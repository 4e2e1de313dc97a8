#include "drivers/embedded/catalog/role_writer.h"

#include "drivers/embedded/catalog/databases.h"
#include "drivers/embedded/catalog/system_tables.h"
#include "drivers/embedded/tsql/ast/administration.h"

namespace kelvane::embedded {

namespace {

constexpr int kRoleSuid = -2;

}  // namespace

std::optional<int> RoleWriter::find(std::string_view name) {
  return store_.value("SELECT srid FROM syssrvroles WHERE name = ?", name);
}

int RoleWriter::require(std::string_view name) {
  const auto role = find(name);
  if (!role) writer_.fail(message::roleNotFound, name);
  return *role;
}

void RoleWriter::create(std::string_view name) {
  if (find(name) || writer_.catalog().userId(name)) {
    writer_.fail(message::roleNameTaken, name);
  }
  store_.run("INSERT INTO syssrvroles(srid, name) SELECT max(srid) + 1, ? FROM syssrvroles", name);
}

void RoleWriter::drop(std::string_view name, bool withOverride) {
  const auto role = find(name);
  if (!role) {
    writer_.fail(message::dropNotFound, "role", name);
  }
  const auto uid = store_.value("SELECT lrid FROM sysroles WHERE id = ?", *role);
  if (!withOverride && store_.value("SELECT 1 FROM sysprotects WHERE uid = ?", uid)) {
    writer_.fail(message::roleHasPermissions, name);
  }
  store_.run("DELETE FROM sysprotects WHERE uid = ?", uid);
  store_.run("DELETE FROM sysusers WHERE uid = ?", uid);
  for (const char* statement :
       {"DELETE FROM sysroles WHERE id = ?", "DELETE FROM sysloginroles WHERE srid = ?",
        "DELETE FROM syssrvroles_of_roles WHERE ? IN (member, srid)",
        "DELETE FROM syssrvroles WHERE srid = ?"}) {
    store_.run(statement, *role);
  }
}

RoleWriter::Member RoleWriter::requireMember(std::string_view name) {
  if (const auto role = find(name)) return {"syssrvroles_of_roles", "member", *role};
  auto suid = writer_.catalog().loginId(name);
  if (!suid) suid = store_.value("SELECT suid FROM sysusers WHERE name = ? AND suid > 0", name);
  if (!suid) writer_.fail(message::loginOrRoleNotFound, name);
  return {"sysloginroles", "suid", *suid};
}

void RoleWriter::grant(std::string_view role, std::string_view grantee) {
  const int id = require(role);
  const Member member = requireMember(grantee);
  revoke(role, grantee);
  store_.run(concat("INSERT INTO ", member.table, "(", member.column, ", srid) VALUES (?, ?)"),
             member.id, id);
}

bool RoleWriter::revoke(std::string_view role, std::string_view grantee) {
  const int id = require(role);
  const Member member = requireMember(grantee);
  const std::string place =
      concat(" FROM ", member.table, " WHERE ", member.column, " = ? AND srid = ?");
  const bool hadRole = store_.value(concat("SELECT 1", place), member.id, id).has_value();
  if (hadRole) store_.run(concat("DELETE", place), member.id, id);
  return hadRole;
}

std::optional<int> RoleWriter::uidOf(std::string_view name) {
  const auto role = find(name);
  if (!role) return std::nullopt;
  if (const auto known = store_.value("SELECT lrid FROM sysroles WHERE id = ?", *role))
    return known;
  const int uid =
      store_.value("SELECT max(? - 1, max(uid)) + 1 FROM sysusers", kFirstGroupUid).value();
  store_.run("INSERT INTO sysusers(suid, uid, gid, name) VALUES (?, ?, ?, ?)", kRoleSuid, uid, uid,
             name);
  store_.run("INSERT INTO sysroles(id, lrid) VALUES (?, ?)", *role, uid);
  return uid;
}

void Catalog::createRole(std::string_view name, const Caller& caller) {
  Savepoint savepoint(store_);
  CatalogWriter writer(*this, caller);
  RoleWriter(writer).create(name);
  savepoint.keep();
}

void Catalog::createLogin(const tsql::CreateLogin& statement, const Caller& caller) {
  CatalogWriter writer(*this, caller);
  if (loginId(statement.name)) {
    writer.fail(message::loginExists);
  }
  store_.run(
      "INSERT INTO syslogins(suid, name, dbname, fullname, language)"
      " SELECT max(suid) + 1, ?, ?, nullif(?, ''), nullif(?, '') FROM syslogins",
      statement.name, statement.database.empty() ? "master" : statement.database,
      statement.fullName, statement.language);
}

void Catalog::createDatabase(std::string_view name, const Caller& caller) {
  if (databaseId(name)) {
    CatalogWriter(*this, caller).fail(message::databaseExists, name);
  }
  databases_->add(name);
  databases_->noteCreated(name);
}

}  // namespace kelvane::embedded
