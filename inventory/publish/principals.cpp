// Users and groups with what they may do.

#include <algorithm>
#include <map>
#include <tuple>

#include "inventory/publish/publishing.h"
#include "model/attributes.h"
#include "model/text.h"

namespace kelvane::inventory {
namespace {

/// A permission on an object. Grants and revokes are not told apart.
struct Held {
  QualifiedName object;
  std::string action;
};

/// Sets the flag that is called like the action; there is none for some.
template <class Record, class Flags>
void setFlag(Record& record, const Flags& flags, const std::string& action) {
  const std::u16string name = toUtf16(action);
  std::apply(
      [&](const auto&... one) {
        ((compareLowerCase(one.label, name) == 0 ? void(record.*one.value = True) : void()), ...);
      },
      flags);
}

/// What each grantee has, as found in one walk over all objects.
class Grants {
 public:
  explicit Grants(const Database& database) {
    for (const Table& table : database.tables) add(table.name, table.permissions);
    for (const View& view : database.views) add(view.name, view.permissions);
    for (const Procedure& procedure : database.procedures)
      add(procedure.name, procedure.permissions);
    for (const Function& function : database.functions) add(function.name, function.permissions);
    for (const EncryptionKey& key : database.encryptionKeys) add(key.name, key.permissions);
    for (const Permission& permission : database.settings.permissions) {
      // Of a system table: the action says which one.
      constexpr std::string_view kOn = " on ";
      const std::size_t on = permission.action.find(kOn);
      if (on == std::string::npos) {
        system_[permission.grantee].push_back(permission.action);
      } else {
        ofObjects_[permission.grantee].push_back(
            {{"dbo", permission.action.substr(on + kOn.size())}, permission.action.substr(0, on)});
      }
    }
  }

  void addObjectPermissions(const std::string& grantee, kelvane::Permission& permission) {
    const auto found = ofObjects_.find(grantee);
    if (found == ofObjects_.end()) return;
    std::vector<Held>& all = found->second;
    const auto order = [](const Held& a, const Held& b) {
      const int owners = compareLowerCase(toUtf16(a.object.owner), toUtf16(b.object.owner));
      if (owners != 0) return owners;
      return compareLowerCase(toUtf16(a.object.name), toUtf16(b.object.name));
    };
    std::ranges::stable_sort(all, [&](const Held& a, const Held& b) { return order(a, b) < 0; });
    const Held* last = nullptr;
    Array<PermissionEntity>& entities = permission.PermissionEntities;
    for (const Held& held : all) {
      if (last == nullptr || order(*last, held) != 0) {
        PermissionEntity entity;
        entity.EntityName = toUtf16(held.object.name);
        entity.EntityOwner = entity.Grantor = toUtf16(held.object.owner);
        entities.append(std::move(entity));
      }
      last = &held;
      entities.edit(entities.count(), [&](PermissionEntity& entity) {
        setFlag(entity, attributes::kObjectPermission, held.action);
      });
    }
  }

  void addSystemPermissions(const std::string& grantee, kelvane::Permission& permission) const {
    const auto found = system_.find(grantee);
    if (found == system_.end()) return;
    for (const std::string& action : found->second)
      setFlag(permission, attributes::kSystemPermission, action);
  }

 private:
  void add(const QualifiedName& object, const std::vector<Permission>& permissions) {
    for (const Permission& permission : permissions)
      ofObjects_[permission.grantee].push_back({object, permission.action});
  }

  std::map<std::string, std::vector<Held>> ofObjects_;
  std::map<std::string, std::vector<std::string>> system_;
};

/// Names in the server's order.
std::vector<std::string> listedNames(const Publishing& publishing, std::vector<std::string> names) {
  std::ranges::sort(
      names, [&](const std::string& a, const std::string& b) { return publishing.precedes(a, b); });
  return names;
}

}  // namespace

void publishUsers(const Publishing& publishing, Array<kelvane::User>& users) {
  Grants grants(publishing.database);
  std::vector<std::string> names{"dbo"};  // in every database
  for (const User& user : publishing.database.users) names.push_back(user.name);
  for (std::string name : listedNames(publishing, std::move(names))) {
    std::ranges::replace(name, '\\', ' ');
    kelvane::User published;
    published.Name = published.FullName = toUtf16(name);
    if (publishing.options.Users_ObjectPermissions)
      grants.addObjectPermissions(name, published.Permissions);
    if (publishing.options.Users_SystemPermissions)
      grants.addSystemPermissions(name, published.Permissions);
    users.append(std::move(published));
  }
}

void publishGroups(const Publishing& publishing, Array<kelvane::Group>& groups) {
  Grants grants(publishing.database);
  std::map<std::string, std::vector<std::string>> members;
  members["public"].push_back("dbo");
  for (const User& user : publishing.database.users)
    members[user.group.empty() ? "public" : user.group].push_back(user.name);
  std::vector<std::string> names{"public"};
  for (const Group& group : publishing.database.groups) names.push_back(group.name);
  for (const std::string& name : listedNames(publishing, std::move(names))) {
    kelvane::Group published;
    published.Name = published.FullName = toUtf16(name);
    if (publishing.options.Groups_ObjectPermissions)
      grants.addObjectPermissions(name, published.Permissions);
    if (publishing.options.Groups_SystemPermissions)
      grants.addSystemPermissions(name, published.Permissions);
    if (publishing.options.Groups_Users) {
      for (const std::string& member : listedNames(publishing, members[name])) {
        kelvane::User user;
        user.Name = toUtf16(member);
        published.Users.append(std::move(user));
      }
    }
    groups.append(std::move(published));
  }
}

}  // namespace kelvane::inventory
