// Views, procedures, functions, triggers, rules and defaults: objects with a stored text.
#include <algorithm>
#include <set>

#include "drivers/embedded/catalog/object_remover.h"
#include "drivers/embedded/catalog/ordered_triggers.h"
#include "drivers/embedded/catalog/status_bits.h"
#include "drivers/embedded/catalog/writer.h"
#include "drivers/embedded/tsql/ast/queries.h"

namespace kelvane::embedded {

namespace {

constexpr int kParameterIn = 1;
constexpr int kParameterOut = 2;

struct NewColumn {
  std::string_view name;
  ColumnType type;
  int number = 0;  ///< of the procedure in its group; 0 for tables and views
  int colid = 0;
  int direction = 0;
};

void insertColumn(CatalogWriter& writer, int id, const NewColumn& column) {
  const ColumnType& type = column.type;
  SysColumn row;
  row.id = id;
  row.number = column.number;
  row.colid = column.colid;
  row.status = type.nullable ? column_status::kNullable : 0;
  row.type = type.storageCode;
  row.length = type.length;
  row.usertype = type.userType;
  row.name = column.name;
  row.prec = type.precision;
  row.scale = type.scale;
  if (column.direction != 0) row.status2 = column.direction;
  writer.records().columns.insert(std::move(row));
}

void insertParameters(CatalogWriter& writer, int id, int number,
                      const std::vector<tsql::Parameter>& parameters) {
  int colid = 0;
  for (const tsql::Parameter& parameter : parameters) {
    const ColumnType type =
        withNullability(writer.catalog().resolveType(parameter.type, writer.caller()), false);
    insertColumn(
        writer, id,
        {parameter.name, type, number, ++colid, parameter.output ? kParameterOut : kParameterIn});
  }
}

/// The id of `name` if it may be replaced, its old contents taken away; 0 when it is new. Checks
/// and defaults of columns belong to their tables.
int replaced(CatalogWriter& writer, std::string_view name, int uid, std::string_view type) {
  SystemRecords& records = writer.records();
  const SysObject* object = records.object(name, uid);
  if (object == nullptr || object->type != type) return 0;
  const int id = object->id;
  const bool isOfTable =
      type != object_type::kTrigger &&
      (records.constraints.first<&SysConstraint::constrid>(id) != nullptr || records.isInline(id));
  if (isOfTable) return 0;
  records.columns.eraseAll<&SysColumn::id>(id);
  records.comments.eraseAll<&SysComment::id>(id);
  records.procedures.eraseAll<&SysProcedure::id>(id);
  return id;
}

/// The text, and the row that says that it has been compiled.
void saveCompiled(CatalogWriter& writer, int id, int number, std::string_view text) {
  writer.saveText(id, number, text);
  writer.records().procedures.insert({.type = 1, .id = id, .number = number});
}

int addTextObject(CatalogWriter& writer, const tsql::ObjectName& name, std::string_view type,
                  std::string_view text, bool orReplace) {
  const int uid = writer.ownerFor(name);
  int id = orReplace ? replaced(writer, name.name, uid, type) : 0;
  if (id == 0) id = writer.addObject({.name = name.name, .type = type, .uid = uid});
  saveCompiled(writer, id, 0, text);
  return id;
}

/// The columns of a view; `given` are their names where it names them itself.
void addColumns(CatalogWriter& writer, int id, std::string_view view,
                const std::vector<std::string>& given, const std::vector<NamedColumn>& columns) {
  if (!given.empty() && given.size() != columns.size()) {
    writer.fail(message::viewColumnCount, view, given.size(), columns.size());
  }
  std::set<std::string_view> names;
  int colid = 0;
  for (const NamedColumn& column : columns) {
    const std::string& name = given.empty() ? column.name : given[static_cast<std::size_t>(colid)];
    ++colid;
    if (name.empty()) {
      writer.fail(message::viewColumnUnnamed, colid);
    }
    if (!names.insert(name).second) {
      writer.fail(message::viewColumnTwice, name, view);
    }
    ColumnType type = column.type;
    type.identity = false;
    insertColumn(writer, id, {.name = name, .type = type, .colid = colid});
  }
}

/// Adds a trigger to those that the table has.
void addTrigger(CatalogWriter& writer, int tableId, int triggerId,
                const tsql::CreateTrigger& statement) {
  SysConstraint row{.colid = statement.order, .constrid = triggerId, .tableid = tableId};
  writer.records().changeObject(tableId, [&](SysObject& table) {
    for (const TriggerSlot& slot : kTriggerSlots) {
      if (!(statement.events.*slot.event)) continue;
      if (statement.order == 0 && table.*slot.column == 0) {
        table.*slot.column = triggerId;
        table.sysstat2 &= ~slot.disabled;
      } else {
        row.status |= triggerStatus(slot);
      }
    }
  });
  if (row.status != 0) writer.records().constraints.insert(row);
}

/// Points the table at the trigger for its events. A trigger that thereby has no event left goes.
void installTrigger(CatalogWriter& writer, int tableId, int triggerId,
                    const tsql::TriggerEvents& events) {
  std::set<int> displaced;
  writer.records().changeObject(tableId, [&](SysObject& table) {
    for (const TriggerSlot& slot : kTriggerSlots) {
      if (!(events.*slot.event)) continue;
      displaced.insert(std::exchange(table.*slot.column, triggerId));
      table.sysstat2 &= ~slot.disabled;
    }
  });
  displaced.erase(0);
  displaced.erase(triggerId);
  for (const int id : displaced) {
    const SysObject& table = *writer.records().object(tableId);
    const bool stillUsed = std::ranges::any_of(
        kTriggerSlots, [&](const TriggerSlot& slot) { return table.*slot.column == id; });
    if (!stillUsed) writer.removeObject(id);
  }
}

}  // namespace

void Catalog::createView(const tsql::CreateView& statement, std::string_view text,
                         const std::optional<std::vector<NamedColumn>>& columns,
                         const Caller& caller) {
  Savepoint savepoint(store_);
  CatalogWriter writer(*this, caller);
  const std::string& view = statement.name.name;
  const int uid = writer.ownerFor(statement.name);
  int id = statement.orReplace ? replaced(writer, view, uid, object_type::kView) : 0;
  if (id == 0) id = writer.addObject({.name = view, .type = object_type::kView, .uid = uid});
  saveCompiled(writer, id, 0, text);
  if (columns) addColumns(writer, id, view, statement.columns, *columns);
  savepoint.keep();
}

void Catalog::createPrecomputed(const tsql::CreatePrecomputed& statement, std::string_view text,
                                const std::vector<NamedColumn>& columns, const Caller& caller) {
  Savepoint savepoint(store_);
  CatalogWriter writer(*this, caller);
  const int uid = writer.ownerFor(statement.name);
  const int id = writer.addObject(
      {.name = statement.name.name, .type = object_type::kPrecomputed, .uid = uid});
  saveCompiled(writer, id, 0, text);
  addColumns(writer, id, statement.name.name, statement.columns, columns);
  savepoint.keep();
}

void Catalog::createProcedure(const tsql::CreateProcedure& statement, std::string_view text,
                              const Caller& caller) {
  Savepoint savepoint(store_);
  CatalogWriter writer(*this, caller);
  const std::string& name = statement.name.name;
  const int uid = writer.ownerFor(statement.name);
  int id = 0;
  if (statement.orReplace) {
    const SysObject* object = records().object(name, uid);
    const auto isOfGroup = [&](const Slot slot) { return records().comments[slot].number > 1; };
    const bool isGroup =
        object != nullptr &&
        std::ranges::any_of(records().comments.where<&SysComment::id>(object->id), isOfGroup);
    if (isGroup || statement.number > 1) {
      writer.fail(message::groupReplaced, name);
    }
    id = replaced(writer, name, uid, object_type::kProcedure);
  } else if (statement.number > 1) {
    const SysObject* group = records().object(name, uid);
    if (group != nullptr && group->type == object_type::kProcedure) id = group->id;
    const auto isSame = [&](const Slot slot) {
      return records().comments[slot].number == statement.number;
    };
    if (std::ranges::any_of(records().comments.where<&SysComment::id>(id), isSame)) {
      writer.fail(message::groupMemberExists, name, statement.number);
    }
  }
  const bool isExtended = !statement.external.empty() && !statement.java;
  if (id == 0) {
    constexpr int kJavaProcedure = 0x2000000;
    const int language = statement.external.empty() || isExtended ? 0 : kJavaProcedure;
    id = writer.addObject(
        {.name = name,
         .type = isExtended ? object_type::kExtendedProcedure : object_type::kProcedure,
         .uid = uid,
         .sysstat2 = language | (caller.chained ? procedure_status2::kChained : 0)});
  }
  insertParameters(writer, id, statement.number, statement.parameters);
  if (isExtended) {
    writer.saveText(id, statement.number, statement.external);
  } else {
    saveCompiled(writer, id, statement.number, text);
  }
  savepoint.keep();
}

void Catalog::createFunction(const tsql::CreateFunction& statement, std::string_view text,
                             const Caller& caller) {
  Savepoint savepoint(store_);
  CatalogWriter writer(*this, caller);
  const int uid = writer.ownerFor(statement.name);
  const std::string_view type =
      statement.external.empty() ? object_type::kFunction : object_type::kJavaFunction;
  int id = statement.orReplace ? replaced(writer, statement.name.name, uid, type) : 0;
  if (id == 0) id = writer.addObject({.name = statement.name.name, .type = type, .uid = uid});
  insertParameters(writer, id, 1, statement.parameters);
  // Among the parameters, under a name that none of them could have.
  insertColumn(writer, id,
               {"Return Type", withNullability(resolveType(statement.returns, caller), false), 1,
                static_cast<int>(statement.parameters.size()) + 1});
  saveCompiled(writer, id, 0, text);
  savepoint.keep();
}

void Catalog::createTrigger(const tsql::CreateTrigger& statement, std::string_view text,
                            const Caller& caller) {
  Savepoint savepoint(store_);
  CatalogWriter writer(*this, caller);
  const ObjectInfo table = statement.insteadOf ? requireObject(statement.table, caller)
                                               : writer.requireTable(statement.table);
  if (databaseOf(table.id) != caller.database) {
    writer.fail(message::triggerElsewhere, databaseOf(table.id));
  }
  const int uid = statement.name.owner.empty() ? table.uid : writer.ownerFor(statement.name);
  int id =
      statement.orReplace ? replaced(writer, statement.name.name, uid, object_type::kTrigger) : 0;
  if (id != 0) {
    ObjectRemover(writer).detachTrigger(id);
    records().changeObject(id, [&](SysObject& trigger) { trigger.deltrig = table.id; });
  } else {
    id = writer.addObject({.name = statement.name.name,
                           .type = object_type::kTrigger,
                           .uid = uid,
                           .deltrig = table.id});
  }
  saveCompiled(writer, id, 0, text);
  const bool hasSeveral = options_.release ? options_.has(Release::ase16) : statement.order != 0;
  if (statement.insteadOf) {
    // Views have no place for them.
  } else if (hasSeveral) {
    addTrigger(writer, table.id, id, statement);
  } else {
    installTrigger(writer, table.id, id, statement.events);
  }
  savepoint.keep();
}

void Catalog::createRule(const tsql::CreateRule& statement, std::string_view text,
                         const Caller& caller) {
  Savepoint savepoint(store_);
  CatalogWriter writer(*this, caller);
  const int id =
      addTextObject(writer, statement.name, object_type::kRule, text, statement.orReplace);
  store_.run("UPDATE sysobjects SET sysstat2 = (sysstat2 & ~?1) | ?2 WHERE id = ?3",
             rule_status2::kAccess, statement.isAccess ? rule_status2::kAccess : 0, id);
  savepoint.keep();
}

void Catalog::createDefault(const tsql::CreateDefault& statement, std::string_view text,
                            const Caller& caller) {
  Savepoint savepoint(store_);
  CatalogWriter writer(*this, caller);
  addTextObject(writer, statement.name, object_type::kDefault, text, statement.orReplace);
  savepoint.keep();
}

namespace {

bool isOfKind(UsedObject::Kind kind, std::string_view type) {
  using namespace object_type;
  switch (kind) {
    case UsedObject::Kind::Table:
      return type == kTable || type == kView || type == kSystemTable || type == kPrecomputed;
    case UsedObject::Kind::Procedure:
      return type == kProcedure || type == kExtendedProcedure;
    case UsedObject::Kind::Function:
      return type == kFunction || type == kJavaFunction;
  }
  return false;
}

}  // namespace

void Catalog::saveUses(const tsql::ObjectName& user, int number,
                       const std::vector<UsedObject>& used, const Caller& caller) {
  const auto owner = findObject(user, caller);
  if (!owner) return;
  SystemRecords& ofUser = recordsOf(owner->id);
  ofUser.depends.each<&SysDepend::id>(owner->id, [&](Slot slot, const SysDepend& row) {
    if (row.number == number) ofUser.depends.erase(slot);
  });
  for (const UsedObject& one : used) {
    const auto object = findObject(one.name, caller);
    if (!object || !isOfKind(one.kind, object->type)) continue;
    ofUser.depends.insert({.id = owner->id,
                           .number = number,
                           .depid = object->id,
                           .depnumber = one.number,
                           .depdbid = databaseId(databaseOf(object->id)).value_or(0),
                           .selall = one.allColumns,
                           .resultobj = one.isWritten,
                           .readobj = one.isRead});
  }
}

}  // namespace kelvane::embedded
