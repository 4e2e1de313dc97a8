// Logins, users, groups and aliases.
#include <string_view>
#include <utility>

#include "drivers/embedded/catalog/procedures/logins.h"
#include "drivers/embedded/catalog/procedures/procedure.h"
#include "drivers/embedded/catalog/system_tables.h"
#include "drivers/embedded/tsql/words.h"

namespace kelvane::embedded {

int addLogin(ProcedureRun& run, std::string_view name, std::string_view database,
             std::string_view fullName) {
  run.store().run(
      "INSERT INTO syslogins(suid, name, dbname, fullname)"
      " SELECT max(suid) + 1, ?, ?, nullif(?, '') FROM syslogins",
      name, database, fullName);
  return run.catalog().loginId(name).value();
}

int loginOf(ProcedureRun& run, std::string_view name) {
  const auto known = run.catalog().loginId(name);
  return known ? *known : addLogin(run, name, "master", {});
}

namespace {

constexpr int kFirstUserUid = 3;
constexpr int kGroupSuid = -2;

int requireGroup(ProcedureRun& run, std::string_view name) {
  const auto uid = run.store().value(
      "SELECT uid FROM sysusers WHERE name = ? AND gid = uid AND (environ IS NOT NULL OR uid = 0)",
      name);
  if (!uid) run.fail(message::groupNotFound, name);
  return *uid;
}

int requireUser(ProcedureRun& run, std::string_view name) {
  const auto uid =
      run.store().value("SELECT uid FROM sysusers WHERE name = ? AND gid != uid", name);
  if (!uid) run.fail(message::userNotFound, name);
  return *uid;
}

void requireFreeUserName(ProcedureRun& run, std::string_view name) {
  if (run.catalog().userId(name)) {
    run.fail(message::userNameTaken, name);
  }
}

void spAddlogin(ProcedureRun& run) {
  if (run.catalog().loginId(run.text(0))) {
    run.fail(message::loginExists);
  }
  constexpr int kLanguage = 3;
  addLogin(run, run.text(0), run.argument(2).value_or("master"), run.text(4));
  if (run.argument(kLanguage))
    run.store().run("UPDATE syslogins SET language = ? WHERE name = ?", run.argument(kLanguage),
                    run.text(0));
  constexpr std::pair<int, std::string_view> kIgnored[] = {
      {5, "passwdexp"}, {6, "minpwdlen"}, {7, "maxfailedlogins"}, {8, "auth_mech"}};
  for (const auto& [argument, word] : kIgnored) {
    if (run.argument(argument)) run.ignore(concat("the argument '", word, "'"));
  }
  run.print(message::loginCreated);
}

void spDroplogin(ProcedureRun& run) {
  const auto suid = run.catalog().loginId(run.text(0));
  if (!suid) run.fail(message::loginNotFound, run.text(0));
  if (run.store().value("SELECT 1 FROM sysusers WHERE suid = ?", *suid)) {
    run.fail(message::loginIsUser, run.text(0));
  }
  run.store().run("DELETE FROM syslogins WHERE suid = ?", *suid);
  run.print(message::loginDropped);
}

void setDefaultDatabase(ProcedureRun& run, const std::string& database) {
  loginOf(run, run.text(0));
  run.store().run("UPDATE syslogins SET dbname = ? WHERE name = ?", database, run.text(0));
}

void spDefaultdb(ProcedureRun& run) {
  setDefaultDatabase(run, run.text(1));
  run.print(message::defaultDatabaseChanged);
}

void spDefaultlanguage(ProcedureRun& run) {
  loginOf(run, run.text(0));
  run.store().run("UPDATE syslogins SET language = ? WHERE name = ?", run.argument(1), run.text(0));
  run.print(message::loginOptionChanged);
}

/// sp_modifylogin login, option, value
void spModifylogin(ProcedureRun& run) {
  const std::string option = tsql::lowerCase(run.text(1));
  if (option == "defdb") {
    setDefaultDatabase(run, run.text(2));
  } else if (option == "fullname" || option == "deflanguage") {
    loginOf(run, run.text(0));
    run.store().run(option == "fullname" ? "UPDATE syslogins SET fullname = ? WHERE name = ?"
                                         : "UPDATE syslogins SET language = ? WHERE name = ?",
                    run.text(2), run.text(0));
  } else {
    return run.ignore(concat("the option '", option, "'"));
  }
  run.print(message::loginOptionChanged);
}

/// sp_locklogin login, "lock" | "unlock"
void spLocklogin(ProcedureRun& run) {
  constexpr int kLocked = 2;  // in syslogins.status
  const std::string action = tsql::lowerCase(run.text(1));
  if (!run.argument(0) || (action != "lock" && action != "unlock")) {
    return run.ignore("the call");
  }
  loginOf(run, run.text(0));
  run.store().run(action == "lock" ? "UPDATE syslogins SET status = status | ? WHERE name = ?"
                                   : "UPDATE syslogins SET status = status & ~? WHERE name = ?",
                  kLocked, run.text(0));
  run.print(action == "lock" ? message::accountLocked : message::accountUnlocked);
}

void spAddgroup(ProcedureRun& run) {
  requireFreeUserName(run, run.text(0));
  // A group differs from a role by an environment, which is one blank for want of empty texts.
  run.store().run(
      "INSERT INTO sysusers(suid, uid, gid, name, environ)"
      " SELECT ?1, n, n, ?2, ' ' FROM (SELECT max(?3 - 1, max(uid)) + 1 AS n FROM sysusers)",
      kGroupSuid, run.text(0), kFirstGroupUid);
  run.print(message::groupAdded);
}

void spDropgroup(ProcedureRun& run) {
  const int uid = requireGroup(run, run.text(0));
  if (uid == kPublicUid) run.fail(message::publicUndroppable);
  if (run.store().value("SELECT 1 FROM sysusers WHERE gid = ?1 AND uid != ?1", uid)) {
    run.fail(message::groupHasMembers);
  }
  run.store().run("DELETE FROM sysusers WHERE uid = ?", uid);
  run.store().run("DELETE FROM sysprotects WHERE uid = ?", uid);
  run.print(message::groupDropped);
}

void spAdduser(ProcedureRun& run) {
  const std::string login = run.text(0);
  const std::string name = run.argument(1).value_or(login);
  const int gid = run.argument(2) ? requireGroup(run, run.text(2)) : kPublicUid;
  // Something before may have referred to the guest, which there is then.
  if (login == kGuestName) {
    run.catalog().userNamed(login);
    return run.print(message::userAdded);
  }
  requireFreeUserName(run, name);
  const auto known = run.catalog().loginId(login);
  if (known && run.store().value("SELECT 1 FROM sysusers WHERE suid = ?", *known)) {
    run.fail(message::loginHasUser, login);
  }
  const int suid = loginOf(run, login);
  run.store().run(
      "INSERT INTO sysusers(suid, uid, gid, name)"
      " SELECT ?1, max(?2 - 1, max(uid)) + 1, ?3, ?4 FROM sysusers WHERE uid < ?5",
      suid, kFirstUserUid, gid, name, kFirstGroupUid);
  run.print(message::userAdded);
}

void spDropuser(ProcedureRun& run) {
  const int uid = requireUser(run, run.text(0));
  if (uid == kDboUid) run.fail(message::dboUndroppable);
  if (run.store().value("SELECT 1 FROM sysobjects WHERE uid = ?", uid)) {
    run.fail(message::userOwns, run.text(0), "objects");
  }
  if (run.store().value("SELECT 1 FROM systypes WHERE uid = ?", uid)) {
    run.fail(message::userOwns, run.text(0), "types");
  }
  run.store().run("DELETE FROM sysusers WHERE uid = ?", uid);
  run.store().run("DELETE FROM sysprotects WHERE ? IN (uid, grantor)", uid);
  run.print(message::userDropped);
}

void spChangegroup(ProcedureRun& run) {
  const int gid = requireGroup(run, run.text(0));
  const int uid = requireUser(run, run.text(1));
  run.store().run("UPDATE sysusers SET gid = ? WHERE uid = ?", gid, uid);
  run.print(message::groupChanged);
}

void spAddalias(ProcedureRun& run) {
  const std::string login = run.text(0);
  const int uid = requireUser(run, run.text(1));
  const int suid = loginOf(run, login);
  if (run.store().value("SELECT 1 FROM sysusers WHERE suid = ?", suid)) {
    run.fail(message::alreadyUser, login);
  }
  if (run.store().value("SELECT 1 FROM sysalternates WHERE suid = ?", suid)) {
    run.fail(message::alreadyAliased, login);
  }
  run.store().run(
      "INSERT INTO sysalternates(suid, altsuid) SELECT ?, suid FROM sysusers WHERE uid = ?", suid,
      uid);
  run.print(message::aliasAdded);
}

void spDropalias(ProcedureRun& run) {
  const int suid = run.catalog().loginId(run.text(0)).value_or(0);
  if (!run.store().value("SELECT 1 FROM sysalternates WHERE suid = ?", suid)) {
    run.fail(message::aliasNotFound, run.text(0));
  }
  run.store().run("DELETE FROM sysalternates WHERE suid = ?", suid);
  run.print(message::aliasDropped);
}

constexpr Procedure kProcedures[] = {
    {"sp_addlogin",
     "@loginame @passwd @defdb @deflanguage @fullname @passwdexp @minpwdlen @maxfailedlogins "
     "@auth_mech",
     2, spAddlogin},
    {"sp_defaultdb", "@loginame @defdb", 2, spDefaultdb},
    {"sp_defaultlanguage", "@loginame @language", 1, spDefaultlanguage},
    {"sp_locklogin", "@loginame @locktype", 0, spLocklogin},
    {"sp_modifylogin", "@loginame @option @value", 2, spModifylogin},
    {"sp_droplogin", "@loginame", 1, spDroplogin},
    {"sp_addgroup", "@grpname", 1, spAddgroup},
    {"sp_dropgroup", "@grpname", 1, spDropgroup},
    {"sp_adduser", "@loginame @name_in_db @grpname", 1, spAdduser},
    {"sp_dropuser", "@name_in_db", 1, spDropuser},
    {"sp_changegroup", "@grpname @username", 2, spChangegroup},
    {"sp_addalias", "@loginame @name_in_db", 2, spAddalias},
    {"sp_dropalias", "@loginame", 1, spDropalias},
};

}  // namespace

std::span<const Procedure> userProcedures() { return kProcedures; }

}  // namespace kelvane::embedded
