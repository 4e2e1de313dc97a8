#include "drivers/embedded/catalog/catalog.h"

#include <algorithm>
#include <array>

#include "drivers/embedded/catalog/databases.h"
#include "drivers/embedded/catalog/keys.h"
#include "drivers/embedded/catalog/name_text.h"
#include "drivers/embedded/catalog/status_bits.h"
#include "drivers/embedded/catalog/stored_indexes.h"
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

ObjectInfo objectOf(const SysObject& row) {
  ObjectInfo object{row.id, row.uid, row.type, row.name, {}};
  if (object.type == object_type::kTable) {
    object.sqliteTable = row.hasRowTable ? concat("t", object.id) : std::string(kNoRows);
  }
  if (object.type == object_type::kSystemTable) object.sqliteTable = object.name;
  return object;
}

/// Columns and types of systypes share the names of these members.
template <class Row>
ColumnType storedType(int storageCode, const Row& row) {
  ColumnType type;
  type.kind = kindOfStorage(storageCode, row.length);
  // Types that share a storage code are told apart by their own number.
  if (row.usertype <= kLargestSystemType) {
    for (const SystemType& system : systemTypes()) {
      if (system.userType == row.usertype && system.kind) type.kind = *system.kind;
    }
  }
  type.storageCode = storageCode;
  type.userType = row.usertype;
  type.length = row.length;
  type.precision = row.prec;
  type.scale = row.scale;
  return type;
}

std::string textOf(const SystemRecords& records, int objectId) {
  std::string text;
  for (const Slot slot : records.comments.where<&SysComment::id>(objectId)) {
    text += records.comments[slot].text;
  }
  return text;
}

}  // namespace

UnknownDatabase::UnknownDatabase(const std::string& name, std::uint32_t line)
    : ServerError(message::unknownDatabase, line, name), database(name) {}

Catalog::Catalog(const CatalogOptions& options) : options_(options) {
  databases_ = std::make_unique<Databases>(store_, options);
}

Catalog::~Catalog() = default;

SystemRecords& Catalog::records() { return databases_->current().records; }

SystemRecords& Catalog::recordsIn(std::string_view database) {
  Databases::Entry* entry = databases_->find(database);
  return entry == nullptr ? records() : entry->records;
}

SystemRecords& Catalog::recordsOf(int objectId) { return databases_->of(objectId).records; }

const std::string& Catalog::databaseOf(int objectId) { return databases_->of(objectId).name; }

void Catalog::enter(std::string_view database) { databases_->enter(database); }

void Catalog::removeDatabase(std::string_view name) {
  if (Databases::Entry* database = databases_->find(name)) databases_->remove(*database);
}

std::vector<SysReference> Catalog::referencesTo(int tableId) const {
  return databases_->referencesTo(tableId);
}

bool Catalog::isFreeId(int id) const { return databases_->isFree(id); }

Caller Catalog::callerIn(std::string_view database, const Caller& caller) {
  Caller there = caller;
  if (database.empty() || database == caller.database) return there;
  there.database = database;
  if (caller.uid == kDboUid) return there;
  const SysUser* user = recordsIn(caller.database).users.first<&SysUser::uid>(caller.uid);
  const SysUser* same =
      user == nullptr ? nullptr : recordsIn(database).users.first<&SysUser::suid>(user->suid);
  there.uid = same == nullptr ? kGuestUid : same->uid;
  return there;
}

std::vector<std::string> Catalog::databasesWithObjects() {
  std::vector<std::string> names;
  databases_->each([&](const Databases::Entry& entry) {
    bool hasObjects = false;
    for (Slot slot = 0; slot < entry.records.objects.slots() && !hasObjects; ++slot) {
      hasObjects = entry.records.objects.holds(slot) &&
                   entry.records.objects[slot].type != object_type::kSystemTable;
    }
    if (hasObjects) names.push_back(entry.name);
  });
  // What a script leaves in tempdb is not what it is about.
  if (names.size() > 1) std::erase(names, "tempdb");
  return names;
}

// objects

std::optional<ObjectInfo> Catalog::findObject(const tsql::ObjectName& name, const Caller& caller) {
  const std::string& databaseName = name.database.empty() ? caller.database : name.database;
  Databases::Entry* database = databases_->find(databaseName);
  if (database == nullptr) return std::nullopt;
  if (const SystemTable* table = databases_->tables().find(name.name)) {
    const bool isThere = !table->inMaster || database->name == "master";
    if (isThere && (name.owner.empty() || name.owner == "dbo")) {
      ObjectInfo object = systemTableInfo(*table);
      object.sqliteTable = databases_->shownRows(*database, *table);
      return object;
    }
  }
  std::optional<ObjectInfo> found;
  const SystemRecords& records = database->records;
  const auto lookUp = [&](int uid) {
    if (const SysObject* object = records.object(name.name, uid)) found = objectOf(*object);
  };
  if (!name.owner.empty()) {
    const SysUser* owner = records.users.first<&SysUser::name>(name.owner);
    if (owner != nullptr) lookUp(owner->uid);
    return found;
  }
  const int uid = callerIn(databaseName, caller).uid;
  lookUp(uid);
  if (!found && uid != kDboUid) lookUp(kDboUid);
  return found;
}

std::optional<tsql::ObjectName> Catalog::objectName(std::string_view text,
                                                    const Caller& caller) const {
  std::vector<std::string> parts = nameParts(text, readsQuotedNames(caller));
  constexpr std::size_t kMostParts = 3;
  if (parts.size() > kMostParts) return std::nullopt;
  tsql::ObjectName name;
  std::string* const slots[] = {&name.name, &name.owner, &name.database};
  std::size_t slot = 0;
  for (auto part = parts.rbegin(); part != parts.rend(); ++part) *slots[slot++] = std::move(*part);
  return name;
}

std::optional<ObjectInfo> Catalog::findObject(std::string_view text, const Caller& caller) {
  const auto name = objectName(text, caller);
  return name ? findObject(*name, caller) : std::nullopt;
}

bool Catalog::readsQuotedNames(const Caller& caller) const {
  return caller.quotedIdentifier && options_.release != Release::ase125;
}

ObjectInfo Catalog::requireObject(const tsql::ObjectName& name, const Caller& caller) {
  if (auto object = findObject(name, caller)) return *object;
  if (!name.database.empty() && databases_->find(name.database) == nullptr) {
    throw UnknownDatabase(name.database, caller.line);
  }
  std::string written;
  for (const std::string* part : {&name.server, &name.database, &name.owner}) {
    if (!part->empty() || !written.empty()) written += *part + ".";
  }
  CatalogWriter(*this, caller).fail(message::objectNotFound, written + name.name);
}

std::optional<ObjectInfo> Catalog::objectById(int id) {
  if (const SystemTable* table = databases_->tables().find(id)) return systemTableInfo(*table);
  const Databases::Entry* owner = databases_->findOwner(id);
  return owner == nullptr ? std::nullopt : std::optional(objectOf(*owner->records.object(id)));
}

// columns

std::vector<ColumnInfo> Catalog::columns(int objectId) {
  std::vector<ColumnInfo> columns;
  if (const SystemTable* table = databases_->tables().find(objectId)) {
    for (const NamedColumn& column : table->columns) {
      columns.push_back(
          {column.name, static_cast<int>(columns.size()) + 1, column.type, column.name, 0, {}});
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

ColumnInfo Catalog::columnOf(const SystemRecords& records, const SysColumn& row, bool inTable) {
  ColumnInfo column;
  column.name = row.name;
  column.colid = row.colid;
  // A column has the type that its user type is based on, whether or not it takes null itself.
  int base = row.type;
  if (row.usertype > kLargestSystemType) {
    const SysType* type = records.types.first<&SysType::usertype>(row.usertype);
    base = type == nullptr ? 0 : type->type;
  }
  column.type = storedType(base, row);
  column.type.storageCode = row.type;
  column.type.nullable = (row.status & column_status::kNullable) != 0;
  column.type.identity = (row.status & column_status::kIdentity) != 0;
  if (inTable) column.sqliteColumn = concat("c", column.colid);
  column.defaultId = row.cdefault;
  if (row.computedcol) column.computed = textOf(records, *row.computedcol);
  return column;
}

std::vector<ColumnInfo> Catalog::readColumns(int objectId, int number, bool inTable) {
  SystemRecords& records = recordsOf(objectId);
  std::vector<ColumnInfo> columns;
  for (const Slot slot : records.columns.where<&SysColumn::id>(objectId)) {
    const SysColumn& row = records.columns[slot];
    if (row.number == number && !row.isHidden()) columns.push_back(columnOf(records, row, inTable));
  }
  return columns;
}

std::optional<ColumnInfo> Catalog::column(int objectId, std::string_view name) {
  SystemRecords& records = recordsOf(objectId);
  const SysObject* object = records.object(objectId);
  if (object != nullptr && object->type == object_type::kTable) {
    const SysColumn* row = records.column(objectId, name);
    if (row == nullptr || row->isHidden()) return std::nullopt;
    return columnOf(records, *row, true);
  }
  auto all = columns(objectId);
  const auto found = std::ranges::find(all, name, &ColumnInfo::name);
  if (found == all.end()) return std::nullopt;
  return std::move(*found);
}

std::optional<std::string> Catalog::objectName(int id) {
  SystemRecords& records = recordsOf(id);
  const SysObject* object = records.object(id);
  return object == nullptr ? std::nullopt : std::optional(object->name);
}

std::optional<std::string> Catalog::columnName(int objectId, int colid) {
  SystemRecords& records = recordsOf(objectId);
  for (const Slot slot : records.columns.where<&SysColumn::id>(objectId)) {
    const SysColumn& column = records.columns[slot];
    if (column.number <= 1 && column.colid == colid) return column.name;
  }
  return std::nullopt;
}

const SysIndexKey* Catalog::indexKey(int objectId, int indid, int key) {
  SystemRecords& records = recordsOf(objectId);
  const SysIndex* index = records.index(objectId, indid);
  if (index == nullptr || key < 1 || static_cast<std::size_t>(key) > index->keys.size()) {
    return nullptr;
  }
  return &index->keys[static_cast<std::size_t>(key) - 1];
}

std::optional<std::string> Catalog::indexColumn(int objectId, int indid, int key) {
  const SysIndexKey* found = indexKey(objectId, indid, key);
  return found == nullptr ? std::nullopt : columnName(objectId, found->colid);
}

bool Catalog::isDescendingKey(int objectId, int indid, int key) {
  const SysIndexKey* found = indexKey(objectId, indid, key);
  return found != nullptr && found->descending;
}

// users, logins, databases

std::optional<std::string> Catalog::userName(int uid) {
  const SysUser* user = records().users.first<&SysUser::uid>(uid);
  return user == nullptr ? std::nullopt : std::optional(user->name);
}

std::optional<int> Catalog::userId(std::string_view name) {
  const SysUser* user = records().users.first<&SysUser::name>(name);
  return user == nullptr ? std::nullopt : std::optional(user->uid);
}

std::optional<int> Catalog::userNamed(std::string_view name) {
  constexpr int kGuestSuid = -1;
  const auto known = userId(name);
  if (known || name != kGuestName) return known;
  records().users.insert({kGuestSuid, kGuestUid, kPublicUid, std::string(name), std::nullopt});
  return kGuestUid;
}

std::optional<std::string> Catalog::loginName(int suid) {
  return store_.value<std::string>("SELECT name FROM syslogins WHERE suid = ?", suid);
}

std::optional<int> Catalog::loginId(std::string_view name) {
  return store_.value("SELECT suid FROM syslogins WHERE name = ?", name);
}

std::optional<int> Catalog::userOfLogin(int suid) {
  const SysUser* user = records().users.first<&SysUser::suid>(suid);
  return user == nullptr ? std::nullopt : std::optional(user->uid);
}

std::optional<std::string> Catalog::databaseName(int dbid) {
  return store_.value<std::string>("SELECT name FROM sysdatabases WHERE dbid = ?", dbid);
}

std::optional<int> Catalog::databaseId(std::string_view name) {
  return store_.value("SELECT dbid FROM sysdatabases WHERE name = ?", name);
}

void Catalog::useDatabase(std::string_view name) {
  if (!databaseId(name) && !databases_->nameFirst(name)) databases_->add(name);
}

bool Catalog::wasRemoved(std::string_view name) const { return databases_->wasRemoved(name); }

void Catalog::renameDatabase(std::string_view from, std::string_view to) {
  databases_->rename(*databases_->find(from), to);
}

const std::string& Catalog::currentDatabase() const { return databases_->current().name; }

// types and texts

ColumnType Catalog::resolveType(const tsql::DataType& type, const Caller& caller) {
  SystemRecords& records = recordsIn(caller.database);
  const CatalogWriter writer(*this, caller);
  // A type of release 15, which a catalog of no particular release has no row for.
  if (!options_.release && type.owner.empty() && type.name == "longsysname") {
    if (type.length) writer.fail(message::widthNotAllowed, type.name);
    return declaredType(TypeKind::Varchar, static_cast<int>(options_.longestName()), std::nullopt,
                        false);
  }
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
      writer.fail(message::widthNotAllowed, system->name);
    }
    if (hasPrecision && (*declared.precision < 1 || *declared.precision > kLargestPrecision)) {
      writer.fail(message::precisionOutOfRange, *declared.precision, kLargestPrecision);
    }
    if (hasPrecision && (*declared.scale < 0 || *declared.scale > *declared.precision)) {
      writer.fail(message::scaleOutOfRange, *declared.scale, *declared.precision);
    }
    if (declared.length < 1 || declared.length > kLargestWidth) {
      writer.fail(message::sizeTooLarge, declared.length, kLargestWidth);
    }
    return declared;
  }
  std::optional<ColumnType> found;
  const auto lookUp = [&](int uid) {
    for (const Slot slot : records.types.where<&SysType::name>(type.name)) {
      const SysType& row = records.types[slot];
      const bool isOwn = row.usertype > kLargestSystemType || row.name == "longsysname";
      if (row.uid != uid || !isOwn) continue;
      found = storedType(row.type, row);
      found->nullable = row.allownulls != 0;
      found->identity = row.ident.value_or(0) != 0;
    }
  };
  const auto owner = type.owner.empty() ? std::optional(caller.uid) : userId(type.owner);
  if (owner) lookUp(*owner);
  if (!found && type.owner.empty() && caller.uid != kDboUid) lookUp(kDboUid);
  if (!found) writer.fail(message::typeNotFound, type.name);
  return *found;
}

bool Catalog::allowsNullsByDefault(std::string_view database) {
  return store_
      .value("SELECT 1 FROM sysdatabases WHERE name = ? AND status & ?", database,
             database_status::kAllowNulls)
      .has_value();
}

bool Catalog::allowsDefinitionsInTransaction(std::string_view database) {
  return !databases_->wasCreated(database) ||
         store_
             .value("SELECT 1 FROM sysdatabases WHERE name = ? AND status & ?", database,
                    database_status::kDdlInTran)
             .has_value();
}

std::string Catalog::sourceText(int objectId) { return textOf(recordsOf(objectId), objectId); }

SourceText Catalog::source(int objectId) { return {sourceText(objectId), isQuoted(objectId)}; }

SourceText Catalog::source(int procedureId, int number) {
  SystemRecords& records = recordsOf(procedureId);
  SourceText source{{}, isQuoted(procedureId)};
  for (const Slot slot : records.comments.where<&SysComment::id>(procedureId)) {
    const SysComment& piece = records.comments[slot];
    if (piece.number == number) source.text += piece.text;
  }
  return source;
}

bool Catalog::isQuoted(int objectId) {
  SystemRecords& records = recordsOf(objectId);
  return std::ranges::any_of(
      records.comments.where<&SysComment::id>(objectId), [&](const Slot slot) {
        return (records.comments[slot].status.value_or(0) & kQuotedIdentifiersOn) != 0;
      });
}

// rows of user tables

std::string Catalog::rowTable(int tableId) {
  SystemRecords& records = recordsOf(tableId);
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
  records.changeObject(tableId, [](SysObject& row) { row.hasRowTable = true; });
  const Caller caller{kDboUid, databaseOf(tableId)};
  CatalogWriter writer(*this, caller);
  StoredIndexes(writer).createAll(table);
  savepoint.keep();
  return table.sqliteTable;
}

std::int64_t Catalog::nextIdentity(int tableId) {
  SystemRecords& records = recordsOf(tableId);
  const SysColumn* identity = records.identityColumn(tableId);
  if (identity == nullptr) return 1;
  Statement highest =
      store_.prepare(concat("SELECT max(CAST(c", identity->colid, " AS INTEGER)) FROM ",
                            objectById(tableId)->sqliteTable));
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
  const SystemRecords& records = recordsOf(tableId);
  const auto indexNamed = [&](int indid) {
    const SysIndex* index = records.index(tableId, indid);
    return index == nullptr ? std::string() : index->name;
  };
  const bool isNullGuard = text.find("index 'n") != text.npos && numbers.size() == 2;
  std::string index = isNullGuard ? indexNamed(numbers[1]) : "";
  std::vector<int> colids;
  colids.reserve(numbers.size());
  for (std::size_t i = 1; i < numbers.size(); i += 2) colids.push_back(numbers[i]);
  for (const Slot slot : records.indexes.where<&SysIndex::id>(tableId)) {
    const SysIndex& row = records.indexes[slot];
    const bool isUnique = (row.status & index_status::kUnique) != 0;
    const bool matches = std::ranges::equal(row.keys, colids, {}, &SysIndexKey::colid);
    if (index.empty() && isUnique && matches) index = row.name;
  }
  const std::string table = objectName(tableId).value_or("");
  if (!index.empty()) return duplicateError(Differing::keys, table, index, line);
  return duplicateError(Differing::rows, table, indexNamed(kClusteredIndid), line);
}

}  // namespace kelvane::embedded
