#include "drivers/embedded/catalog/table_writer.h"

#include <algorithm>

#include "drivers/embedded/catalog/system_tables.h"

namespace kelvane::embedded {

namespace {

constexpr int kInlineDefault = 4096;  ///< in sysprocedures.status

bool acceptsIdentity(const ColumnType& type) {
  const bool exact = type.kind == TypeKind::Numeric || type.kind == TypeKind::Decimal;
  return exact ? type.scale == 0 : isInteger(type.kind) && type.kind != TypeKind::Bit;
}

}  // namespace

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
    writer_.fail(2718, "Column '", definition.name,
                 "': Cannot specify null values on a column of data type bit.");
  }
  if (type.identity && (!acceptsIdentity(type) || nullable)) {
    writer_.fail(2749, "Identity column '", definition.name,
                 "' must be numeric with a scale of 0 or integer, and not null.");
  }
  return withNullability(type, nullable);
}

void TableWriter::addColumn(const ObjectInfo& table, std::string_view name,
                            const ColumnType& type) {
  insertColumn(table, name, type, 0);
}

void TableWriter::addColumn(const ObjectInfo& table, const tsql::ColumnDefinition& definition) {
  const ColumnType type = columnType(definition);
  int computedId = 0;
  if (definition.computed) {
    computedId = writer_.addUnnamedObject(table, definition.name, object_type::kComputed);
    writer_.saveText(computedId, 0, definition.computed->range.in(text_));
  }
  insertColumn(table, definition.name, type, computedId);
  if (computedId != 0) {
    constexpr int kComputed = 0x10, kMaterialized = 0x20;
    store_.run("UPDATE syscolumns SET status2 = ? WHERE id = ? AND name = ?",
               kComputed | (definition.materialized ? kMaterialized : 0), table.id,
               definition.name);
    store_.run(
        "INSERT INTO sysconstraints(colid, constrid, tableid, status)"
        " SELECT colid, ?, id, ? FROM syscolumns WHERE id = ? AND name = ?",
        computedId, constraint_status::kComputed, table.id, definition.name);
  }
  inheritBindings(table, definition.name, type.userType);
  if (definition.defaultClause) addDefault(table, definition.name, *definition.defaultClause);
}

void TableWriter::typeComputed(const tsql::ObjectName& table, int tableId,
                               const tsql::ColumnDefinition& definition) {
  if (!definition.computed) return;
  const bool nullable = definition.nullability != tsql::Nullability::NotNull;
  const ColumnType type = withNullability(values_->typeOf(*definition.computed, table), nullable);
  store_.run(
      "UPDATE syscolumns SET status = ?, type = ?, length = ?, usertype = ?, prec = ?, scale = ?"
      " WHERE id = ? AND name = ?",
      nullable ? column_status::kNullable : 0, type.storageCode, type.length, type.userType,
      type.precision, type.scale, tableId, definition.name);
}

void TableWriter::insertColumn(const ObjectInfo& table, std::string_view name,
                               const ColumnType& type, int computedId) {
  if (store_.value("SELECT 1 FROM syscolumns WHERE id = ? AND name = ?", table.id, name)) {
    writer_.fail(2705, "Column names in each table must be unique. Column name '", name,
                 "' in table '", table.name, "' is specified more than once.");
  }
  if (type.identity &&
      store_.value("SELECT 1 FROM syscolumns WHERE id = ? AND status & 128", table.id)) {
    writer_.fail(2744, "Multiple identity columns specified for table '", table.name,
                 "'. Only one identity column per table is allowed.");
  }
  const int colid =
      store_.value("SELECT max(colid) FROM syscolumns WHERE id = ?", table.id).value_or(0) + 1;
  if (colid > kLargestColumnCount) {
    writer_.fail(1702, "CREATE TABLE failed because column '", name, "' in table '", table.name,
                 "' exceeds the maximum of ", kLargestColumnCount, " columns.");
  }
  const int status = (type.nullable ? column_status::kNullable : 0) |
                     (type.identity ? column_status::kIdentity : 0);
  store_.run(
      "INSERT INTO syscolumns(id, colid, status, type, length, usertype, name, prec, scale,"
      " computedcol) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, nullif(?, 0))",
      table.id, colid, status, type.storageCode, type.length, type.userType, name, type.precision,
      type.scale, computedId);
}

void TableWriter::inheritBindings(const ObjectInfo& table, std::string_view column, int userType) {
  store_.run(
      "UPDATE syscolumns SET (cdefault, domain) ="
      " (SELECT tdefault, domain FROM systypes WHERE usertype = ?3)"
      " WHERE id = ?1 AND name = ?2 AND ?3 > 100",
      table.id, column, userType);
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
    store_.run(
        "UPDATE syscolumns SET offset = ?, status = (status & ~7) | ? WHERE id = ? AND colid = ?",
        offset, bitPosition, table.id, column.colid);
  }
}

// defaults

void TableWriter::addDefault(const ObjectInfo& table, std::string_view column,
                             const tsql::DefaultClause& clause) {
  const int id = writer_.addUnnamedObject(table, column, object_type::kDefault);
  writer_.saveText(id, 0, concat("DEFAULT ", clause.value->range.in(text_)));
  store_.run("INSERT INTO sysprocedures(type, id, status) VALUES (1, ?, ?)", id, kInlineDefault);
  store_.run("UPDATE syscolumns SET cdefault = ? WHERE id = ? AND name = ?", id, table.id, column);
}

bool TableWriter::isInlineDefault(int defaultId) {
  return store_
      .value("SELECT 1 FROM sysprocedures WHERE id = ? AND status & ?", defaultId, kInlineDefault)
      .has_value();
}

void TableWriter::removeDefault(const ObjectInfo& table, const ColumnInfo& column) {
  if (column.defaultId == 0) return;
  if (isInlineDefault(column.defaultId)) writer_.removeObject(column.defaultId);
  store_.run("UPDATE syscolumns SET cdefault = 0 WHERE id = ? AND colid = ?", table.id,
             column.colid);
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
  if (key.primary &&
      store_.value("SELECT 1 FROM sysindexes WHERE id = ? AND status & 2048", table.id)) {
    writer_.fail(1921, "Cannot add multiple PRIMARY KEY constraints to table '", table.name, "'.");
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
  const auto columns = writer_.catalog().columns(table.id);
  std::vector<int> colids;
  for (const std::string& name : names) {
    const auto found = std::ranges::find(columns, name, &ColumnInfo::name);
    if (found == columns.end()) {
      writer_.fail(1703, "Foreign key column '", name, "' does not exist in table '", table.name,
                   "'.");
    }
    colids.push_back(found->colid);
  }
  return colids;
}

int TableWriter::matchingIndex(int tableId, const std::vector<int>& colids) {
  std::vector<int> wanted = colids;
  std::ranges::sort(wanted);
  std::vector<std::pair<int, std::vector<int>>> candidates;
  store_.each(
      "SELECT k.indid, k.colid FROM sysindexes i JOIN index_keys k ON k.id = i.id AND k.indid ="
      " i.indid WHERE i.id = ? AND i.status & 2 ORDER BY k.indid, k.colid",
      [&](const Statement& row) {
        if (candidates.empty() || candidates.back().first != row.number(0)) {
          candidates.emplace_back(row.number(0), std::vector<int>{});
        }
        candidates.back().second.push_back(row.number(1));
      },
      tableId);
  const auto found =
      std::ranges::find(candidates, wanted, &std::pair<int, std::vector<int>>::second);
  return found == candidates.end() ? 0 : found->first;
}

TableWriter::Referenced TableWriter::resolveReferenced(const tsql::ForeignKeyConstraint& key,
                                                       std::size_t keyCount) {
  Referenced referenced;
  if (!key.table.database.empty() && key.table.database != writer_.caller().database) {
    // The other database is not at hand: its table keeps an id that names nothing here.
    referenced.tableId =
        writer_.newObjectId(concat(key.table.database, ".", key.table.owner, ".", key.table.name));
    referenced.database = key.table.database;
    for (std::size_t i = 1; i <= keyCount; ++i) referenced.colids.push_back(static_cast<int>(i));
    return referenced;
  }
  const ObjectInfo table = writer_.requireTable(key.table);
  referenced.tableId = table.id;
  if (!key.referenced.empty()) {
    referenced.colids = colidsOf(table, key.referenced);
    referenced.indid = matchingIndex(table.id, referenced.colids);
  } else {
    referenced.indid =
        store_.value("SELECT indid FROM sysindexes WHERE id = ? AND status & 2048", table.id)
            .value_or(0);
    store_.each(
        "SELECT colid FROM index_keys WHERE id = ? AND indid = ? ORDER BY position",
        [&](const Statement& row) { referenced.colids.push_back(row.number(0)); }, table.id,
        referenced.indid);
  }
  if (referenced.indid == 0) {
    writer_.fail(1715,
                 "Foreign key constraint creation failed. No primary key or unique index of "
                 "table '",
                 table.name, "' matches the referenced columns.");
  }
  return referenced;
}

void TableWriter::addForeignKey(const ObjectInfo& table, const std::string& name,
                                const tsql::ForeignKeyConstraint& key,
                                const tsql::ColumnDefinition* column) {
  std::vector<std::string> names = key.columns;
  if (names.empty() && column != nullptr) names.push_back(column->name);
  if (names.size() > kLargestKeyCount) {
    writer_.fail(1904, "Cannot specify more than ", kLargestKeyCount,
                 " column names for foreign key column list. ", names.size(), " specified.");
  }
  const std::vector<int> colids = colidsOf(table, names);
  const Referenced referenced = resolveReferenced(key, colids.size());
  if (referenced.colids.size() != colids.size()) {
    writer_.fail(1716, "Foreign key constraint creation failed. Table '", table.name, "' has ",
                 colids.size(), " referencing columns for ", referenced.colids.size(),
                 " referenced columns.");
  }
  const int id =
      name.empty()
          ? writer_.addUnnamedObject(table, names.front(), object_type::kReference)
          : writer_.addObject({.name = name, .type = object_type::kReference, .uid = table.uid});

  std::string keyNames;
  std::string keyValues;
  for (std::size_t i = 0; i < colids.size(); ++i) {
    keyNames += concat(", fokey", i + 1, ", refkey", i + 1);
    keyValues += concat(", ", colids[i], ", ", referenced.colids[i]);
  }
  const int dbid = writer_.catalog().databaseId(writer_.caller().database).value_or(0);
  Statement insert = store_.prepare(concat(
      "INSERT INTO sysreferences(indexid, constrid, tableid, reftabid, keycnt, frgndbid, pmrydbid,"
      " pmrydbname",
      keyNames, ") VALUES (?, ?, ?, ?, ?, ?, ?, nullif(?, '')", keyValues, ")"));
  insert.bindAll(referenced.indid, id, table.id, referenced.tableId,
                 static_cast<int>(colids.size()), dbid, dbid, referenced.database);
  insert.step();
  store_.run("INSERT INTO sysconstraints(colid, constrid, tableid, status) VALUES (?, ?, ?, ?)",
             column == nullptr ? 0 : colids.front(), id, table.id, constraint_status::kReferential);
  store_.run("UPDATE sysobjects SET sysstat2 = sysstat2 | ? WHERE id = ?",
             table_status2::kForeignKey, table.id);
  store_.run("UPDATE sysobjects SET sysstat2 = sysstat2 | ? WHERE id = ?",
             table_status2::kReferenced, referenced.tableId);
  store_.run("UPDATE sysindexes SET status2 = status2 | ? WHERE id = ? AND indid = ?",
             index_status2::kSupportsForeignKey, referenced.tableId, referenced.indid);
}

void TableWriter::removeReference(int constraintId) {
  int tableId = 0;
  int referencedId = 0;
  int indid = 0;
  store_.each(
      "SELECT tableid, reftabid, indexid FROM sysreferences WHERE constrid = ?",
      [&](const Statement& row) {
        tableId = row.number(0);
        referencedId = row.number(1);
        indid = row.number(2);
      },
      constraintId);
  store_.run("DELETE FROM sysreferences WHERE constrid = ?", constraintId);
  store_.run("DELETE FROM sysconstraints WHERE constrid = ?", constraintId);
  writer_.removeObject(constraintId);
  if (!store_.value("SELECT 1 FROM sysreferences WHERE tableid = ?", tableId)) {
    store_.run("UPDATE sysobjects SET sysstat2 = sysstat2 & ~? WHERE id = ?",
               table_status2::kForeignKey, tableId);
  }
  if (!store_.value("SELECT 1 FROM sysreferences WHERE reftabid = ?", referencedId)) {
    store_.run("UPDATE sysobjects SET sysstat2 = sysstat2 & ~? WHERE id = ?",
               table_status2::kReferenced, referencedId);
  }
  if (!store_.value("SELECT 1 FROM sysreferences WHERE reftabid = ? AND indexid = ?", referencedId,
                    indid)) {
    store_.run("UPDATE sysindexes SET status2 = status2 & ~? WHERE id = ? AND indid = ?",
               index_status2::kSupportsForeignKey, referencedId, indid);
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
  int colid = 0;
  if (column != nullptr) {
    const ColumnInfo info = writer_.catalog().column(table.id, columnName).value();
    colid = info.colid;
    if (info.ruleId == 0) {
      store_.run("UPDATE syscolumns SET domain = ? WHERE id = ? AND colid = ?", id, table.id,
                 colid);
    } else {
      store_.run("UPDATE syscolumns SET status = status | ? WHERE id = ? AND colid = ?",
                 column_status::kSeveralChecks, table.id, colid);
    }
  }
  store_.run("INSERT INTO sysconstraints(colid, constrid, tableid, status) VALUES (?, ?, ?, ?)",
             colid, id, table.id, constraint_status::kCheck);
  store_.run(
      "UPDATE sysobjects SET sysstat2 = CASE ckfirst WHEN 0 THEN sysstat2 ELSE sysstat2 | ?3 END,"
      " ckfirst = CASE ckfirst WHEN 0 THEN ?2 ELSE ckfirst END WHERE id = ?1",
      table.id, id, table_status2::kSeveralChecks);
}

void TableWriter::removeCheck(int tableId, int checkId) {
  const int colid =
      store_.value("SELECT colid FROM sysconstraints WHERE constrid = ?", checkId).value_or(0);
  store_.run("DELETE FROM sysconstraints WHERE constrid = ?", checkId);
  writer_.removeObject(checkId);
  // What is left decides the first check of the column and of the table, and the count marks.
  store_.run(
      "UPDATE syscolumns SET domain = ifnull((SELECT min(constrid) FROM sysconstraints"
      " WHERE tableid = ?1 AND colid = ?2 AND status & 0x80), CASE domain WHEN ?3 THEN 0 ELSE "
      "domain"
      " END), status = CASE WHEN (SELECT count(*) FROM sysconstraints WHERE tableid = ?1"
      " AND colid = ?2 AND status & 0x80) < 2 THEN status & ~16 ELSE status END"
      " WHERE id = ?1 AND colid = ?2 AND ?2 > 0",
      tableId, colid, checkId);
  store_.run(
      "UPDATE sysobjects SET ckfirst = ifnull((SELECT min(constrid) FROM sysconstraints"
      " WHERE tableid = ?1 AND status & 0x80), 0),"
      " sysstat2 = CASE WHEN (SELECT count(*) FROM sysconstraints WHERE tableid = ?1"
      " AND status & 0x80) < 2 THEN sysstat2 & ~4 ELSE sysstat2 END WHERE id = ?1",
      tableId);
}

}  // namespace kelvane::embedded
