#include "drivers/embedded/catalog/owner_writer.h"

#include <algorithm>
#include <iterator>
#include <vector>

#include "drivers/embedded/catalog/system_tables.h"

namespace kelvane::embedded {

namespace {

struct Kind {
  std::string_view word;
  std::string_view type;
};

constexpr Kind kKinds[] = {
    {"table", object_type::kTable},
    {"view", object_type::kView},
    {"procedure", object_type::kProcedure},
    {"procedure", object_type::kExtendedProcedure},
    {"function", object_type::kFunction},
    {"function", object_type::kJavaFunction},
    {"default", object_type::kDefault},
    {"rule", object_type::kRule},
    {"encryption", object_type::kEncryptionKey},
};

bool isOfKind(std::string_view type, std::string_view word) {
  return std::ranges::any_of(kKinds, [&](const Kind& kind) {
    return kind.type == type && (word == "all" || word == kind.word);
  });
}

}  // namespace

void OwnerWriter::change(const tsql::ModifyOwner& statement) {
  tsql::ObjectName owner;
  owner.owner = statement.newOwner;
  const int newUid = writer_.ownerFor(owner);
  if (statement.name.name == "*") return changeAll(statement, newUid);
  if (statement.kind == "type") return changeType(statement, newUid);
  const ObjectInfo object = writer_.catalog().requireObject(statement.name, writer_.caller());
  if (!isOfKind(object.type, statement.kind)) {
    writer_.fail(message::objectNotFound, statement.name.name);
  }
  changeObject(object, statement, newUid);
}

void OwnerWriter::changeAll(const tsql::ModifyOwner& statement, int newUid) {
  const int uid = writer_.ownerFor(statement.name);
  std::vector<int> ids;
  store_.each(
      "SELECT id FROM sysobjects WHERE uid = ? AND type != 'S' ORDER BY id",
      [&](const Statement& row) { ids.push_back(row.number(0)); }, uid);
  for (const int id : ids) {
    const auto object = writer_.catalog().objectById(id);
    const bool isOfTable =
        store_.value("SELECT 1 FROM sysconstraints WHERE constrid = ?", id) ||
        store_.value("SELECT 1 FROM sysprocedures WHERE id = ? AND status & 4096", id);
    // What belongs to a table has gone with it.
    if (object && object->uid == uid && !isOfTable && isOfKind(object->type, statement.kind)) {
      changeObject(*object, statement, newUid);
    }
  }
  if (statement.kind == "all" || statement.kind == "type") {
    store_.run("UPDATE systypes SET uid = ? WHERE uid = ? AND usertype > ?", newUid, uid,
               kLargestSystemType);
  }
}

void OwnerWriter::changeType(const tsql::ModifyOwner& statement, int newUid) {
  const auto type = store_.value("SELECT usertype FROM systypes WHERE name = ? AND usertype > ?",
                                 statement.name.name, kLargestSystemType);
  if (!type) writer_.fail(message::typeNotFound, statement.name.name);
  store_.run("UPDATE systypes SET uid = ? WHERE usertype = ?", newUid, *type);
}

void OwnerWriter::changeObject(const ObjectInfo& object, const tsql::ModifyOwner& statement,
                               int newUid) {
  if (object.uid == newUid) return;
  writer_.requireFreeName(object.name, newUid);
  // Triggers, constraints and the texts of columns go with their table.
  store_.run(
      "UPDATE sysobjects SET uid = ?1 WHERE id = ?2 OR uid = ?3 AND (type = 'TR' AND deltrig = ?2"
      " OR id IN (SELECT constrid FROM sysconstraints WHERE tableid = ?2)"
      " OR id IN (SELECT computedcol FROM syscolumns WHERE id = ?2)"
      " OR id IN (SELECT conditionid FROM sysindexes WHERE id = ?2)"
      " OR id IN (SELECT object_info2 FROM sysattributes WHERE class = 25 AND object = ?2)"
      " OR id IN (SELECT p.id FROM syscolumns c JOIN sysprocedures p ON p.id = c.cdefault"
      " WHERE c.id = ?2 AND p.status & 4096))",
      newUid, object.id, object.uid);
  if (!statement.preservePermissions) {
    store_.run("DELETE FROM sysprotects WHERE id = ?", object.id);
    return;
  }
  store_.run("DELETE FROM sysprotects WHERE id = ? AND uid = ?", object.id, newUid);
  store_.run("UPDATE sysprotects SET grantor = ? WHERE id = ? AND grantor = ?", newUid, object.id,
             object.uid);
}

void Catalog::modifyOwner(const tsql::ModifyOwner& statement, const Caller& caller) {
  Savepoint savepoint(store_);
  CatalogWriter writer(*this, caller);
  OwnerWriter(writer).change(statement);
  savepoint.keep();
}

}  // namespace kelvane::embedded
