// sp_rename, declared keys, messages, segments and their thresholds.
#include <algorithm>
#include <charconv>

#include "drivers/embedded/catalog/index_writer.h"
#include "drivers/embedded/catalog/name_text.h"
#include "drivers/embedded/catalog/procedures/procedure.h"
#include "drivers/embedded/catalog/role_writer.h"
#include "drivers/embedded/catalog/system_tables.h"
#include "drivers/embedded/tsql/words.h"

namespace kelvane::embedded {

namespace {

// sp_rename

void renameObject(ProcedureRun& run, const ObjectInfo& object, std::string_view name) {
  if (object.type == object_type::kSystemTable) {
    run.fail(message::systemTableRenamed);
  }
  if (run.store().value("SELECT 1 FROM sysobjects WHERE name = ? AND uid = ?", name, object.uid)) {
    run.fail(message::objectNameTaken, name);
  }
  run.store().run("UPDATE sysobjects SET name = ? WHERE id = ?", name, object.id);
  // The rows that stand for the table itself and for its text chain go by its name.
  run.store().run(
      "UPDATE sysindexes SET name = CASE indid WHEN 0 THEN ?1 ELSE 't' || ?1 END"
      " WHERE id = ?2 AND indid IN (0, 255)",
      name, object.id);
  run.print(message::objectRenamed);
}

/// `table.column` or `table.index`
bool renamePart(ProcedureRun& run, std::string_view whole, std::string_view name) {
  const auto [tableName, last] = splitAtLastDot(whole, run.quotedNames());
  if (tableName.empty()) return false;
  const auto table = run.catalog().findObject(tableName, run.caller());
  if (!table) return false;
  const std::string part = lastName(last, run.quotedNames());
  if (const auto column = run.catalog().column(table->id, part)) {
    if (run.catalog().column(table->id, name)) {
      run.fail(message::columnNameTaken, name, table->name);
    }
    run.store().run("UPDATE syscolumns SET name = ? WHERE id = ? AND colid = ?", name, table->id,
                    column->colid);
    run.print(message::columnRenamed);
    return true;
  }
  IndexWriter indexes(run.writer());
  const auto indid = indexes.find(table->id, part);
  if (!indid) return false;
  if (indexes.find(table->id, name)) {
    run.fail(message::indexNameTaken, name, table->name);
  }
  run.store().run("UPDATE sysindexes SET name = ? WHERE id = ? AND indid = ?", name, table->id,
                  *indid);
  run.print(message::indexRenamed);
  return true;
}

void spRename(ProcedureRun& run) {
  const std::string whole = run.text(0);
  const std::string name = run.name(1).value_or("");
  const bool beginsWithDigit = !name.empty() && name.front() >= '0' && name.front() <= '9';
  if (beginsWithDigit && !run.quotedNames()) run.fail(message::invalidName, name);
  if (renamePart(run, whole, name)) return;
  if (const auto object = run.catalog().findObject(whole, run.caller())) {
    return renameObject(run, *object, name);
  }
  if (!run.store().value("SELECT 1 FROM systypes WHERE name = ? AND usertype > 100", whole)) {
    run.fail(message::noSuchObject);
  }
  if (run.store().value("SELECT 1 FROM systypes WHERE name = ?", name)) {
    run.fail(message::typeExists);
  }
  run.store().run("UPDATE systypes SET name = ? WHERE name = ?", name, whole);
  run.print(message::typeRenamed);
}

// declared keys

constexpr int kPrimaryKey = 1;
constexpr int kForeignKey = 2;
constexpr int kCommonKey = 3;
constexpr std::size_t kKeyColumns = 8;

std::vector<int> keyColids(ProcedureRun& run, const ObjectInfo& table, std::size_t first,
                           std::size_t step) {
  std::vector<int> colids;
  for (std::size_t i = 0; i < kKeyColumns; ++i) {
    const auto name = run.name(first + i * step);
    if (!name) break;
    const auto column = run.catalog().column(table.id, *name);
    if (!column) {
      run.fail(message::keyColumnNotFound, table.name, *name);
    }
    colids.push_back(column->colid);
  }
  return colids;
}

void insertKey(ProcedureRun& run, int type, int id, std::optional<int> depid,
               const std::vector<int>& keys, const std::vector<int>& depkeys) {
  std::string names;
  std::string values;
  const auto append = [&](std::string_view prefix, const std::vector<int>& colids) {
    for (std::size_t i = 0; i < colids.size(); ++i) {
      names += concat(", ", prefix, i + 1);
      values += concat(", ", colids[i]);
    }
  };
  append("key", keys);
  append("depkey", depkeys);
  Statement insert = run.store().prepare(concat("INSERT INTO syskeys(id, type, depid, keycnt",
                                                names, ") VALUES (?, ?, ?, ?", values, ")"));
  insert.bindAll(id, type, depid, static_cast<int>(keys.size()));
  insert.step();
}

void spPrimarykey(ProcedureRun& run) {
  const ObjectInfo table = run.requireObject(run.text(0));
  if (run.store().value("SELECT 1 FROM syskeys WHERE id = ? AND type = 1", table.id)) {
    run.fail(message::declaredKeyExists, table.name);
  }
  insertKey(run, kPrimaryKey, table.id, {}, keyColids(run, table, 1, 1), {});
  run.print(message::primaryKeyAdded);
}

void spForeignkey(ProcedureRun& run) {
  const ObjectInfo table = run.requireObject(run.text(0));
  const ObjectInfo primary = run.requireObject(run.text(1));
  const std::vector<int> keys = keyColids(run, table, 2, 1);
  std::vector<int> primaryKeys;
  run.store().each(
      "SELECT key1, key2, key3, key4, key5, key6, key7, key8, keycnt FROM syskeys"
      " WHERE id = ? AND type = 1",
      [&](const Statement& row) {
        for (int i = 0; i < row.number(8); ++i) primaryKeys.push_back(row.number(i));
      },
      primary.id);
  if (primaryKeys.empty()) {
    run.fail(message::noDeclaredKey, primary.name);
  }
  if (primaryKeys.size() != keys.size()) {
    run.fail(message::declaredKeyCount, table.name, keys.size(), primaryKeys.size(), primary.name);
  }
  insertKey(run, kForeignKey, table.id, primary.id, keys, primaryKeys);
  run.print(message::foreignKeyAdded);
}

void spCommonkey(ProcedureRun& run) {
  const ObjectInfo a = run.requireObject(run.text(0));
  const ObjectInfo b = run.requireObject(run.text(1));
  const std::vector<int> keysOfA = keyColids(run, a, 2, 2);
  const std::vector<int> keysOfB = keyColids(run, b, 3, 2);
  insertKey(run, kCommonKey, a.id, b.id, keysOfA, keysOfB);
  insertKey(run, kCommonKey, b.id, a.id, keysOfB, keysOfA);
  run.print(message::commonKeyAdded);
}

void spDropkey(ProcedureRun& run) {
  const std::string kind = run.text(0);
  const int type = kind == "primary" ? kPrimaryKey : kind == "foreign" ? kForeignKey : kCommonKey;
  const ObjectInfo table = run.requireObject(run.text(1));
  const auto other = run.argument(2);
  const int otherId = other ? run.requireObject(*other).id : 0;
  run.store().run(
      "DELETE FROM syskeys WHERE type = ?1 AND (id = ?2 AND (?3 = 0 OR depid = ?3)"
      " OR ?1 = 3 AND depid = ?2 AND id = ?3 OR ?1 = 1 AND type = 2 AND depid = ?2)",
      type, table.id, otherId);
  run.print(message::declaredKeyDropped);
}

// messages, segments

/// 0 for that of the server's own messages. Which languages are installed is of the server; one
/// that a script names is.
int languageNumber(ProcedureRun& run, const std::string& name) {
  if (name.empty() || name == "us_english") return 0;
  const auto find = [&] {
    return run.store().value("SELECT langid FROM syslanguages WHERE name = ?", name);
  };
  if (const auto known = find()) return *known;
  run.store().run(
      "INSERT INTO syslanguages(langid, name, alias)"
      " SELECT ifnull(max(langid), 0) + 1, ?1, ?1 FROM syslanguages",
      name);
  return find().value();
}

/// Its status is 0 for a language that the server has.
void spValidlang(ProcedureRun& run) {
  const std::string name = run.text(0);
  const bool isKnown =
      name == "us_english" ||
      run.store().value("SELECT 1 FROM syslanguages WHERE name = ?", name).has_value();
  if (!isKnown) run.result().status = 1;
}

/// sp_addmessage number, text [, language [, with_log [, "replace"]]]
void spAddmessage(ProcedureRun& run) {
  const std::string number = run.text(0);
  int error = 0;
  std::from_chars(number.data(), number.data() + number.size(), error);
  if (error < 20000) run.fail(message::messageNumberTooSmall);
  const int language = languageNumber(run, run.text(2));
  if (tsql::lowerCase(run.text(4)) == "replace") {
    run.store().run("DELETE FROM sysusermessages WHERE error = ? AND ifnull(langid, 0) = ?", error,
                    language);
  }
  if (run.store().value("SELECT 1 FROM sysusermessages WHERE error = ? AND ifnull(langid, 0) = ?",
                        error, language)) {
    run.fail(message::messageExists, error);
  }
  run.store().run(
      "INSERT INTO sysusermessages(error, uid, description, langid)"
      " VALUES (?, ?, ?, nullif(?, 0))",
      error, run.caller().uid, run.text(1), language);
  run.print(message::messageInserted);
}

/// The text of the user's message, in the language or without one.
void spGetmessage(ProcedureRun& run) {
  constexpr std::size_t kResult = 1;
  run.give(kResult, std::nullopt);
  const std::string language = run.text(2);
  Statement found = run.store().prepare(
      "SELECT description FROM sysusermessages m WHERE error = ?1 AND (langid IS NULL OR"
      " langid = (SELECT langid FROM syslanguages WHERE name = ?2))"
      " ORDER BY langid IS NULL LIMIT 1");
  found.bindAll(run.text(0), language);
  if (!found.step()) run.fail(message::messageNotFound, run.text(0));
  run.result().outputs.front().value = found.text(0);
}

void spDropmessage(ProcedureRun& run) {
  const bool isAll = tsql::lowerCase(run.text(1)) == "all";
  const int language = isAll ? 0 : languageNumber(run, run.text(1));
  const std::string which =
      isAll ? "error = ?1 AND ?2 = 0" : "error = ?1 AND ifnull(langid, 0) = ?2";
  if (!run.store().value("SELECT 1 FROM sysusermessages WHERE " + which, run.text(0), language)) {
    run.fail(message::messageNotFound, run.text(0));
  }
  run.store().run("DELETE FROM sysusermessages WHERE " + which, run.text(0), language);
  run.print(message::messageDeleted);
}

void spAddsegment(ProcedureRun& run) {
  if (run.store().value("SELECT 1 FROM syssegments WHERE name = ?", run.text(0))) {
    run.fail(message::segmentExists, run.text(0));
  }
  run.store().run(
      "INSERT INTO syssegments(segment, name) SELECT max(segment) + 1, ? FROM syssegments",
      run.text(0));
  run.print(message::segmentCreated);
}

/// With a device, the segment stays and only the device is no longer part of it.
void spDropsegment(ProcedureRun& run) {
  const bool isThere =
      run.store().value("SELECT 1 FROM syssegments WHERE name = ?", run.text(0)).has_value();
  if (isThere && run.argument(2)) return run.ignore("the device of the segment");
  const auto segment = run.store().value(
      "SELECT segment FROM syssegments WHERE name = ? AND segment > 2", run.text(0));
  if (!segment) run.fail(message::segmentUndroppable, run.text(0));
  if (run.store().value("SELECT 1 FROM sysindexes WHERE segment = ?", *segment)) {
    run.fail(message::segmentInUse, run.text(0));
  }
  run.store().run("DELETE FROM syssegments WHERE segment = ?", *segment);
  run.print(message::segmentDropped);
}

// thresholds

int thresholdSegment(ProcedureRun& run, std::size_t argument) {
  const std::string name = run.text(argument);
  const auto segment = run.store().value("SELECT segment FROM syssegments WHERE name = ?", name);
  if (!segment) run.fail(message::segmentNotFound, name);
  return *segment;
}

std::int64_t freeSpace(ProcedureRun& run, std::size_t argument) {
  const std::string number = run.text(argument);
  std::int64_t pages = 0;
  const auto end = std::from_chars(number.data(), number.data() + number.size(), pages).ptr;
  if (number.empty() || end != number.data() + number.size() || pages < 0) {
    run.fail(message::thresholdNotPages, number);
  }
  return pages;
}

void spAddthreshold(ProcedureRun& run) {
  const int segment = thresholdSegment(run, 1);
  const std::int64_t pages = freeSpace(run, 2);
  if (run.store().value("SELECT 1 FROM systhresholds WHERE segment = ? AND free_space = ?", segment,
                        pages)) {
    run.fail(message::thresholdExists, pages, run.text(1));
  }
  run.store().run(
      "INSERT INTO systhresholds(segment, free_space, proc_name, suid) VALUES (?, ?, ?, 1)",
      segment, pages, run.text(3));
  run.print(message::thresholdAdded, run.text(1), pages);
}

void requireThreshold(ProcedureRun& run, int segment, std::int64_t pages) {
  if (!run.store().value("SELECT 1 FROM systhresholds WHERE segment = ? AND free_space = ?",
                         segment, pages)) {
    run.fail(message::thresholdNotFound, run.text(1), pages);
  }
}

void spDropthreshold(ProcedureRun& run) {
  const int segment = thresholdSegment(run, 1);
  const std::int64_t pages = freeSpace(run, 2);
  requireThreshold(run, segment, pages);
  run.store().run("DELETE FROM systhresholds WHERE segment = ? AND free_space = ?", segment, pages);
  run.print(message::thresholdDropped, run.text(1), pages);
}

/// sp_modifythreshold database, segment, pages [, procedure [, new pages [, new segment]]]
void spModifythreshold(ProcedureRun& run) {
  const int segment = thresholdSegment(run, 1);
  const std::int64_t pages = freeSpace(run, 2);
  requireThreshold(run, segment, pages);
  const int newSegment = run.argument(5) ? thresholdSegment(run, 5) : segment;
  const std::int64_t newPages = run.argument(4) ? freeSpace(run, 4) : pages;
  run.store().run(
      "UPDATE systhresholds SET segment = ?, free_space = ?, proc_name = ifnull(?, proc_name)"
      " WHERE segment = ? AND free_space = ?",
      newSegment, newPages, run.argument(3), segment, pages);
}

void spRole(ProcedureRun& run) {
  RoleWriter roles(run.writer());
  const std::string action = tsql::lowerCase(run.text(0));
  if (action == "grant") return roles.grant(run.text(1), run.text(2));
  if (action != "revoke") run.fail(message::neitherGrantNorRevoke, action);
  roles.revoke(run.text(1), run.text(2));
}

constexpr Procedure kProcedures[] = {
    {"sp_rename", "@objname @newname @objtype", 2, spRename},
    {"sp_primarykey", "@tabname @col1 @col2 @col3 @col4 @col5 @col6 @col7 @col8", 2, spPrimarykey},
    {"sp_foreignkey", "@tabname @pktabname @col1 @col2 @col3 @col4 @col5 @col6 @col7 @col8", 3,
     spForeignkey},
    {"sp_commonkey",
     "@tabaname @tabbname @col1a @col1b @col2a @col2b @col3a @col3b @col4a @col4b @col5a @col5b "
     "@col6a @col6b @col7a @col7b @col8a @col8b",
     4, spCommonkey},
    {"sp_dropkey", "@keytype @tabname @deptabname", 2, spDropkey},
    {"sp_addmessage", "@message_num @message_text @language @with_log @replace", 2, spAddmessage},
    {"sp_addsegment", "@segname @dbname @devname", 1, spAddsegment},
    {"sp_addthreshold", "@dbname @segname @free_space @proc_name", 4, spAddthreshold},
    {"sp_getmessage", "@message_num @result @language", 2, spGetmessage},
    {"sp_dropmessage", "@message_num @language", 1, spDropmessage},
    {"sp_dropsegment", "@segname @dbname @device", 2, spDropsegment},
    {"sp_dropthreshold", "@dbname @segname @free_space", 3, spDropthreshold},
    {"sp_modifythreshold",
     "@dbname @segname @free_space @new_proc_name @new_free_space @new_segname", 3,
     spModifythreshold},
    {"sp_role", "@action @rolename @grantee", 3, spRole},
    {"sp_validlang", "@name", 1, spValidlang},
};

}  // namespace

std::span<const Procedure> objectProcedures() { return kProcedures; }

}  // namespace kelvane::embedded
