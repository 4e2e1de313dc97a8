// alter table.
#include <algorithm>
#include <set>

#include "drivers/embedded/catalog/ordered_triggers.h"
#include "drivers/embedded/catalog/permission_writer.h"
#include "drivers/embedded/catalog/range_bounds.h"
#include "drivers/embedded/catalog/storage_writer.h"
#include "drivers/embedded/catalog/stored_indexes.h"
#include "drivers/embedded/catalog/table_writer.h"
#include "drivers/embedded/tsql/ast/queries.h"
#include "drivers/embedded/tsql/ast/tables.h"
#include "drivers/embedded/tsql/lexer.h"
#include "drivers/embedded/tsql/overloaded.h"

namespace kelvane::embedded {

namespace {

constexpr int kDeclaredKeyColumns = 8;

/// Whether the expression has a column of that name.
bool names(std::string_view expression, std::string_view column) {
  const std::vector<tsql::Token> tokens = tsql::tokenize(expression, {});
  return std::ranges::any_of(tokens, [&](const tsql::Token& token) {
    const bool isName =
        token.kind == tsql::TokenKind::Word || token.kind == tsql::TokenKind::QuotedWord;
    const tsql::Token& next = *(&token + (token.kind == tsql::TokenKind::End ? 0 : 1));
    return isName && token.value() == column && next.text != "(";
  });
}

bool changesStorage(const tsql::ColumnStorage& storage) {
  return storage.place != tsql::LobPlace::Unspecified || storage.compressed || storage.encrypted ||
         storage.decryptDefault != nullptr;
}

class TableChange {
 public:
  TableChange(CatalogWriter& writer, std::string_view text, const RowValues& values,
              const tsql::ObjectName& name, const ObjectInfo& table)
      : writer_(writer),
        store_(writer.store()),
        records_(writer.records()),
        values_(values),
        name_(name),
        table_(table),
        tables_(writer, text, &values),
        storage_(writer, text),
        bounds_(writer, values, text) {}

  void requireAllOrNone(const std::vector<tsql::AlterAction>& actions) const;

  void operator()(const tsql::AddColumn& action);
  void operator()(const tsql::AddConstraint& action) {
    tables_.addConstraint(table_, action.constraint, nullptr);
  }
  void operator()(const tsql::DropColumn& action);
  void operator()(const tsql::DropConstraint& action);
  void operator()(const tsql::ModifyColumn& action);
  void operator()(const tsql::ReplaceDefault& action);
  void operator()(const tsql::ChangeLock& action) {
    tables_.indexes().changeLockScheme(table_, action.scheme);
  }
  void operator()(const tsql::ChangePartitions& action);
  void operator()(const tsql::AlterPartition& action) {
    if (action.kind == tsql::AlterPartition::Kind::Add) {
      bounds_.requireAbove(table_, action.partitions);
    }
    storage_.alterPartition(table_, action);
  }
  void operator()(const tsql::SwitchTrigger& action);
  void operator()(const tsql::ChangeStorage& action) {
    storage_.applyOptions(table_, action.options);
  }

  /// Whether the statement has no other action, which may have an effect.
  bool isAlone = false;

 private:
  ColumnInfo requireColumn(std::string_view name);
  bool hasRows() const { return table_.sqliteTable != kNoRows; }
  void requireFillable(const tsql::ColumnDefinition& definition, const ColumnInfo& column);
  void fillAddedColumn(const tsql::ColumnDefinition& definition, const ColumnInfo& column);
  void requireUnused(const ColumnInfo& column);
  void closeGap(int gone);
  void modifyComputed(const tsql::ModifyColumn& action, const ColumnInfo& column);
  void convertRows(const ColumnInfo& column, const ColumnType& to);

  CatalogWriter& writer_;
  Database& store_;
  SystemRecords& records_;
  const RowValues& values_;
  const tsql::ObjectName& name_;
  const ObjectInfo& table_;
  TableWriter tables_;
  StorageWriter storage_;
  RangeBounds bounds_;
};

ColumnInfo TableChange::requireColumn(std::string_view name) {
  auto column = writer_.catalog().column(table_.id, name);
  if (!column) {
    writer_.fail(message::alteredColumnNotFound, table_.name, name);
  }
  return *column;
}

/// Of the columns that are dropped.
void TableChange::requireAllOrNone(const std::vector<tsql::AlterAction>& actions) const {
  std::set<int> found;
  const std::string* missing = nullptr;
  for (const tsql::AlterAction& action : actions) {
    const auto* drop = std::get_if<tsql::DropColumn>(&action);
    if (drop == nullptr) continue;
    const auto column = writer_.catalog().column(table_.id, drop->column);
    if (!column || !found.insert(column->colid).second) missing = &drop->column;
  }
  if (missing != nullptr && !found.empty())
    writer_.fail(message::oneOfColumnsNotFound, table_.name, *missing);
}

void TableChange::operator()(const tsql::AddColumn& action) {
  const tsql::ColumnDefinition& definition = action.column;
  tables_.addColumn(table_, definition);
  tables_.typeComputed(name_, table_.id, definition);
  const ColumnInfo column = requireColumn(definition.name);
  requireFillable(definition, column);
  if (hasRows()) {
    store_.execute(concat("ALTER TABLE ", table_.sqliteTable, " ADD COLUMN ", column.sqliteColumn,
                          " COLLATE RTRIM"));
    fillAddedColumn(definition, column);
  }
  tables_.layOut(table_);
  tables_.indexes().updateTextChain(table_);
  for (const tsql::Constraint& constraint : definition.constraints) {
    tables_.addConstraint(table_, constraint, &definition);
  }
  storage_.applyColumn(table_, definition.name, definition.storage);
}

void TableChange::operator()(const tsql::ChangePartitions& action) {
  if (action.partitioning) {
    storage_.partition(table_, *action.partitioning);
    return bounds_.requireAscending(table_, *action.partitioning);
  }
  if (!action.count) return storage_.unpartition(table_.id);
  constexpr std::int64_t kMost = 10'000;
  tsql::Partitioning slices{"roundrobin", {}, {}};
  slices.partitions.resize(static_cast<std::size_t>(std::min(*action.count, kMost)));
  storage_.partition(table_, slices);
}

void TableChange::requireFillable(const tsql::ColumnDefinition& definition,
                                  const ColumnInfo& column) {
  if (column.type.nullable || column.type.identity || definition.defaultClause) return;
  writer_.fail(message::addedColumnNeedsDefault, table_.name, column.name);
}

void TableChange::fillAddedColumn(const tsql::ColumnDefinition& definition,
                                  const ColumnInfo& column) {
  const std::string& rows = table_.sqliteTable;
  if (column.type.identity) {
    Statement count = store_.prepare(concat("SELECT count(*) FROM ", rows));
    count.step();
    values_.convert(count.cell(0), declaredType(TypeKind::Bigint, {}, {}, false), column.type);
    store_.execute(concat("UPDATE ", rows, " SET ", column.sqliteColumn,
                          " = numbered.n FROM (SELECT rowid AS id, row_number() OVER (ORDER BY"
                          " rowid) AS n FROM ",
                          rows, ") AS numbered WHERE numbered.id = ", rows, ".rowid"));
  } else if (!column.type.nullable) {
    Statement fill = store_.prepare(concat("UPDATE ", rows, " SET ", column.sqliteColumn, " = ?"));
    fill.bind(1, values_.evaluate(*definition.defaultClause->value, column.type));
    fill.step();
  }
}

void TableChange::requireUnused(const ColumnInfo& column) {
  std::optional<std::string> user;
  for (const Slot slot : records_.indexes.where<&SysIndex::id>(table_.id)) {
    const SysIndex& index = records_.indexes[slot];
    const bool isKey =
        std::ranges::find(index.keys, column.colid, &SysIndexKey::colid) != index.keys.end();
    if (!user && isKey) user = index.name;
  }
  const auto usedBy = [&](std::span<const Slot> references,
                          SysReference::Keys SysReference::*keys) {
    for (const Slot slot : references) {
      const SysReference& reference = records_.references[slot];
      const auto used =
          std::span(reference.*keys).first(static_cast<std::size_t>(reference.keycnt));
      if (!user && std::ranges::find(used, column.colid) != used.end()) {
        user = writer_.catalog().objectName(reference.constrid);
      }
    }
  };
  usedBy(records_.references.where<&SysReference::tableid>(table_.id), &SysReference::fokey);
  usedBy(records_.references.where<&SysReference::reftabid>(table_.id), &SysReference::refkey);
  for (const Slot slot : records_.constraints.where<&SysConstraint::tableid>(table_.id)) {
    const SysConstraint& row = records_.constraints[slot];
    if (user || !isCheck(records_, row)) continue;
    if (row.colid == column.colid ||
        names(writer_.catalog().sourceText(row.constrid), column.name)) {
      user = writer_.catalog().objectName(row.constrid);
    }
  }
  for (const Slot slot : records_.columns.where<&SysColumn::id>(table_.id)) {
    const SysColumn& other = records_.columns[slot];
    if (user || !other.computedcol) continue;
    if (names(writer_.catalog().sourceText(*other.computedcol), column.name)) user = other.name;
  }
  const bool hasPartitionKeys = writer_.catalog().options().has(Release::ase15);
  if (hasPartitionKeys && store_.value("SELECT 1 FROM syspartitionkeys WHERE id = ? AND colid = ?",
                                       table_.id, column.colid)) {
    writer_.fail(message::partitionKeyColumn, table_.name, column.name);
  }
  if (user) {
    writer_.fail(message::columnUsed, table_.name, column.name, *user);
  }
}

void TableChange::operator()(const tsql::DropColumn& action) {
  const ColumnInfo column = requireColumn(action.column);
  requireUnused(column);
  if (writer_.catalog().columns(table_.id).size() == 1) {
    writer_.fail(message::lastColumn, table_.name);
  }
  tables_.removeDefault(table_, column);
  if (column.type.identity) {
    records_.changeObject(table_.id,
                          [](SysObject& object) { object.sysstat2 &= ~table_status2::kIdentity; });
  }
  records_.columns.each<&SysColumn::id>(table_.id, [&](Slot slot, const SysColumn& row) {
    if (row.colid != column.colid) return;
    const std::optional<int> computed = row.computedcol;
    records_.columns.erase(slot);
    if (!computed) return;
    records_.constraints.eraseAll<&SysConstraint::constrid>(*computed);
    writer_.removeObject(*computed);
  });
  PermissionWriter(writer_).removeColumn(table_.id, column.colid);
  storage_.removeColumn(table_.id, column.colid);
  if (hasRows()) {
    store_.execute(
        concat("ALTER TABLE ", table_.sqliteTable, " DROP COLUMN ", column.sqliteColumn));
  }
  closeGap(column.colid);
  tables_.layOut(table_);
  tables_.indexes().updateTextChain(table_);
}

// The columns behind a dropped one move up, in every place that goes by their numbers.
void TableChange::closeGap(int gone) {
  const auto moved = [&](auto& colid) {
    if (colid > gone) --colid;
  };
  if (hasRows()) {
    for (const Slot slot : records_.columns.where<&SysColumn::id>(table_.id)) {
      const SysColumn& column = records_.columns[slot];
      if (column.colid < gone || column.isHidden()) continue;
      store_.execute(concat("ALTER TABLE ", table_.sqliteTable, " RENAME COLUMN c", column.colid,
                            " TO c", column.colid - 1));
    }
  }
  records_.columns.each<&SysColumn::id>(table_.id, [&](Slot slot, const SysColumn& row) {
    if (row.colid < gone) return;
    records_.columns.change(slot, [&](SysColumn& column) { moved(column.colid); });
  });
  records_.indexes.each<&SysIndex::id>(table_.id, [&](Slot slot, const SysIndex&) {
    records_.indexes.change(slot, [&](SysIndex& index) {
      for (SysIndexKey& key : index.keys) moved(key.colid);
    });
  });
  records_.references.each<&SysReference::tableid>(table_.id, [&](Slot slot, const SysReference&) {
    records_.references.change(
        slot, [&](SysReference& reference) { std::ranges::for_each(reference.fokey, moved); });
  });
  records_.references.each<&SysReference::reftabid>(table_.id, [&](Slot slot, const SysReference&) {
    records_.references.change(
        slot, [&](SysReference& reference) { std::ranges::for_each(reference.refkey, moved); });
  });
  records_.constraints.each<&SysConstraint::tableid>(
      table_.id, [&](Slot slot, const SysConstraint& constraint) {
        if (isTrigger(records_, constraint)) return;
        records_.constraints.change(slot, [&](SysConstraint& row) { moved(row.colid); });
      });
  for (int key = 1; key <= kDeclaredKeyColumns; ++key) {
    store_.run(concat("DELETE FROM syskeys WHERE id = ? AND key", key, " = ?"), table_.id, gone);
    store_.run(concat("DELETE FROM syskeys WHERE depid = ? AND depkey", key, " = ?"), table_.id,
               gone);
  }
  for (int key = 1; key <= kDeclaredKeyColumns; ++key) {
    store_.run(concat("UPDATE syskeys SET key", key, " = key", key, " - 1 WHERE id = ? AND key",
                      key, " > ?"),
               table_.id, gone);
    store_.run(concat("UPDATE syskeys SET depkey", key, " = depkey", key,
                      " - 1 WHERE depid = ? AND depkey", key, " > ?"),
               table_.id, gone);
  }
  if (writer_.catalog().options().has(Release::ase15)) {
    store_.run("UPDATE syspartitionkeys SET colid = colid - 1 WHERE id = ? AND colid > ?",
               table_.id, gone);
  }
}

void TableChange::operator()(const tsql::DropConstraint& action) {
  const std::string& name = action.constraint;
  const auto indid = tables_.indexes().find(table_.id, name);
  const bool isKey =
      indid && (records_.index(table_.id, *indid)->status2 & index_status2::kConstraint) != 0;
  if (isKey) {
    for (const Slot slot : records_.references.where<&SysReference::reftabid>(table_.id)) {
      const SysReference& reference = records_.references[slot];
      if (reference.indexid != *indid) continue;
      writer_.fail(message::constraintReferenced, name,
                   writer_.catalog().objectName(reference.tableid).value_or(""),
                   writer_.catalog().objectName(reference.constrid).value_or(""));
    }
    tables_.indexes().remove(table_, *indid);
    return;
  }
  int constraintId = 0;
  int status = 0;
  for (const Slot slot : records_.constraints.where<&SysConstraint::tableid>(table_.id)) {
    const SysConstraint& row = records_.constraints[slot];
    if (writer_.catalog().objectName(row.constrid) != name || isTrigger(records_, row)) continue;
    constraintId = row.constrid;
    status = row.status;
  }
  if (constraintId == 0) writer_.fail(message::notConstraint, name);
  if ((status & constraint_status::kReferential) != 0) {
    tables_.removeReference(constraintId);
  } else {
    tables_.removeCheck(table_.id, constraintId);
  }
}

void TableChange::operator()(const tsql::ModifyColumn& action) {
  const ColumnInfo column = requireColumn(action.column.name);
  if (!column.computed.empty() || action.column.computed) return modifyComputed(action, column);
  ColumnType to = column.type;
  storage_.applyColumn(table_, column.name, action.column.storage);
  const bool saysNothing = action.column.nullability == tsql::Nullability::Unspecified;
  if (action.column.type.name.empty() && saysNothing) return;
  if (action.column.type.name.empty()) {
    to = withNullability(to, action.column.nullability == tsql::Nullability::Null);
  } else {
    to = tables_.columnType(action.column);
    to.identity = column.type.identity;
    if (action.column.nullability == tsql::Nullability::Unspecified) {
      to = withNullability(to, column.type.nullable);
    }
  }
  if (!to.nullable && column.type.nullable) {
    Statement nulls = store_.prepare(concat("SELECT 1 FROM ", table_.sqliteTable, " WHERE ",
                                            column.sqliteColumn, " IS NULL LIMIT 1"));
    if (nulls.step()) {
      writer_.fail(message::nullInserted, column.name, table_.name);
    }
  }
  const bool isTimestamp = to.kind == TypeKind::Timestamp;
  if (isTimestamp && column.type.kind != to.kind) {
    writer_.fail(message::modifyToTimestamp, column.name, table_.name);
  }
  if (isAlone && to == column.type && !changesStorage(action.column.storage)) {
    writer_.fail(message::modifyWithoutEffect, column.name);
  }
  convertRows(column, to);
  records_.changeColumn(table_.id, column.colid, [&](SysColumn& row) {
    row.type = to.storageCode;
    row.usertype = to.userType;
    row.length = to.length;
    row.prec = to.precision;
    row.scale = to.scale;
    row.status =
        (row.status & ~column_status::kNullable) | (to.nullable ? column_status::kNullable : 0);
  });
  tables_.layOut(table_);
  tables_.indexes().updateTextChain(table_);
}

void TableChange::modifyComputed(const tsql::ModifyColumn& action, const ColumnInfo& column) {
  const tsql::ColumnDefinition& to = action.column;
  if (column.computed.empty() || !to.type.name.empty()) {
    writer_.fail(message::computedOrNot, column.name, table_.name);
  }
  if (to.computed) tables_.replaceComputed(name_, table_, to);
  const bool isNull = to.nullability == tsql::Nullability::Null;
  const bool changesNulls = to.nullability != tsql::Nullability::Unspecified;
  records_.changeColumn(table_.id, column.colid, [&](SysColumn& row) {
    if (to.materialized) {
      row.status2 = (*row.status2 & ~column_status2::kMaterialized) |
                    (*to.materialized ? column_status2::kMaterialized : 0);
    }
    if (changesNulls) row.status = isNull ? column_status::kNullable : 0;
  });
  tables_.layOut(table_);
}

void TableChange::convertRows(const ColumnInfo& column, const ColumnType& to) {
  const bool sameValues = to.kind == column.type.kind && to.length >= column.type.length &&
                          to.precision == column.type.precision && to.scale == column.type.scale;
  if (sameValues || !hasRows()) return;
  std::vector<std::pair<std::int64_t, Cell>> converted;
  Statement read =
      store_.prepare(concat("SELECT rowid, ", column.sqliteColumn, " FROM ", table_.sqliteTable,
                            " WHERE ", column.sqliteColumn, " IS NOT NULL"));
  while (read.step()) {
    converted.emplace_back(read.integer(0), values_.convert(read.cell(1), column.type, to));
  }
  Statement write = store_.prepare(concat("UPDATE ", table_.sqliteTable, " SET ",
                                          column.sqliteColumn, " = ?2 WHERE rowid = ?1"));
  for (const auto& [rowid, value] : converted) {
    write.bindAll(rowid, value);
    write.step();
    write.reset();
  }
}

void TableChange::operator()(const tsql::ReplaceDefault& action) {
  const ColumnInfo column = requireColumn(action.column);
  if (column.defaultId != 0 && !records_.isInline(column.defaultId)) {
    writer_.fail(message::columnHasBoundDefault, table_.name, column.name);
  }
  tables_.removeDefault(table_, column);
  const auto* literal = std::get_if<tsql::Literal>(&action.value.value->node);
  if (literal != nullptr && literal->kind == tsql::LiteralKind::Null) return;
  tables_.addDefault(table_, column.colid, column.name, action.value);
}

void TableChange::operator()(const tsql::SwitchTrigger& action) {
  bool found = action.trigger.empty();
  for (const TriggerSlot& slot : kTriggerSlots) {
    const int id = records_.object(table_.id)->*slot.column;
    const auto trigger = writer_.catalog().objectName(id);
    if (!trigger || (!action.trigger.empty() && *trigger != action.trigger)) continue;
    found = true;
    records_.changeObject(table_.id, [&](SysObject& table) {
      table.sysstat2 =
          action.enable ? table.sysstat2 & ~slot.disabled : table.sysstat2 | slot.disabled;
    });
  }
  records_.constraints.each<&SysConstraint::tableid>(
      table_.id, [&](Slot slot, const SysConstraint& row) {
        const bool isNamed =
            action.trigger.empty() || writer_.catalog().objectName(row.constrid) == action.trigger;
        if (!isNamed || !isTrigger(records_, row)) return;
        found = true;
        records_.constraints.change(slot, [&](SysConstraint& trigger) {
          trigger.status = action.enable ? trigger.status & ~trigger_status::kDisabled
                                         : trigger.status | trigger_status::kDisabled;
        });
      });
  if (!found) {
    writer_.fail(message::objectNotFound, action.trigger);
  }
}

}  // namespace

void Catalog::alterTable(const tsql::AlterTable& statement, std::string_view text,
                         const RowValues& values, const Caller& caller) {
  Savepoint savepoint(store_);
  CatalogWriter writer(*this, caller);
  const ObjectInfo table = writer.requireTable(statement.table);
  TableChange change(writer, text, values, statement.table, table);
  change.isAlone = statement.actions.size() == 1;
  change.requireAllOrNone(statement.actions);
  StoredIndexes(writer).dropGuards(table);
  for (const tsql::AlterAction& action : statement.actions) std::visit(change, action);
  StoredIndexes(writer).createGuards(table);
  savepoint.keep();
}

}  // namespace kelvane::embedded
