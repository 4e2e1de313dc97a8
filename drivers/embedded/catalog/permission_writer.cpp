#include "drivers/embedded/catalog/permission_writer.h"

#include <algorithm>
#include <iterator>

#include "drivers/embedded/catalog/granular_privileges.h"
#include "drivers/embedded/catalog/role_writer.h"
#include "drivers/embedded/catalog/system_tables.h"
#include "drivers/embedded/tsql/ast/permissions.h"

namespace kelvane::embedded {

namespace {

namespace protect_type {
constexpr int kGrantOption = 0;
constexpr int kGrant = 1;
constexpr int kRevoke = 2;
}  // namespace protect_type

constexpr unsigned kOnTables = 1;
constexpr unsigned kOnViews = 2;
constexpr unsigned kOnProcedures = 4;
constexpr unsigned kOnKeys = 8;

struct ObjectAction {
  std::string_view name;
  int action;
  bool byColumn;
  unsigned objects;
};

constexpr ObjectAction kObjectActions[] = {
    {"select", 193, true, kOnTables | kOnViews | kOnKeys},
    {"decrypt", 354, true, kOnTables | kOnViews},
    {"insert", 195, false, kOnTables | kOnViews},
    {"delete", 196, false, kOnTables | kOnViews},
    {"update", 197, true, kOnTables | kOnViews},
    {"references", 151, true, kOnTables},
    {"execute", 224, false, kOnProcedures},
};

struct Action {
  std::string_view name;
  int action;
  bool inAll;  ///< part of `grant all` without an object
  Release since = Release::ase125;
};

constexpr Action kCommands[] = {
    {"create table", 198, true},
    {"create view", 207, true},
    {"create procedure", 222, true},
    {"create default", 233, true},
    {"create rule", 236, true},
    {"create database", 203, false},
    {"create trigger", 221, false},
    {"dump database", 228, false},
    {"dump transaction", 235, false},
    {"set proxy", 167, false},
    {"create encryption key", 353, false},
    // The number is one of this catalog: that of the server is not published.
    {"create function", 1001, false, Release::ase15},
};

/// On a table as well, but never part of `all`.
constexpr Action kTableCommands[] = {{"delete statistics", 282, false},
                                     {"truncate table", 320, false},
                                     {"update statistics", 326, false},
                                     {"transfer table", 368, false}};

struct Spelling {
  std::string_view written;
  std::string_view name;
};

constexpr Spelling kSpellings[] = {
    {"exec", "execute"},
    {"create proc", "create procedure"},
    {"dump tran", "dump transaction"},
    {"set session authorization", "set proxy"},
};

std::string_view properName(std::string_view written) {
  const auto* found = std::ranges::find(kSpellings, written, &Spelling::written);
  return found == std::end(kSpellings) ? written : found->name;
}

template <class Entry, std::size_t n>
const Entry* find(const Entry (&table)[n], std::string_view name) {
  const auto* found = std::ranges::find(table, properName(name), &Entry::name);
  return found == std::end(table) ? nullptr : found;
}

std::optional<int> granularAction(std::string_view name) {
  const auto names = granularPrivileges();
  const auto found = std::ranges::lower_bound(names, name);
  if (found == names.end() || *found != name) return std::nullopt;
  return kFirstGranularAction + static_cast<int>(found - names.begin());
}

unsigned objectsOf(std::string_view type) {
  if (type == object_type::kTable || type == object_type::kSystemTable) return kOnTables;
  if (type == object_type::kEncryptionKey) return kOnKeys;
  const bool isView = type == object_type::kView || type == object_type::kPrecomputed;
  return isView ? kOnViews : kOnProcedures;
}

// bitmaps: bit n is colid n

constexpr std::size_t kBitsOfByte = 8;

std::byte bitOf(std::size_t number) { return std::byte{1} << (number % kBitsOfByte); }

void setBit(Blob& bits, std::size_t number) {
  if (bits.size() <= number / kBitsOfByte) bits.resize(number / kBitsOfByte + 1);
  bits[number / kBitsOfByte] |= bitOf(number);
}

bool hasBit(const Blob& bits, std::size_t number) {
  return number / kBitsOfByte < bits.size() &&
         (bits[number / kBitsOfByte] & bitOf(number)) != std::byte{0};
}

/// Bit 0 stands for every column.
Blob wholeTable() { return {std::byte{1}}; }
bool isWholeTable(const Blob& bits) { return hasBit(bits, 0); }

Blob united(Blob a, const Blob& b) {
  if (isWholeTable(a) || isWholeTable(b)) return wholeTable();
  a.resize(std::max(a.size(), b.size()));
  for (std::size_t i = 0; i < b.size(); ++i) a[i] |= b[i];
  return a;
}

Blob without(Blob a, const Blob& b) {
  for (std::size_t i = 0; i < std::min(a.size(), b.size()); ++i) a[i] &= ~b[i];
  while (!a.empty() && a.back() == std::byte{0}) a.pop_back();
  return a;
}

/// Without the column; those behind it are one number lower.
Blob withoutColumn(const Blob& bits, std::size_t colid) {
  Blob left;
  for (std::size_t number = 1; number < bits.size() * kBitsOfByte; ++number) {
    if (number != colid && hasBit(bits, number)) setBit(left, number < colid ? number : number - 1);
  }
  return left;
}

constexpr std::string_view kRevokedNothing = "the revoke of what was not granted";

}  // namespace

// what a statement names

std::string_view PermissionWriter::apply(const tsql::Permission& statement) {
  if (!statement.roles.empty()) {
    return applyRoles(statement) ? "" : kRevokedNothing;
  }
  std::optional<ObjectInfo> object;
  if (!statement.object.empty()) {
    object = writer_.catalog().requireObject(statement.object, writer_.caller());
  }
  int grantor = writer_.caller().uid;
  if (grantor == kDboUid && object) grantor = object->uid;
  if (!statement.grantor.empty()) {
    const auto uid = writer_.catalog().userNamed(statement.grantor);
    if (!uid) writer_.fail(message::unknownGrantee, statement.grantor);
    grantor = *uid;
  }
  const std::vector<Right> rights = rightsOf(statement, object);
  std::optional<int> predicate;
  if (statement.predicate) predicate = addPredicate(statement, *object);
  bool isOfOwner = false, hasEffect = statement.action == tsql::PermissionAction::Grant;
  for (const int uid : granteesOf(statement)) {
    for (const Right& right : rights) {
      // An owner has every right without a row.
      if (object && uid == object->uid) {
        isOfOwner = true;
        continue;
      }
      if (predicate) {
        grantRows(right, uid, grantor,
                  statement.grantOption ? protect_type::kGrantOption : protect_type::kGrant,
                  *predicate);
      } else if (statement.action == tsql::PermissionAction::Grant) {
        grant(right, uid, grantor, statement.grantOption);
      } else if (statement.grantOption) {
        hasEffect |= revokeGrantOption(right, uid, grantor);
      } else {
        hasEffect |= revoke(right, uid, grantor, statement.cascade);
      }
    }
  }
  // The same may have been granted before.
  if (predicate) writer_.removePredicate(object->id, *predicate);
  if (isOfOwner) return "a permission of the object's owner";
  return hasEffect ? "" : kRevokedNothing;
}

int PermissionWriter::addPredicate(const tsql::Permission& statement, const ObjectInfo& object) {
  if (object.type != object_type::kTable)
    writer_.fail(message::privilegeNotOfObject, "where", object.name);
  int id = 0;
  if (statement.predicateName.empty()) {
    id = writer_.addUnnamedObject(object, {}, object_type::kPredicate);
  } else {
    writer_.requireFreeName(statement.predicateName, object.uid);
    id = writer_.addObject(
        {.name = statement.predicateName, .type = object_type::kPredicate, .uid = object.uid});
  }
  writer_.saveText(id, 0, statement.predicate->in(text_));
  return id;
}

bool PermissionWriter::applyRoles(const tsql::Permission& statement) {
  RoleWriter roles(writer_);
  bool hasEffect = statement.action == tsql::PermissionAction::Grant;
  for (const std::string& role : statement.roles) {
    for (const std::string& grantee : statement.grantees) {
      if (statement.action == tsql::PermissionAction::Grant) {
        roles.grant(role, grantee);
      } else {
        hasEffect |= roles.revoke(role, grantee);
      }
    }
  }
  return hasEffect;
}

std::vector<PermissionWriter::Right> PermissionWriter::rightsOf(
    const tsql::Permission& statement, const std::optional<ObjectInfo>& object) {
  std::vector<Right> rights;
  for (const tsql::Privilege& privilege : statement.privileges) {
    const auto& columns = privilege.columns.empty() ? statement.columns : privilege.columns;
    auto some = object ? objectRights(*object, privilege, columns) : commandRights(privilege);
    std::ranges::move(some, std::back_inserter(rights));
  }
  return rights;
}

std::vector<PermissionWriter::Right> PermissionWriter::commandRights(
    const tsql::Privilege& privilege) {
  std::vector<Right> rights;
  if (privilege.name == "all") {
    for (const Action& command : kCommands) {
      if (command.inAll) rights.push_back({0, command.action, {}});
    }
    return rights;
  }
  const Action* command = find(kCommands, privilege.name);
  if (command == nullptr) command = find(kTableCommands, privilege.name);
  const bool isGranular = writer_.catalog().options().has(Release::ase15);
  if (const auto action = granularAction(privilege.name);
      command == nullptr && action && isGranular) {
    return {{0, *action, {}}};
  }
  if (command == nullptr || !writer_.catalog().options().has(command->since)) {
    writer_.fail(message::unknownPrivilege, privilege.name);
  }
  rights.push_back({0, command->action, {}});
  return rights;
}

std::vector<PermissionWriter::Right> PermissionWriter::objectRights(
    const ObjectInfo& object, const tsql::Privilege& privilege,
    const std::vector<std::string>& columns) {
  const unsigned kind = objectsOf(object.type);
  const std::optional<Blob> bitmap =
      kind == kOnProcedures ? std::nullopt : std::optional(bitmapOf(object, columns));
  std::vector<Right> rights;
  const auto add = [&](const ObjectAction& action) {
    rights.push_back({object.id, action.action, action.byColumn ? bitmap : std::nullopt});
  };
  if (privilege.name == "all") {
    for (const ObjectAction& action : kObjectActions) {
      const bool isInAll = action.name != "decrypt" && (action.objects & kind) != 0;
      if (isInAll && (columns.empty() || action.byColumn)) add(action);
    }
    return rights;
  }
  if (const Action* command = find(kTableCommands, privilege.name)) {
    rights.push_back({object.id, command->action, {}});
    return rights;
  }
  const bool isIdentity = privilege.name.starts_with("identity_");
  if (const auto number = granularAction(privilege.name);
      isIdentity && number && kind == kOnTables && columns.empty()) {
    return {{object.id, *number, {}}};
  }
  const ObjectAction* action = find(kObjectActions, privilege.name);
  const bool fits = action != nullptr && (action->objects & kind) != 0;
  if (!fits || (!columns.empty() && !action->byColumn)) {
    writer_.fail(message::privilegeNotOfObject, privilege.name, object.name);
  }
  add(*action);
  return rights;
}

Blob PermissionWriter::bitmapOf(const ObjectInfo& object, const std::vector<std::string>& columns) {
  if (columns.empty()) return wholeTable();
  const auto all = writer_.catalog().columns(object.id);
  Blob bits;
  for (const std::string& name : columns) {
    const auto found = std::ranges::find(all, name, &ColumnInfo::name);
    if (found == all.end()) writer_.fail(message::unknownPermissionColumn, name);
    setBit(bits, static_cast<std::size_t>(found->colid));
  }
  return bits;
}

Blob PermissionWriter::allColumns(int objectId) {
  Blob bits;
  for (const ColumnInfo& column : writer_.catalog().columns(objectId)) {
    setBit(bits, static_cast<std::size_t>(column.colid));
  }
  return bits;
}

std::vector<int> PermissionWriter::granteesOf(const tsql::Permission& statement) {
  std::vector<int> uids;
  for (const std::string& name : statement.grantees) {
    auto uid = writer_.catalog().userNamed(name);
    if (!uid) uid = RoleWriter(writer_).uidOf(name);
    if (!uid) writer_.fail(message::unknownGrantee, name);
    const bool isGroup = *uid == kPublicUid || *uid >= kFirstGroupUid;
    if (isGroup && statement.grantOption && statement.action == tsql::PermissionAction::Grant) {
      writer_.fail(message::grantOptionForGroup, name);
    }
    uids.push_back(*uid);
  }
  return uids;
}

// rows

std::vector<PermissionWriter::Stored> PermissionWriter::rows(const Right& right, int uid) {
  std::vector<Stored> found;
  writer_.records().protects.each<&SysProtect::id>(
      right.objectId, [&](Slot, const SysProtect& row) {
        if (row.action == right.action && row.uid == uid && !row.predicate)
          found.push_back({row.protecttype, row.grantor, row.columns});
      });
  return found;
}

void PermissionWriter::store(const Right& right, int uid, const Stored& row) {
  erase(right, uid, row);
  store_.run(
      "INSERT INTO sysprotects(id, uid, action, protecttype, columns, grantor)"
      " VALUES (?, ?, ?, ?, ?, ?)",
      right.objectId, uid, right.action, row.protectType, row.columns, row.grantor);
}

void PermissionWriter::erase(const Right& right, int uid, const Stored& row) {
  auto& protects = writer_.records().protects;
  protects.each<&SysProtect::id>(right.objectId, [&](Slot slot, const SysProtect& one) {
    if (one.action == right.action && one.uid == uid && one.grantor == row.grantor &&
        one.protecttype == row.protectType && !one.predicate)
      protects.erase(slot);
  });
}

// Grants of some rows stand beside one another and beside those of all rows.
void PermissionWriter::grantRows(const Right& right, int uid, int grantor, int protectType,
                                 int predicate) {
  auto& protects = writer_.records().protects;
  bool isThere = false;
  protects.each<&SysProtect::id>(right.objectId, [&](Slot, const SysProtect& one) {
    isThere = isThere ||
              (one.uid == uid && one.action == right.action && one.protecttype == protectType &&
               one.columns == right.columns && one.grantor == grantor && one.predicate &&
               writer_.textOf(*one.predicate) == writer_.textOf(predicate));
  });
  if (!isThere)
    protects.insert(
        {right.objectId, uid, right.action, protectType, right.columns, grantor, predicate});
}

bool PermissionWriter::revokeRows(const Right& right, int uid, int grantor) {
  std::vector<int> predicates;
  auto& protects = writer_.records().protects;
  protects.each<&SysProtect::id>(right.objectId, [&](Slot slot, const SysProtect& one) {
    if (one.action != right.action || one.uid != uid || one.grantor != grantor || !one.predicate)
      return;
    predicates.push_back(*one.predicate);
    protects.erase(slot);
  });
  for (const int predicate : predicates) writer_.removePredicate(right.objectId, predicate);
  return !predicates.empty();
}

// A column is granted with or without the option, never both; a whole table may be granted beside
// columns with the option, because it also means columns that are added later.
void PermissionWriter::grant(const Right& right, int uid, int grantor, bool grantOption) {
  std::optional<Stored> granted = Stored{
      grantOption ? protect_type::kGrantOption : protect_type::kGrant, grantor, right.columns};
  for (Stored& row : rows(right, uid)) {
    if (row.protectType == protect_type::kRevoke) {
      // What is granted now is no longer withheld.
      erase(right, uid, row);
      if (!right.columns || !row.columns || isWholeTable(*right.columns)) continue;
      const Blob withheld = isWholeTable(*row.columns) ? allColumns(right.objectId) : *row.columns;
      row.columns = without(withheld, *right.columns);
      if (!row.columns->empty()) store(right, uid, row);
    } else if (row.grantor != grantor || !granted) {
      continue;
    } else if (row.protectType == granted->protectType) {
      if (granted->columns && row.columns) {
        granted->columns = united(*granted->columns, *row.columns);
      }
    } else if (grantOption) {
      erase(right, uid, row);
      if (const auto rest = beyond(row, right.columns)) store(right, uid, *rest);
    } else {
      granted = beyond(*granted, row.columns);
    }
  }
  if (granted) store(right, uid, *granted);
}

std::optional<PermissionWriter::Stored> PermissionWriter::beyond(
    Stored row, const std::optional<Blob>& columns) {
  if (!row.columns || !columns || isWholeTable(*columns)) return std::nullopt;
  if (!isWholeTable(*row.columns)) row.columns = without(*row.columns, *columns);
  if (row.columns->empty()) return std::nullopt;
  return row;
}

// What others granted stays.
bool PermissionWriter::revoke(const Right& right, int uid, int grantor, bool cascade) {
  bool hadOwn = false, hasEffect = revokeRows(right, uid, grantor);
  for (Stored& row : rows(right, uid)) {
    if (row.protectType == protect_type::kRevoke) continue;
    hadOwn = true;
    if (row.grantor != grantor) continue;
    hasEffect = true;
    erase(right, uid, row);
    if (!right.columns || !row.columns || isWholeTable(*right.columns)) continue;
    const Blob granted = isWholeTable(*row.columns) ? allColumns(right.objectId) : *row.columns;
    const Blob rest = without(granted, *right.columns);
    if (rest.empty()) continue;
    grant({right.objectId, right.action, rest}, uid, row.grantor,
          row.protectType == protect_type::kGrantOption);
  }
  if (!hadOwn && hasThroughGroup(right, uid)) {
    Stored withheld{protect_type::kRevoke, grantor, right.columns};
    for (const Stored& row : rows(right, uid)) {
      if (withheld.columns && row.columns)
        withheld.columns = united(*withheld.columns, *row.columns);
    }
    store(right, uid, withheld);
    hasEffect = true;
  }
  if (!cascade) return hasEffect;
  std::vector<int> passedOn;
  store_.each(
      "SELECT DISTINCT uid FROM sysprotects WHERE id = ?1 AND action = ?2 AND grantor = ?3"
      " AND uid != ?3",
      [&](const Statement& row) { passedOn.push_back(row.number(0)); }, right.objectId,
      right.action, uid);
  for (const int next : passedOn) hasEffect |= revoke(right, next, uid, true);
  return hasEffect;
}

bool PermissionWriter::revokeGrantOption(const Right& right, int uid, int grantor) {
  bool hasEffect = false;
  for (const Stored& row : rows(right, uid)) {
    if (row.protectType != protect_type::kGrantOption || row.grantor != grantor) continue;
    hasEffect = true;
    erase(right, uid, row);
    std::optional<Blob> plain = row.columns;
    if (row.columns && right.columns && !isWholeTable(*right.columns)) {
      const bool isWhole = isWholeTable(*row.columns);
      const Blob kept =
          without(isWhole ? allColumns(right.objectId) : *row.columns, *right.columns);
      if (!isWhole) plain = without(*row.columns, kept);
      if (!kept.empty()) store(right, uid, {protect_type::kGrantOption, row.grantor, kept});
      if (plain->empty()) continue;
    }
    grant({right.objectId, right.action, plain}, uid, row.grantor, false);
  }
  return hasEffect;
}

bool PermissionWriter::hasThroughGroup(const Right& right, int uid) {
  if (uid == kPublicUid) return false;
  return store_
      .value(
          "SELECT 1 FROM sysprotects WHERE id = ?1 AND action = ?2 AND protecttype < 2 AND uid !="
          " ?3 AND (uid = 0 OR uid = (SELECT gid FROM sysusers WHERE uid = ?3))",
          right.objectId, right.action, uid)
      .has_value();
}

void PermissionWriter::removeColumn(int tableId, int colid) {
  struct Granted {
    Right right;
    int uid;
    Stored row;
  };
  std::vector<Granted> affected;
  store_.each(
      "SELECT action, uid, protecttype, grantor, columns FROM sysprotects"
      " WHERE id = ? AND columns IS NOT NULL",
      [&](const Statement& row) {
        affected.push_back({{tableId, row.number(0), {}},
                            row.number(1),
                            {row.number(2), row.number(3), std::get<Blob>(row.cell(4))}});
      },
      tableId);
  for (auto& [right, uid, row] : affected) {
    if (isWholeTable(*row.columns)) continue;
    erase(right, uid, row);
    row.columns = withoutColumn(*row.columns, static_cast<std::size_t>(colid));
    if (!row.columns->empty()) store(right, uid, row);
  }
}

std::string_view Catalog::permission(const tsql::Permission& statement, std::string_view text,
                                     const Caller& caller) {
  Savepoint savepoint(store_);
  CatalogWriter writer(*this, caller);
  const std::string_view untraced = PermissionWriter(writer, text).apply(statement);
  savepoint.keep();
  return untraced;
}

}  // namespace kelvane::embedded
