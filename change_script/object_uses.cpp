#include "change_script/object_uses.h"

#include "inventory/shown.h"

namespace kelvane::change_script {
namespace {

using namespace inventory;

template <class Map>
const typename Map::mapped_type& found(const Map& map, const std::string& name) {
  static const typename Map::mapped_type kNone;
  const auto one = map.find(name);
  return one == map.end() ? kNone : one->second;
}

}  // namespace

ObjectUses::ObjectUses(const Database& database) {
  for (const Table& table : database.tables) {
    tables_.emplace(shown(table.name), &table);
    for (const Column& column : table.columns) {
      for (const QualifiedName& bound :
           {column.defaultValue->bound, *column.rule, *column.accessRule}) {
        if (bound != QualifiedName{}) columns_[shown(bound)].push_back({&table, &column});
      }
      const DataType& type = column.type.type;
      if (!type.owner.isDefault())
        columnsOfTypes_[shown(QualifiedName{*type.owner, type.name})].push_back({&table, &column});
      const DatabaseObjectName& key = *column.encryptionKey;
      if (!key.name.empty())
        columns_[shown(QualifiedName{key.owner, key.name})].push_back({&table, &column});
    }
  }
  for (const UserType& type : database.types) {
    for (const QualifiedName& bound : {type.defaultValue, type.rule, type.accessRule}) {
      if (bound != QualifiedName{}) types_[shown(bound)].push_back(&type);
    }
  }
  for (const User& user : database.users) users_[user.group].push_back(&user);
  const auto addRights = [&](const std::vector<Permission>& permissions, const void* record) {
    for (const Permission& one : permissions) rights_[one.grantee].push_back(record);
  };
  addRights(database.settings.permissions, nullptr);
  for (const EncryptionKey& key : database.encryptionKeys) addRights(key.permissions, &key);
  const auto addAll = [&](const auto& records) {
    for (const auto& one : records) {
      records_[one.name.owner].push_back(&one);
      names_.insert(shown(one.name));
      if constexpr (requires { one.permissions; }) addRights(one.permissions, &one);
    }
  };
  addAll(database.tables);
  addAll(database.views);
  addAll(database.procedures);
  addAll(database.functions);
  addAll(database.rules);
  addAll(database.defaults);
  addAll(database.types);
}

const std::vector<UsingColumn>& ObjectUses::columnsWith(const QualifiedName& object) const {
  return found(columns_, shown(object));
}
const std::vector<UsingColumn>& ObjectUses::columnsOfType(const QualifiedName& type) const {
  return found(columnsOfTypes_, shown(type));
}
const std::vector<const UserType*>& ObjectUses::typesWith(const QualifiedName& object) const {
  return found(types_, shown(object));
}
const Table* ObjectUses::table(const std::string& owner, const std::string& name) const {
  const auto one = tables_.find(shown(QualifiedName{owner, name}));
  return one == tables_.end() ? nullptr : one->second;
}
bool ObjectUses::hasName(const std::string& owner, const std::string& name) const {
  return names_.contains(shown(QualifiedName{owner, name}));
}
const std::vector<const void*>& ObjectUses::recordsOf(const std::string& owner) const {
  return found(records_, owner);
}
const std::vector<const User*>& ObjectUses::usersOf(const std::string& group) const {
  return found(users_, group);
}
const std::vector<const void*>& ObjectUses::rightsOf(const std::string& grantee) const {
  return found(rights_, grantee);
}

ProcedureGroups::ProcedureGroups(const Database& database) {
  for (const Procedure& one : database.procedures) groups_[shown(one.name)].push_back(&one);
}

const std::vector<const Procedure*>& ProcedureGroups::named(const QualifiedName& name) const {
  return found(groups_, shown(name));
}

}  // namespace kelvane::change_script
