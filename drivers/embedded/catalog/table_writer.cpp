#include "drivers/embedded/catalog/table_writer.h"

#include <algorithm>

#include "drivers/embedded/catalog/ordered_triggers.h"
#include "drivers/embedded/catalog/system_tables.h"
#include "drivers/embedded/tsql/ast/queries.h"
#include "drivers/embedded/tsql/overloaded.h"

namespace kelvane::embedded {

namespace {

// Integers can count since release 15.
bool acceptsIdentity(const ColumnType& type, const CatalogOptions& options) {
  const bool exact = type.kind == TypeKind::Numeric || type.kind == TypeKind::Decimal;
  if (exact) return type.scale == 0;
  return isInteger(type.kind) && type.kind != TypeKind::Bit && options.has(Release::ase15);
}

}  // namespace

void TableWriter::setType(SysColumn& column, const ColumnType& type) {
  column.type = type.storageCode;
  column.length = type.length;
  column.usertype = type.userType;
  column.prec = type.precision;
  column.scale = type.scale;
}

// tables and columns

ObjectInfo TableWriter::addTable(const tsql::ObjectName& name, std::string_view lockScheme) {
  ObjectInfo table;
  table.name = name.name;
  table.uid = writer_.ownerFor(name);
  table.type = object_type::kTable;
  table.id = writer_.addObject({.name = table.name,
                                .type = object_type::kTable,
                                .uid = table.uid,
                                .sysstat2 = IndexWriter::lockStatus(lockScheme)});
  table.sqliteTable = kNoRows;
  return table;
}

ColumnType TableWriter::columnType(const tsql::ColumnDefinition& definition) {
  if (definition.computed) {
    // Until typeComputed knows better.
    return declaredType(TypeKind::Varchar, 255, {}, true);
  }
  tsql::DataType declared;
  const bool isBareTimestamp = definition.type.name.empty() && definition.name == "timestamp";
  if (isBareTimestamp) declared.name = definition.name;
  ColumnType type =
      writer_.catalog().resolveType(isBareTimestamp ? declared : definition.type, writer_.caller());
  const bool isUserType = type.userType > kLargestSystemType;
  bool nullable = type.nullable;
  if (definition.nullability != tsql::Nullability::Unspecified) {
    nullable = definition.nullability == tsql::Nullability::Null;
  } else if (type.kind == TypeKind::Timestamp) {
    nullable = true;
  } else if (!isUserType && !definition.identity && type.kind != TypeKind::Bit) {
    const bool isKey = std::ranges::any_of(definition.constraints, [](const tsql::Constraint& c) {
      const auto* key = std::get_if<tsql::KeyConstraint>(&c.node);
      return key != nullptr && key->primary;
    });
    nullable = !isKey && writer_.catalog().allowsNullsByDefault(writer_.caller().database);
  }
  if (definition.identity) type.identity = true;
  if (type.kind == TypeKind::Bit && nullable) {
    writer_.fail(message::nullableBit, definition.name);
  }
  if (type.identity && (!acceptsIdentity(type, writer_.catalog().options()) || nullable)) {
    writer_.fail(message::badIdentity, definition.name);
  }
  return withNullability(type, nullable);
}

void TableWriter::addColumn(const ObjectInfo& table, std::string_view name,
                            const ColumnType& type) {
  insertColumn(table, name, type);
}

void TableWriter::addColumn(const ObjectInfo& table, const tsql::ColumnDefinition& definition) {
  const ColumnType type = columnType(definition);
  int computedId = 0;
  if (definition.computed) {
    computedId = writer_.addUnnamedObject(table, definition.name, object_type::kComputed);
    writer_.saveText(computedId, 0, definition.computed->range.in(text_));
  }
  const int colid = insertColumn(table, definition.name, type);
  if (computedId != 0) {
    records_.changeColumn(table.id, colid, [&](SysColumn& column) {
      column.status2 =
          column_status2::kComputed |
          (definition.materialized.value_or(false) ? column_status2::kMaterialized : 0);
    });
    records_.constraints.insert({.colid = colid,
                                 .constrid = computedId,
                                 .tableid = table.id,
                                 .status = constraint_status::kComputed});
  }
  inheritBindings(table, colid, type.userType);
  if (definition.defaultClause)
    addDefault(table, colid, definition.name, *definition.defaultClause);
}

void TableWriter::typeComputed(const tsql::ObjectName& table, int tableId,
                               const tsql::ColumnDefinition& definition) {
  if (!definition.computed) return;
  const bool nullable = definition.nullability != tsql::Nullability::NotNull;
  const ColumnType type = withNullability(values_->typeOf(*definition.computed, table), nullable);
  const int colid = records_.column(tableId, definition.name)->colid;
  int computedId = 0;
  for (const Slot slot : records_.constraints.where<&SysConstraint::tableid>(tableId)) {
    const SysConstraint& row = records_.constraints[slot];
    if (row.colid == colid && row.status == constraint_status::kComputed) computedId = row.constrid;
  }
  records_.changeColumn(tableId, colid, [&](SysColumn& column) {
    column.status = nullable ? column_status::kNullable : 0;
    column.computedcol = computedId;
    setType(column, type);
  });
}

void TableWriter::replaceComputed(const tsql::ObjectName& name, const ObjectInfo& table,
                                  const tsql::ColumnDefinition& definition) {
  const int computed = records_.column(table.id, definition.name)->computedcol.value();
  records_.comments.eraseAll<&SysComment::id>(computed);
  writer_.saveText(computed, 0, definition.computed->range.in(text_));
  typeComputed(name, table.id, definition);
}

int TableWriter::insertColumn(const ObjectInfo& table, std::string_view name,
                              const ColumnType& type) {
  if (records_.column(table.id, name) != nullptr) {
    writer_.fail(message::duplicateColumn, name, table.name);
  }
  if (type.identity && records_.identityColumn(table.id) != nullptr) {
    writer_.fail(message::severalIdentities, table.name);
  }
  const auto isTimestamp = [&](Slot slot) {
    return records_.columns[slot].usertype == systemType(TypeKind::Timestamp).userType;
  };
  if (type.kind == TypeKind::Timestamp && table.type == object_type::kTable &&
      std::ranges::any_of(records_.columns.where<&SysColumn::id>(table.id), isTimestamp)) {
    writer_.fail(message::severalTimestamps, table.name, name);
  }
  const int colid = records_.nextColid(table.id);
  if (colid > kLargestColumnCount) {
    writer_.fail(message::tooManyColumns, name, table.name, kLargestColumnCount);
  }
  SysColumn column;
  column.id = table.id;
  column.colid = colid;
  column.status = (type.nullable ? column_status::kNullable : 0) |
                  (type.identity ? column_status::kIdentity : 0);
  setType(column, type);
  column.name = name;
  records_.columns.insert(std::move(column));
  if (type.identity && table.type == object_type::kTable) {
    records_.changeObject(table.id,
                          [](SysObject& object) { object.sysstat2 |= table_status2::kIdentity; });
  }
  return colid;
}

namespace {

bool hasBindings(const SysType& type) {
  return type.tdefault != 0 || type.domain != 0 || type.accessrule.value_or(0) != 0;
}

}  // namespace

void TableWriter::inheritBindings(const ObjectInfo& table, int colid, int userType) {
  if (userType <= kLargestSystemType) return;
  const SysType* type = records_.types.first<&SysType::usertype>(userType);
  if (type == nullptr || !hasBindings(*type)) return;
  records_.changeColumn(table.id, colid, [&](SysColumn& column) {
    column.cdefault = type->tdefault;
    column.domain = type->domain;
    column.accessrule = type->accessrule;
  });
}

void TableWriter::layOut(const ObjectInfo& table) {
  constexpr int kFirstOffset = 2;
  constexpr int kBitsOfByte = 8;
  int fixedOffset = kFirstOffset;
  int variable = 0;
  int bits = 0;
  int bitOffset = 0;
  for (const ColumnInfo& column : writer_.catalog().columns(table.id)) {
    int offset = 0;
    int bitPosition = 0;
    if (column.type.kind == TypeKind::Bit) {
      if (bits % kBitsOfByte == 0) bitOffset = fixedOffset++;
      bitPosition = bits++ % kBitsOfByte;
      offset = bitOffset;
    } else if (column.type.nullable || systemType(column.type.kind).storageCode ==
                                           systemType(column.type.kind).nullableCode) {
      offset = --variable;
    } else {
      offset = fixedOffset;
      fixedOffset += column.type.length;
    }
    const SysColumn& row = *records_.column(table.id, column.colid);
    // The bits say something else of long columns.
    const int status = isLong(column.type.kind)
                           ? row.status
                           : (row.status & ~column_status::kBitPosition) | bitPosition;
    if (row.offset == offset && row.status == status) continue;
    records_.changeColumn(table.id, column.colid, [&](SysColumn& changed) {
      changed.offset = offset;
      changed.status = status;
    });
  }
}

// defaults

void TableWriter::addDefault(const ObjectInfo& table, int colid, std::string_view column,
                             const tsql::DefaultClause& clause) {
  const int id = writer_.addUnnamedObject(table, column, object_type::kDefault);
  writer_.saveText(id, 0, concat("DEFAULT ", clause.value->range.in(text_)));
  records_.procedures.insert({.type = 1, .id = id, .status = procedure_status::kInline});
  records_.changeColumn(table.id, colid, [&](SysColumn& row) { row.cdefault = id; });
}

void TableWriter::removeDefault(const ObjectInfo& table, const ColumnInfo& column) {
  if (column.defaultId == 0) return;
  if (records_.isInline(column.defaultId)) writer_.removeObject(column.defaultId);
  records_.changeColumn(table.id, column.colid, [](SysColumn& row) { row.cdefault = 0; });
}

// constraints

void TableWriter::addConstraint(const ObjectInfo& table, const tsql::Constraint& constraint,
                                const tsql::ColumnDefinition* column) {
  std::visit(tsql::Overloaded{[&](const tsql::KeyConstraint& key) {
                                addKey(table, constraint.name, key, column);
                              },
                              [&](const tsql::ForeignKeyConstraint& key) {
                                addForeignKey(table, constraint.name, key, column);
                              },
                              [&](const tsql::CheckConstraint& check) {
                                addCheck(table, constraint.name, check, column);
                              }},
             constraint.node);
}

void TableWriter::addKey(const ObjectInfo& table, const std::string& name,
                         const tsql::KeyConstraint& key, const tsql::ColumnDefinition* column) {
  std::vector<tsql::IndexKey> own;
  if (key.columns.empty() && column != nullptr) own.emplace_back().column = column->name;
  if (key.primary && indexes_.primaryKey(table.id) != nullptr) {
    writer_.fail(message::severalPrimaryKeys, table.name);
  }
  IndexPlan plan;
  plan.kind = key.primary ? IndexPlan::Kind::PrimaryKey : IndexPlan::Kind::UniqueConstraint;
  plan.name = name;
  plan.unique = true;
  plan.clustered = key.clustering == tsql::Clustering::Clustered ||
                   (key.clustering == tsql::Clustering::Unspecified && key.primary);
  plan.keys = own.empty() ? &key.columns : &own;
  plan.options = &key.options;
  plan.segment = key.segment;
  indexes_.add(table, plan);
}

std::vector<int> TableWriter::colidsOf(const ObjectInfo& table,
                                       const std::vector<std::string>& names) {
  std::vector<int> colids;
  for (const std::string& name : names) {
    const SysColumn* column = records_.column(table.id, name);
    if (column == nullptr || column->isHidden()) {
      writer_.fail(message::foreignKeyColumnNotFound, name, table.name);
    }
    colids.push_back(column->colid);
  }
  return colids;
}

int TableWriter::matchingIndex(int tableId, const std::vector<int>& colids) {
  std::vector<int> wanted = colids;
  std::ranges::sort(wanted);
  for (const Slot slot : records_.indexes.where<&SysIndex::id>(tableId)) {
    const SysIndex& index = records_.indexes[slot];
    if ((index.status & index_status::kUnique) == 0) continue;
    std::vector<int> keys;
    keys.reserve(index.keys.size());
    for (const SysIndexKey& key : index.keys) keys.push_back(key.colid);
    std::ranges::sort(keys);
    if (keys == wanted) return index.indid;
  }
  return 0;
}

TableWriter::Referenced TableWriter::resolveReferenced(const tsql::ForeignKeyConstraint& key,
                                                       std::size_t keyCount) {
  Referenced referenced;
  const bool isElsewhere =
      !key.table.database.empty() && key.table.database != writer_.caller().database;
  if (isElsewhere) referenced.database = key.table.database;
  if (isElsewhere && !writer_.catalog().databaseId(key.table.database)) {
    referenced.tableId = writer_.addElsewhere(key.table, key.referenced);
    for (std::size_t i = 1; i <= keyCount; ++i) referenced.colids.push_back(static_cast<int>(i));
    return referenced;
  }
  const ObjectInfo table = writer_.requireTable(key.table);
  referenced.tableId = table.id;
  const Caller owner{kDboUid, writer_.catalog().databaseOf(table.id), writer_.caller().line};
  CatalogWriter there(writer_.catalog(), owner);
  TableWriter tables(there, {});
  if (!key.referenced.empty()) {
    referenced.colids = tables.colidsOf(table, key.referenced);
    referenced.indid = tables.matchingIndex(table.id, referenced.colids);
  } else if (const SysIndex* primary = tables.indexes_.primaryKey(table.id)) {
    referenced.indid = primary->indid;
    for (const SysIndexKey& key : primary->keys) referenced.colids.push_back(key.colid);
  }
  if (referenced.indid == 0) {
    writer_.fail(message::noMatchingKey, table.name);
  }
  return referenced;
}

// The server wants more alike than this.
void TableWriter::requireSameTypes(const ObjectInfo& table, const std::vector<int>& colids,
                                   const Referenced& referenced) {
  const auto own = writer_.catalog().columns(table.id);
  const auto others = writer_.catalog().columns(referenced.tableId);
  for (std::size_t i = 0; i < colids.size(); ++i) {
    const auto column = std::ranges::find(own, colids[i], &ColumnInfo::colid);
    const auto other = std::ranges::find(others, referenced.colids[i], &ColumnInfo::colid);
    if (column == own.end() || other == others.end()) continue;
    if (isCharacter(column->type.kind) == isCharacter(other->type.kind)) continue;
    writer_.fail(message::foreignKeyTypes, column->name, table.name);
  }
}

void TableWriter::addForeignKey(const ObjectInfo& table, const std::string& name,
                                const tsql::ForeignKeyConstraint& key,
                                const tsql::ColumnDefinition* column) {
  std::vector<std::string> names = key.columns;
  if (names.empty() && column != nullptr) names.push_back(column->name);
  if (names.size() > kMostReferenceColumns) {
    writer_.fail(message::tooManyForeignKeyColumns, kMostReferenceColumns, names.size());
  }
  const std::vector<int> colids = colidsOf(table, names);
  const Referenced referenced = resolveReferenced(key, colids.size());
  if (referenced.colids.size() != colids.size()) {
    writer_.fail(message::foreignKeyCount, table.name, colids.size(), referenced.colids.size());
  }
  if (referenced.database.empty()) requireSameTypes(table, colids, referenced);
  const int id =
      name.empty()
          ? writer_.addUnnamedObject(table, names.front(), object_type::kReference)
          : writer_.addObject({.name = name, .type = object_type::kReference, .uid = table.uid});

  SysReference reference;
  reference.indexid = referenced.indid;
  reference.constrid = id;
  reference.tableid = table.id;
  reference.reftabid = referenced.tableId;
  reference.keycnt = static_cast<int>(colids.size());
  reference.status = key.matchFull ? reference_status::kMatchFull : 0;
  reference.frgndbid = writer_.catalog().databaseId(writer_.caller().database).value_or(0);
  reference.pmrydbid = reference.frgndbid;
  if (!referenced.database.empty()) {
    reference.pmrydbname = referenced.database;
    const auto dbid = writer_.catalog().databaseId(referenced.database);
    if (dbid) reference.pmrydbid = *dbid;
  }
  for (std::size_t i = 0; i < colids.size(); ++i) {
    reference.fokey[i] = static_cast<std::int16_t>(colids[i]);
    reference.refkey[i] = static_cast<std::int16_t>(referenced.colids[i]);
  }
  records_.references.insert(std::move(reference));
  records_.constraints.insert({.colid = column == nullptr ? 0 : colids.front(),
                               .constrid = id,
                               .tableid = table.id,
                               .status = constraint_status::kReferential});
  records_.changeObject(table.id,
                        [](SysObject& object) { object.sysstat2 |= table_status2::kForeignKey; });
  records_.changeObject(referenced.tableId,
                        [](SysObject& object) { object.sysstat2 |= table_status2::kReferenced; });
  records_.changeIndex(referenced.tableId, referenced.indid, [](SysIndex& index) {
    index.status2 |= index_status2::kSupportsForeignKey;
  });
}

void TableWriter::removeReference(int constraintId) {
  const SysReference* found = records_.references.first<&SysReference::constrid>(constraintId);
  const SysReference gone = found == nullptr ? SysReference() : *found;
  records_.references.eraseAll<&SysReference::constrid>(constraintId);
  records_.constraints.eraseAll<&SysConstraint::constrid>(constraintId);
  writer_.removeObject(constraintId);
  if (records_.references.where<&SysReference::tableid>(gone.tableid).empty()) {
    records_.changeObject(
        gone.tableid, [](SysObject& object) { object.sysstat2 &= ~table_status2::kForeignKey; });
  }
  const auto others = records_.references.where<&SysReference::reftabid>(gone.reftabid);
  if (others.empty()) {
    records_.changeObject(
        gone.reftabid, [](SysObject& object) { object.sysstat2 &= ~table_status2::kReferenced; });
  }
  const bool isIndexUsed = std::ranges::any_of(
      others, [&](const Slot slot) { return records_.references[slot].indexid == gone.indexid; });
  if (!isIndexUsed) {
    records_.changeIndex(gone.reftabid, gone.indexid, [](SysIndex& index) {
      index.status2 &= ~index_status2::kSupportsForeignKey;
    });
  }
}

void TableWriter::addCheck(const ObjectInfo& table, const std::string& name,
                           const tsql::CheckConstraint& check,
                           const tsql::ColumnDefinition* column) {
  const std::string_view columnName = column == nullptr ? std::string_view() : column->name;
  const int id =
      name.empty()
          ? writer_.addUnnamedObject(table, columnName, object_type::kRule)
          : writer_.addObject({.name = name, .type = object_type::kRule, .uid = table.uid});
  writer_.saveText(id, 0, check.range.in(text_));
  records_.procedures.insert({.type = 1, .id = id, .status = procedure_status::kInline});
  int colid = 0;
  if (column != nullptr) {
    colid = records_.column(table.id, columnName)->colid;
    records_.changeColumn(table.id, colid, [&](SysColumn& row) {
      if (row.domain == 0) {
        row.domain = id;
      } else {
        row.status |= column_status::kSeveralChecks;
      }
    });
  }
  records_.constraints.insert(
      {.colid = colid, .constrid = id, .tableid = table.id, .status = constraint_status::kCheck});
  records_.changeObject(table.id, [&](SysObject& object) {
    if (object.ckfirst == 0) {
      object.ckfirst = id;
    } else {
      object.sysstat2 |= table_status2::kSeveralChecks;
    }
  });
}

std::vector<int> TableWriter::checksOf(int tableId, std::optional<int> colid) {
  std::vector<int> checks;
  for (const Slot slot : records_.constraints.where<&SysConstraint::tableid>(tableId)) {
    const SysConstraint& row = records_.constraints[slot];
    if (row.colid == colid.value_or(row.colid) && isCheck(records_, row)) {
      checks.push_back(row.constrid);
    }
  }
  std::ranges::sort(checks);
  return checks;
}

void TableWriter::removeCheck(int tableId, int checkId) {
  const SysConstraint* check = records_.constraints.first<&SysConstraint::constrid>(checkId);
  const int colid = check == nullptr ? 0 : check->colid;
  records_.constraints.eraseAll<&SysConstraint::constrid>(checkId);
  writer_.removeObject(checkId);
  // What is left decides the first check of the column and of the table, and the count marks.
  const std::vector<int> ofColumn = checksOf(tableId, colid);
  const std::vector<int> ofTable = checksOf(tableId, std::nullopt);
  if (colid > 0) {
    records_.changeColumn(tableId, colid, [&](SysColumn& column) {
      if (!ofColumn.empty()) {
        column.domain = ofColumn.front();
      } else if (column.domain == checkId) {
        column.domain = 0;
      }
      if (ofColumn.size() < 2) column.status &= ~column_status::kSeveralChecks;
    });
  }
  records_.changeObject(tableId, [&](SysObject& object) {
    object.ckfirst = ofTable.empty() ? 0 : ofTable.front();
    if (ofTable.size() < 2) object.sysstat2 &= ~table_status2::kSeveralChecks;
  });
}

}  // namespace kelvane::embedded
