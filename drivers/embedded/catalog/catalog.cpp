#include "drivers/embedded/catalog/catalog.h"

#include <algorithm>
#include <array>

#include "drivers/embedded/catalog/index_writer.h"
#include "drivers/embedded/catalog/keys.h"
#include "drivers/embedded/catalog/system_tables.h"
#include "drivers/embedded/catalog/writer.h"
#include "drivers/embedded/tsql/words.h"

namespace kelvane::embedded {

namespace {

constexpr int kLargestWidth = 16384;
constexpr int kLargestPrecision = 38;

ObjectInfo systemTableInfo(const SystemTable& table) {
  return {table.id, kDboUid, std::string(object_type::kSystemTable), std::string(table.name),
          std::string(table.name)};
}

/// What objectOf reads.
constexpr std::string_view kObjectColumns =
    "SELECT o.id, uid, type, name, r.id FROM sysobjects o LEFT JOIN row_tables r ON r.id = o.id";
const std::string kObjectByName = concat(kObjectColumns, " WHERE name = ? AND uid = ?");
const std::string kObjectById = concat(kObjectColumns, " WHERE o.id = ?");

ObjectInfo objectOf(const Statement& row) {
  ObjectInfo object{row.number(0), row.number(1), row.text(2), row.text(3), {}};
  if (object.type == object_type::kTable) {
    object.sqliteTable = row.isNull(4) ? std::string(kNoRows) : concat("t", object.id);
  }
  if (object.type == object_type::kSystemTable) object.sqliteTable = object.name;
  return object;
}

ColumnType storedType(int storageCode, int userType, int length, const Statement& row,
                      int precisionColumn) {
  ColumnType type;
  type.kind = kindOfStorage(storageCode, length);
  // Types that share a storage code are told apart by their own number.
  for (const SystemType& system : systemTypes()) {
    if (system.userType == userType && system.kind) type.kind = *system.kind;
  }
  type.storageCode = storageCode;
  type.userType = userType;
  type.length = length;
  if (!row.isNull(precisionColumn)) type.precision = row.number(precisionColumn);
  if (!row.isNull(precisionColumn + 1)) type.scale = row.number(precisionColumn + 1);
  return type;
}

}  // namespace

Catalog::Catalog(const CatalogOptions& options) : options_(options) {
  createSystemTables(store_, options);
}

Catalog::~Catalog() = default;

// objects

std::optional<ObjectInfo> Catalog::findObject(const tsql::ObjectName& name, const Caller& caller) {
  const bool inMaster =
      name.database == "master" || (name.database.empty() && caller.database == "master");
  if (inMaster && (name.owner.empty() || name.owner == "dbo")) {
    if (const SystemTable* table = findSystemTable(name.name)) return systemTableInfo(*table);
  }
  if (!name.database.empty() && name.database != caller.database) {
    return elsewhere(name);
  }

  std::optional<ObjectInfo> found;
  const auto lookUp = [&](int uid) {
    store_.each(
        kObjectByName, [&](const Statement& row) { found = objectOf(row); }, name.name, uid);
  };
  if (!name.owner.empty()) {
    if (const auto uid = userId(name.owner)) lookUp(*uid);
    return found;
  }
  lookUp(caller.uid);
  if (!found && caller.uid != kDboUid) lookUp(kDboUid);
  return found;
}

// The server's other databases hold nothing but system tables without rows.
std::optional<ObjectInfo> Catalog::elsewhere(const tsql::ObjectName& name) {
  const SystemTable* table = findSystemTable(name.name);
  const bool named = name.owner.empty() || name.owner == "dbo";
  if (table == nullptr || !named || !databaseId(name.database)) return std::nullopt;
  ObjectInfo object = systemTableInfo(*table);
  object.sqliteTable = concat("(SELECT rowid, * FROM ", table->name, " WHERE 0)");
  return object;
}

std::optional<ObjectInfo> Catalog::findObject(std::string_view text, const Caller& caller) {
  std::array<std::string, 3> parts;
  std::size_t count = 0;
  for (std::string_view rest = text;;) {
    if (count == parts.size()) return std::nullopt;
    const std::size_t dot = rest.find('.');
    parts[count++] = rest.substr(0, dot);
    if (dot == std::string_view::npos) break;
    rest.remove_prefix(dot + 1);
  }
  tsql::ObjectName name;
  name.name = parts[count - 1];
  name.name.erase(name.name.find_last_not_of(' ') + 1);
  if (count > 1) name.owner = parts[count - 2];
  if (count > 2) name.database = parts[0];
  return findObject(name, caller);
}

ObjectInfo Catalog::requireObject(const tsql::ObjectName& name, const Caller& caller) {
  if (auto object = findObject(name, caller)) return *object;
  std::string written;
  for (const std::string* part : {&name.server, &name.database, &name.owner}) {
    if (!part->empty() || !written.empty()) written += *part + ".";
  }
  throw CatalogWriter(*this, caller)
      .error(208, 16, written, name.name,
             " not found. Specify owner.objectname or use sp_help to check whether the object "
             "exists (sp_help may produce lots of output).");
}

std::optional<ObjectInfo> Catalog::objectById(int id) {
  std::optional<ObjectInfo> found;
  store_.each(
      kObjectById, [&](const Statement& row) { found = objectOf(row); }, id);
  if (!found) {
    if (const SystemTable* table = findSystemTable(id)) found = systemTableInfo(*table);
  }
  return found;
}

// columns

std::vector<ColumnInfo> Catalog::columns(int objectId) {
  std::vector<ColumnInfo> columns;
  if (const SystemTable* table = findSystemTable(objectId)) {
    for (const NamedColumn& column : table->columns) {
      columns.push_back(
          {column.name, static_cast<int>(columns.size()) + 1, column.type, column.name, 0, 0, {}});
    }
    return columns;
  }
  const auto object = objectById(objectId);
  const bool isRoutine =
      object && (object->type == object_type::kProcedure || object->type == object_type::kFunction);
  return readColumns(objectId, isRoutine ? 1 : 0, object && object->type == object_type::kTable);
}

std::vector<ColumnInfo> Catalog::parameters(int procedureId, int number) {
  return readColumns(procedureId, number, false);
}

std::vector<ColumnInfo> Catalog::readColumns(int objectId, int number, bool inTable) {
  std::vector<ColumnInfo> columns;
  store_.each(
      "SELECT name, colid, type, usertype, length, prec, scale, status, cdefault, domain,"
      " computedcol, CASE WHEN usertype <= 100 THEN type ELSE"
      " (SELECT t.type FROM systypes t WHERE t.usertype = syscolumns.usertype) END"
      " FROM syscolumns WHERE id = ? AND number = ? AND coalesce(status3, 0) & 1 = 0"
      " ORDER BY colid",
      [&](const Statement& row) {
        ColumnInfo column;
        column.name = row.text(0);
        column.colid = row.number(1);
        // A column has the type that its user type is based on, whether or not it takes null
        // itself.
        column.type = storedType(row.number(11), row.number(3), row.number(4), row, 5);
        column.type.storageCode = row.number(2);
        column.type.nullable = (row.number(7) & 8) != 0;
        column.type.identity = (row.number(7) & 128) != 0;
        if (inTable) column.sqliteColumn = concat("c", column.colid);
        column.defaultId = row.number(8);
        column.ruleId = row.number(9);
        if (!row.isNull(10)) column.computed = sourceText(row.number(10));
        columns.push_back(std::move(column));
      },
      objectId, number);
  return columns;
}

std::optional<ColumnInfo> Catalog::column(int objectId, std::string_view name) {
  auto all = columns(objectId);
  const auto found = std::ranges::find(all, name, &ColumnInfo::name);
  if (found == all.end()) return std::nullopt;
  return std::move(*found);
}

std::optional<std::string> Catalog::objectName(int id) {
  return store_.value<std::string>("SELECT name FROM sysobjects WHERE id = ?", id);
}

std::optional<std::string> Catalog::columnName(int objectId, int colid) {
  return store_.value<std::string>(
      "SELECT name FROM syscolumns WHERE id = ? AND number <= 1 AND colid = ?", objectId, colid);
}

std::optional<std::string> Catalog::indexColumn(int objectId, int indid, int key) {
  return store_.value<std::string>(
      "SELECT c.name FROM index_keys k JOIN syscolumns c ON c.id = k.id AND c.number = 0"
      " AND c.colid = k.colid WHERE k.id = ? AND k.indid = ? AND k.position = ?",
      objectId, indid, key);
}

bool Catalog::isDescendingKey(int objectId, int indid, int key) {
  return store_
             .value("SELECT descending FROM index_keys WHERE id = ? AND indid = ? AND position = ?",
                    objectId, indid, key)
             .value_or(0) != 0;
}

// users, logins, databases

std::optional<std::string> Catalog::userName(int uid) {
  return store_.value<std::string>("SELECT name FROM sysusers WHERE uid = ?", uid);
}

std::optional<int> Catalog::userId(std::string_view name) {
  // Nearly every name is one of the owner's.
  if (name == "dbo") return kDboUid;
  return store_.value("SELECT uid FROM sysusers WHERE name = ?", name);
}

std::optional<std::string> Catalog::loginName(int suid) {
  return store_.value<std::string>("SELECT name FROM syslogins WHERE suid = ?", suid);
}

std::optional<int> Catalog::loginId(std::string_view name) {
  return store_.value("SELECT suid FROM syslogins WHERE name = ?", name);
}

std::optional<int> Catalog::userOfLogin(int suid) {
  return store_.value("SELECT uid FROM sysusers WHERE suid = ?", suid);
}

std::optional<std::string> Catalog::databaseName(int dbid) {
  return store_.value<std::string>("SELECT name FROM sysdatabases WHERE dbid = ?", dbid);
}

std::optional<int> Catalog::databaseId(std::string_view name) {
  return store_.value("SELECT dbid FROM sysdatabases WHERE name = ?", name);
}

void Catalog::useDatabase(std::string_view name) {
  if (databaseId(name)) return;
  store_.run(
      "INSERT INTO sysdatabases(name, dbid, suid, crdate, status)"
      " SELECT ?, max(dbid) + 1, 1, ?, ? FROM sysdatabases",
      name, currentTime(), options_.allowNullsByDefault ? database_status::kAllowNulls : 0);
}

// types and texts

ColumnType Catalog::resolveType(const tsql::DataType& type, const Caller& caller) {
  const CatalogWriter writer(*this, caller);
  // Only the built-in names may come in any case: a user type is as case-sensitive as a table.
  const SystemType* system =
      type.owner.empty() ? findSystemType(tsql::lowerCase(type.name)) : nullptr;
  if (system != nullptr && options_.has(system->since)) {
    const TypeKind kind = *system->kind;
    const ColumnType declared = declaredType(kind, type.length, type.scale, false);
    const bool hasPrecision = kind == TypeKind::Numeric || kind == TypeKind::Decimal;
    const bool takesLength = hasPrecision || kind == TypeKind::Float ||
                             kind == TypeKind::Bigdatetime || kind == TypeKind::Bigtime ||
                             kind == TypeKind::Text ||
                             ((isCharacter(kind) || isBinary(kind)) && !isLong(kind) &&
                              kind != TypeKind::Sysname && kind != TypeKind::Timestamp);
    if (type.length && !takesLength) {
      writer.fail(2716, "Can't specify column width on type ", system->name, ".");
    }
    if (hasPrecision && (*declared.precision < 1 || *declared.precision > kLargestPrecision)) {
      writer.fail(2750, "Specified column precision ", *declared.precision,
                  " is not within the range of 1 to ", kLargestPrecision, ".");
    }
    if (hasPrecision && (*declared.scale < 0 || *declared.scale > *declared.precision)) {
      writer.fail(2751, "Specified column scale ", *declared.scale,
                  " is greater than the specified precision of ", *declared.precision, ".");
    }
    if (declared.length < 1 || declared.length > kLargestWidth) {
      writer.fail(2717, "The size (", declared.length,
                  ") exceeds the maximum allowed for any data type (", kLargestWidth, ").");
    }
    return declared;
  }
  std::optional<ColumnType> found;
  const auto lookUp = [&](int uid) {
    store_.each(
        "SELECT type, usertype, length, prec, scale, allownulls, ident FROM systypes"
        " WHERE name = ? AND uid = ? AND (usertype > 100 OR name = 'longsysname')",
        [&](const Statement& row) {
          found = storedType(row.number(0), row.number(1), row.number(2), row, 3);
          found->nullable = row.number(5) != 0;
          found->identity = row.number(6) != 0;
        },
        type.name, uid);
  };
  const auto owner = type.owner.empty() ? std::optional(caller.uid) : userId(type.owner);
  if (owner) lookUp(*owner);
  if (!found && type.owner.empty() && caller.uid != kDboUid) lookUp(kDboUid);
  if (!found) writer.fail(2715, "Can't find type '", type.name, "'.");
  return *found;
}

bool Catalog::allowsNullsByDefault(std::string_view database) {
  return store_
      .value("SELECT 1 FROM sysdatabases WHERE name = ? AND status & ?", database,
             database_status::kAllowNulls)
      .has_value();
}

std::string Catalog::sourceText(int objectId) {
  std::string text;
  store_.each(
      "SELECT text FROM syscomments WHERE id = ? ORDER BY number, colid2, colid",
      [&](const Statement& row) { text += row.view(0); }, objectId);
  return text;
}

SourceText Catalog::source(int objectId) { return {sourceText(objectId), isQuoted(objectId)}; }

SourceText Catalog::source(int procedureId, int number) {
  SourceText source{{}, isQuoted(procedureId)};
  store_.each(
      "SELECT text FROM syscomments WHERE id = ? AND number = ? ORDER BY colid2, colid",
      [&](const Statement& row) { source.text += row.view(0); }, procedureId, number);
  return source;
}

bool Catalog::isQuoted(int objectId) {
  return store_
      .value("SELECT 1 FROM syscomments WHERE id = ? AND status & ?", objectId,
             kQuotedIdentifiersOn)
      .has_value();
}

// rows of user tables

std::string Catalog::rowTable(int tableId) {
  ObjectInfo table = objectById(tableId).value();
  if (table.sqliteTable != kNoRows) return table.sqliteTable;
  Savepoint savepoint(store_);
  table.sqliteTable = concat("t", tableId);
  std::string definition;
  for (const ColumnInfo& column : columns(tableId)) {
    definition += concat(definition.empty() ? "" : ", ", column.sqliteColumn, " COLLATE RTRIM");
  }
  store_.execute(
      concat("CREATE TABLE ", rowStore(tableId), ".", table.sqliteTable, "(", definition, ")"));
  store_.run("INSERT INTO row_tables(id) VALUES (?)", tableId);
  const Caller caller;
  CatalogWriter writer(*this, caller);
  IndexWriter(writer).createAllUnique(table);
  savepoint.keep();
  return table.sqliteTable;
}

std::int64_t Catalog::nextIdentity(int tableId) {
  const auto colid =
      store_.value("SELECT colid FROM syscolumns WHERE id = ? AND status & 128", tableId);
  if (!colid) return 1;
  Statement highest = store_.prepare(
      concat("SELECT max(CAST(c", *colid, " AS INTEGER)) FROM ", objectById(tableId)->sqliteTable));
  return highest.step() ? highest.integer(0) + 1 : 1;
}

tsql::ServerError Catalog::duplicateKeyError(const StoreError& error, std::uint32_t line) {
  // "UNIQUE constraint failed: t32000114.c1, t32000114.c2" or "...: index 'n32000114_2'"
  const std::string_view text = error.what();
  std::vector<int> numbers;
  for (std::size_t at = text.find(": "); at < text.size(); ++at) {
    if (text[at] < '0' || text[at] > '9') continue;
    int number = 0;
    for (; at < text.size() && text[at] >= '0' && text[at] <= '9'; ++at) {
      number = number * 10 + (text[at] - '0');
    }
    numbers.push_back(number);
  }
  const int tableId = numbers.empty() ? 0 : numbers[0];
  const auto indexNamed = [&](int indid) {
    return store_
        .value<std::string>("SELECT name FROM sysindexes WHERE id = ? AND indid = ?", tableId,
                            indid)
        .value_or("");
  };
  const bool isNullGuard = text.find("index 'n") != text.npos && numbers.size() == 2;
  std::string index = isNullGuard ? indexNamed(numbers[1]) : "";
  store_.each(
      "SELECT name, indid FROM sysindexes WHERE id = ? AND status & 2 ORDER BY indid",
      [&](const Statement& row) {
        std::size_t matching = 0;
        std::size_t keys = 0;
        store_.each(
            "SELECT colid FROM index_keys WHERE id = ? AND indid = ? ORDER BY position",
            [&](const Statement& key) {
              ++keys;
              if (2 * keys <= numbers.size() && numbers[2 * keys - 1] == key.number(0)) ++matching;
            },
            tableId, row.number(1));
        if (index.empty() && matching == keys && 2 * keys == numbers.size()) index = row.text(0);
      },
      tableId);
  const std::string table = objectName(tableId).value_or("");
  if (!index.empty()) return duplicateError(Differing::keys, table, index, line);
  return duplicateError(Differing::rows, table, indexNamed(kClusteredIndid), line);
}

}  // namespace kelvane::embedded
