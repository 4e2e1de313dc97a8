#include "drivers/embedded/catalog/object_remover.h"

#include <algorithm>
#include <iterator>

#include "drivers/embedded/catalog/ordered_triggers.h"
#include "drivers/embedded/catalog/role_writer.h"
#include "drivers/embedded/catalog/status_bits.h"
#include "drivers/embedded/catalog/storage_writer.h"
#include "drivers/embedded/catalog/table_writer.h"

namespace kelvane::embedded {

namespace {

struct Kind {
  tsql::DropKind kind;
  std::string_view word;
  std::string_view type;
};

constexpr Kind kKinds[] = {
    {tsql::DropKind::Table, "table", object_type::kTable},
    {tsql::DropKind::View, "view", object_type::kView},
    {tsql::DropKind::Procedure, "procedure", object_type::kProcedure},
    {tsql::DropKind::Function, "function", object_type::kFunction},
    {tsql::DropKind::Trigger, "trigger", object_type::kTrigger},
    {tsql::DropKind::Rule, "rule", object_type::kRule},
    {tsql::DropKind::Default, "default", object_type::kDefault},
    {tsql::DropKind::Precomputed, "precomputed result set", object_type::kPrecomputed},
};

// `drop procedure` takes extended ones, `drop function` those written in Java.
bool isOfKind(std::string_view type, const Kind& kind) {
  return type == kind.type ||
         (kind.kind == tsql::DropKind::Procedure && type == object_type::kExtendedProcedure) ||
         (kind.kind == tsql::DropKind::Function && type == object_type::kJavaFunction);
}

}  // namespace

void ObjectRemover::failMissing(std::string_view kind, std::string_view name) {
  writer_.fail(message::dropNotFound, kind, name);
}

void ObjectRemover::drop(tsql::DropKind kind, const tsql::ObjectName& name) {
  if (kind == tsql::DropKind::Index) return dropIndex(name);
  if (kind == tsql::DropKind::Database) return dropDatabase(name);
  if (kind == tsql::DropKind::Login) return dropLogin(name.name);
  const auto* entry = std::ranges::find(kKinds, kind, &Kind::kind);
  const auto object = writer_.catalog().findObject(name, writer_.caller());
  if (!object || !isOfKind(object->type, *entry)) failMissing(entry->word, name.name);
  switch (kind) {
    case tsql::DropKind::Table:
      return dropTable(*object);
    case tsql::DropKind::Rule:
    case tsql::DropKind::Default:
      return dropRuleOrDefault(*object, entry->word);
    case tsql::DropKind::Trigger:
      detachTrigger(object->id);
      break;
    default:
      break;
  }
  writer_.removeObject(object->id);
}

void ObjectRemover::dropTable(const ObjectInfo& table) {
  for (const SysReference& reference : writer_.catalog().referencesTo(table.id)) {
    if (reference.tableid == table.id) continue;
    writer_.fail(message::tableReferenced, table.name);
  }
  StorageWriter(writer_).remove(table.id);
  TableWriter tables(writer_, {});
  for (const ColumnInfo& column : writer_.catalog().columns(table.id)) {
    tables.removeDefault(table, column);
  }
  records_.references.each<&SysReference::tableid>(
      table.id,
      [&](Slot, const SysReference& reference) { tables.removeReference(reference.constrid); });
  records_.constraints.each<&SysConstraint::tableid>(table.id, [&](Slot, const SysConstraint& row) {
    if (!isTrigger(records_, row)) writer_.removeObject(row.constrid);
  });
  records_.columns.each<&SysColumn::id>(table.id, [&](Slot, const SysColumn& column) {
    if (column.isHidden()) writer_.removeObject(column.computedcol.value());
  });
  records_.objects.each<&SysObject::deltrig>(table.id, [&](Slot, const SysObject& object) {
    if (object.type == object_type::kTrigger) writer_.removeObject(object.id);
  });
  records_.constraints.eraseAll<&SysConstraint::tableid>(table.id);
  records_.indexes.eraseAll<&SysIndex::id>(table.id);
  store_.run("DELETE FROM syskeys WHERE id = ?", table.id);
  store_.run("DELETE FROM syskeys WHERE depid = ?", table.id);
  writer_.removeObject(table.id);
  if (table.sqliteTable != kNoRows) store_.execute("DROP TABLE " + table.sqliteTable);
}

void ObjectRemover::detachTrigger(int triggerId) {
  const int tableId = records_.object(triggerId)->deltrig;
  records_.constraints.eraseAll<&SysConstraint::constrid>(triggerId);
  records_.changeObject(tableId, [&](SysObject& table) {
    for (const TriggerSlot& slot : kTriggerSlots) {
      if (table.*slot.column == triggerId) table.*slot.column = 0;
    }
  });
}

void ObjectRemover::dropRuleOrDefault(const ObjectInfo& object, std::string_view kind) {
  const bool isOfTable =
      records_.constraints.first<&SysConstraint::constrid>(object.id) != nullptr ||
      records_.isInline(object.id);
  if (isOfTable) {
    writer_.fail(message::dropOfDeclared);
  }
  const auto requireUnbound = [&](bool isBound, std::string_view what) {
    if (!isBound) return;
    writer_.fail(message::bound, kind, object.name, what);
  };
  requireUnbound(!records_.columns.where<&SysColumn::cdefault>(object.id).empty() ||
                     !records_.columns.where<&SysColumn::domain>(object.id).empty(),
                 "columns");
  const SysObject* row = records_.object(object.id);
  if (row != nullptr && (row->sysstat2 & rule_status2::kAccess) != 0) {
    requireUnbound(
        store_.value("SELECT 1 FROM syscolumns WHERE accessrule = ?", object.id).has_value(),
        "columns");
  }
  requireUnbound(
      store_
          .value("SELECT 1 FROM systypes WHERE ?1 IN (tdefault, domain, ifnull(accessrule, 0))",
                 object.id)
          .has_value(),
      "datatypes");
  writer_.removeObject(object.id);
}

void ObjectRemover::dropIndex(const tsql::ObjectName& name) {
  // Of `owner.table.index`: the parser has no other place for the table than the owner.
  tsql::ObjectName tableName;
  tableName.owner = name.database;
  tableName.name = name.owner;
  const std::string shown = concat(name.owner, ".", name.name);
  const auto table = writer_.catalog().findObject(tableName, writer_.caller());
  if (!table || table->type != object_type::kTable) failMissing("index", shown);
  IndexWriter indexes(writer_);
  const auto indid = indexes.find(table->id, name.name);
  if (!indid) failMissing("index", shown);
  const int status2 =
      store_.value("SELECT status2 FROM sysindexes WHERE id = ? AND indid = ?", table->id, *indid)
          .value_or(0);
  if ((status2 & index_status2::kConstraint) != 0) {
    writer_.fail(message::indexOfConstraint, shown);
  }
  indexes.remove(*table, *indid);
}

void ObjectRemover::dropLogin(std::string_view name) {
  const auto suid = writer_.catalog().loginId(name);
  if (!suid) failMissing("login", name);
  store_.run("DELETE FROM sysloginroles WHERE suid = ?", *suid);
  store_.run("DELETE FROM syslogins WHERE suid = ?", *suid);
}

void ObjectRemover::dropDatabase(const tsql::ObjectName& name) {
  if (!writer_.catalog().databaseId(name.name)) failMissing("database", name.name);
  constexpr std::string_view kOfServer[] = {"master", "model", "tempdb"};
  if (std::ranges::find(kOfServer, name.name) != std::end(kOfServer)) {
    writer_.fail(message::databaseOfServer, name.name);
  }
  if (name.name == writer_.caller().database) {
    writer_.fail(message::databaseInUse, name.name);
  }
  writer_.catalog().removeDatabase(name.name);
}

void Catalog::removeTemporaryProcedures(const std::set<int>& ids) {
  for (const int id : ids) {
    // One that was dropped may have left its id to another object.
    const auto object = objectById(id);
    if (!object || !object->name.starts_with('#')) continue;
    Savepoint savepoint(store_);
    CatalogWriter(*this, Caller{kDboUid, databaseOf(id), 0}).removeObject(id);
    savepoint.keep();
  }
}

void Catalog::drop(const tsql::Drop& statement, const Caller& caller) {
  Savepoint savepoint(store_);
  CatalogWriter writer(*this, caller);
  for (const tsql::ObjectName& name : statement.names) {
    if (statement.kind == tsql::DropKind::Role) {
      RoleWriter(writer).drop(name.name, statement.override);
      continue;
    }
    ObjectRemover(writer).drop(statement.kind, name);
  }
  savepoint.keep();
}

}  // namespace kelvane::embedded
