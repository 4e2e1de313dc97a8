// Who may do what.

#include <algorithm>
#include <tuple>

#include "inventory/read/reading.h"

namespace kelvane::inventory {
namespace {

constexpr int kPublicUid = 0, kDboUid = 1, kSelect = 193;

/// The positions in the statement below.
enum Cell { kId, kUid, kAction, kType, kGrantor, kPredicate, kColumns };

/// A row of sysprotects without its columns. Rows that differ in nothing else are one grant.
struct Grant {
  int id = 0, uid = 0, action = 0, type = 0, grantor = 0, predicate = 0;
  bool operator==(const Grant&) const = default;
};

/// Bit n is the column of that number, bit 0 the whole object.
class ColumnBits {
 public:
  void add(const Row& row) {
    if (row.isNull(kColumns)) {
      isWhole_ = true;
      return;
    }
    std::string bytes;
    row.appendBytes(kColumns, bytes);
    if (bytes.size() > bytes_.size()) bytes_.resize(bytes.size());
    for (std::size_t at = 0; at < bytes.size(); ++at)
      bytes_[at] = static_cast<char>(bytes_[at] | bytes[at]);
    isWhole_ = isWhole_ || (!bytes.empty() && (bytes.front() & 1) != 0);
  }

  std::vector<std::string> names(const Reading& reading, const ObjectEntry* entry) const {
    std::vector<std::string> names;
    if (isWhole_) return names;
    constexpr std::size_t kBits = 8;
    for (std::size_t colid = 1; colid < bytes_.size() * kBits; ++colid) {
      const auto byte = static_cast<unsigned char>(bytes_[colid / kBits]);
      if ((byte >> (colid % kBits) & 1U) == 0) continue;
      std::string name =
          entry ? reading.columnName(*entry, static_cast<int>(colid)) : std::string();
      names.push_back(name.empty() ? "column " + std::to_string(colid) : std::move(name));
    }
    return names;
  }

 private:
  std::string bytes_;
  bool isWhole_ = false;
};

std::string effectOf(int type) {
  enum { grantWithOption, grant, revoke, deny };
  return type == revoke ? "revoke" : type == deny ? "deny" : "grant";
}

/// Where the permissions of an object are; null if it has no place for them.
std::vector<Permission>* permissionsOf(Reading& reading, const ObjectEntry& entry) {
  Database& database = reading.database;
  switch (entry.type) {
    case ObjectType::table:
      return &database.tables[entry.at].permissions;
    case ObjectType::view:
      return &database.views[entry.at].permissions;
    case ObjectType::function:
      return &database.functions[entry.at].permissions;
    case ObjectType::encryptionKey:
      return &database.encryptionKeys[entry.at].permissions;
    case ObjectType::procedure:
      return &reading.groupPermissions[entry.id];
    default:
      return nullptr;
  }
}

/// What the server itself lets everybody see of its catalog. It differs from release to release and
/// nobody declared it.
bool isOfServer(const Grant& grant, const ObjectEntry* entry) {
  return entry != nullptr && entry->type == ObjectType::systemTable && grant.uid == kPublicUid &&
         grant.action == kSelect && grant.grantor == kDboUid && effectOf(grant.type) == "grant";
}

void addPermission(Reading& reading, const Grant& grant, const ColumnBits& columns) {
  const ObjectEntry* entry = grant.id == 0 ? nullptr : reading.object(grant.id);
  if (isOfServer(grant, entry) || (grant.id != 0 && entry == nullptr)) return;
  Permission permission;
  permission.effect = effectOf(grant.type);
  const auto action = reading.actions.find(grant.action);
  permission.action =
      action == reading.actions.end() ? "action " + std::to_string(grant.action) : action->second;
  permission.grantee = reading.userName(grant.uid);
  permission.columns = columns.names(reading, entry);
  permission.grantOption = grant.type == 0;
  permission.grantor = reading.userName(grant.grantor);
  if (grant.predicate != 0) {
    reading.predicates.insert(grant.predicate);
    const auto condition = reading.texts.find({grant.predicate, 0});
    permission.condition = condition == reading.texts.end()
                               ? "object " + std::to_string(grant.predicate)
                               : condition->second.text;
  }
  if (entry == nullptr) {
    reading.database.settings.permissions.push_back(std::move(permission));
  } else if (entry->type == ObjectType::systemTable) {
    // System tables are not among the objects; what somebody granted on them is of the database.
    permission.action += " on " + entry->name;
    reading.database.settings.permissions.push_back(std::move(permission));
  } else if (entry->isWanted) {
    if (auto* permissions = permissionsOf(reading, *entry))
      permissions->push_back(std::move(permission));
  }
}

}  // namespace

void readPermissions(Reading& reading) {
  Grant grant;
  ColumnBits columns;
  bool isOpen = false;
  reading.session.rows(
      "permissions",
      "select " +
          reading.list("sysprotects", "",
                       {"id", "uid", "action", "protecttype", "grantor", "pred_id", "columns"}) +
          " from sysprotects order by id, uid, action, protecttype, grantor",
      [&](const Row& row) {
        const Grant next{row.number(kId),   row.number(kUid),     row.number(kAction),
                         row.number(kType), row.number(kGrantor), row.number(kPredicate)};
        if (isOpen && next != grant) {
          addPermission(reading, grant, columns);
          columns = {};
        }
        grant = next;
        isOpen = true;
        columns.add(row);
      });
  if (isOpen) addPermission(reading, grant, columns);
}

}  // namespace kelvane::inventory
