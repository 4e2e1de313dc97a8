// Remote servers, and the objects that stand for objects of theirs.
#include <algorithm>
#include <iterator>

#include "drivers/embedded/catalog/procedures/logins.h"
#include "drivers/embedded/catalog/procedures/query_report.h"
#include "drivers/embedded/tsql/words.h"

namespace kelvane::embedded {

namespace {

/// sysservers.srvclass; the numbers are this catalog's own.
constexpr std::string_view kClasses[] = {
    "local", "sql_server", "access_server", "direct_connect", "asenterprise", "asanywhere", "asiq",
    "sds",   "rpcserver",  "db2",           "generic"};

void spAddserver(ProcedureRun& run) {
  const std::string name = run.text(0);
  const std::string className = tsql::lowerCase(run.argument(1).value_or("asenterprise"));
  const auto* serverClass = std::ranges::find(kClasses, className);
  if (serverClass == std::end(kClasses)) {
    run.fail(message::unknownServerClass, run.text(1));
  }
  if (run.store().value("SELECT 1 FROM sysservers WHERE srvname = ?", name)) {
    run.fail(message::serverExists, name);
  }
  const bool isLocal = serverClass == std::begin(kClasses);
  if (isLocal && run.store().value("SELECT 1 FROM sysservers WHERE srvid = 0")) {
    run.fail(message::localServerExists);
  }
  run.store().run(
      "INSERT INTO sysservers(srvid, srvname, srvnetname, srvclass)"
      " SELECT CASE WHEN ?1 THEN 0 ELSE ifnull(max(srvid), 0) + 1 END, ?2, ?3, ?4 FROM sysservers",
      isLocal ? 1 : 0, name, run.argument(2).value_or(name),
      static_cast<int>(serverClass - std::begin(kClasses)));
  run.print(message::serverAdded);
}

int requireServer(ProcedureRun& run, const std::string& name) {
  const auto id = run.store().value("SELECT srvid FROM sysservers WHERE srvname = ?", name);
  if (!id) run.fail(message::serverNotFound, name);
  return *id;
}

void spDropserver(ProcedureRun& run) {
  run.store().run("DELETE FROM sysservers WHERE srvid = ?", requireServer(run, run.text(0)));
  run.print(message::serverDropped);
}

struct ServerOption {
  std::string_view name;
  int status;  ///< in sysservers.srvstatus
  bool turnsBitOff = false;
};

constexpr ServerOption kServerOptions[] = {
    {"timeouts", 1, true},
    {"net password encryption", 2},
    {"readonly", 4},
    {"use message confidentiality", 64},
    {"use message integrity", 128},
    {"mutual authentication", 256},
};

void spServeroption(ProcedureRun& run) {
  const auto name = run.argument(0);
  if (!name) return run.ignore("the report");
  const int server = requireServer(run, *name);
  const std::string optionName = tsql::lowerCase(run.text(1));
  const auto* option = std::ranges::find(kServerOptions, optionName, &ServerOption::name);
  if (option == std::end(kServerOptions)) {
    return run.ignore(concat("the option '", optionName, "'"));
  }
  const std::string value = tsql::lowerCase(run.text(2));
  if (value != "true" && value != "false") {
    run.fail(message::serveroptionUsage);
  }
  const bool sets = (value == "true") != option->turnsBitOff;
  run.store().run(sets ? "UPDATE sysservers SET srvstatus = srvstatus | ? WHERE srvid = ?"
                       : "UPDATE sysservers SET srvstatus = srvstatus & ~? WHERE srvid = ?",
                  option->status, server);
}

void spHelpserver(ProcedureRun& run) {
  run.result().resultSets.push_back(
      queryReport(run,
                  {run.nameColumn("name", 30, false),
                   {"network_name", declaredType(TypeKind::Varchar, 255, {}, true)},
                   {"id", declaredType(TypeKind::Smallint, {}, {}, false)}},
                  "SELECT srvname, srvnetname, srvid FROM sysservers WHERE ?1 IN ('', srvname)"
                  " ORDER BY srvname",
                  run.text(0)));
}

// sysattributes

constexpr int kRemoteClass = 9;
constexpr int kExternalLogin = 0;
constexpr int kObjectDefinition = 1;

/// The login of the second argument; 0 for all logins.
int externalLogin(ProcedureRun& run) {
  const auto login = run.argument(1);
  return login ? loginOf(run, *login) : 0;
}

void removeExternalLogin(ProcedureRun& run, int server, int suid) {
  run.store().run(
      "DELETE FROM sysattributes WHERE class = ? AND attribute = ? AND object_info1 = ?"
      " AND ifnull(object, 0) = ?",
      kRemoteClass, kExternalLogin, server, suid);
}

/// sp_addexternlogin server, login, external name [, password [, role]]. No password is kept.
void spAddexternlogin(ProcedureRun& run) {
  const int server = requireServer(run, run.text(0));
  const int suid = externalLogin(run);
  removeExternalLogin(run, server, suid);
  run.store().run(
      "INSERT INTO sysattributes(class, attribute, object_type, object, object_info1,"
      " object_cinfo) VALUES (?, ?, 'EL', nullif(?, 0), ?, ?)",
      kRemoteClass, kExternalLogin, suid, server, run.text(2));
  if (run.argument(3)) run.ignore("the password");
}

void spDropexternlogin(ProcedureRun& run) {
  const int server = requireServer(run, run.text(0));
  removeExternalLogin(run, server, externalLogin(run));
}

void spAddobjectdef(ProcedureRun& run) {
  const std::string name = run.text(0);
  if (run.catalog().findObject(name, run.caller())) {
    run.fail(message::objectDefinitionExists, name);
  }
  run.store().run(
      "DELETE FROM sysattributes WHERE class = ? AND attribute = ? AND object_cinfo = ?",
      kRemoteClass, kObjectDefinition, name);
  run.store().run(
      "INSERT INTO sysattributes(class, attribute, object_type, object_cinfo, char_value,"
      " comments) VALUES (?, ?, 'OD', ?, ?, ?)",
      kRemoteClass, kObjectDefinition, name, run.text(1), run.argument(2).value_or("table"));
}

void spDropobjectdef(ProcedureRun& run) {
  run.store().run(
      "DELETE FROM sysattributes WHERE class = ? AND attribute = ? AND object_cinfo = ?",
      kRemoteClass, kObjectDefinition, run.text(0));
}

constexpr Procedure kProcedures[] = {
    {"sp_addexternlogin", "@server @loginame @externname @externpasswd @rolename", 2,
     spAddexternlogin},
    {"sp_addobjectdef", "@tablename @objectdef @objecttype", 2, spAddobjectdef},
    {"sp_addserver", "@lname @class @pname @filter", 1, spAddserver},
    {"sp_dropexternlogin", "@server @loginame @rolename", 1, spDropexternlogin},
    {"sp_dropobjectdef", "@tablename", 1, spDropobjectdef},
    {"sp_dropserver", "@server @droplogins", 1, spDropserver},
    {"sp_helpserver", "@server", 0, spHelpserver},
    {"sp_serveroption", "@server @optname @optvalue", 0, spServeroption},
};

}  // namespace

std::span<const Procedure> serverProcedures() { return kProcedures; }

}  // namespace kelvane::embedded
