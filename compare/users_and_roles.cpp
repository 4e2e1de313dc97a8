#include "compare/comparison.h"

namespace kelvane {
namespace {

using Options = cComparisonOptions;

using PermissionKind =
    SubEntityKind<PermissionEntity,
                  MatchedBy<&PermissionEntity::EntityName, &PermissionEntity::EntityOwner>>;

constexpr PermissionKind permissionKind(Boolean Options::*enabled, std::u16string_view treeType) {
  return {.enabled = enabled,
          .treeType = treeType,
          .missingLabel = u"Object Permission",
          .entity = std::nullopt,
          .sourcePath = &PermissionEntity::EntityName,
          .targetPath = &PermissionEntity::EntityName};
}

constexpr PermissionKind kRoleObjectPermissions =
    permissionKind(&Options::Groups_ObjectPermissions, u"Role\\ObjectPermission");
constexpr PermissionKind kUserObjectPermissions =
    permissionKind(&Options::Users_ObjectPermissions, u"User\\ObjectPermission");

constexpr SubEntityKind<User, MatchedBy<&User::Name>> kMembers{.enabled = &Options::Groups_Users,
                                                               .treeType = u"Role\\User",
                                                               .missingLabel = u"User",
                                                               .entity = std::nullopt,
                                                               .sourcePath = &User::Name,
                                                               .targetPath = &User::Name};

}  // namespace

void Comparison::compareSystemPermissions(Boolean cComparisonOptions::*enabled,
                                          std::u16string_view treeType, std::u16string_view object,
                                          const Permission& source, const Permission& target) {
  if (!isOn(enabled)) return;
  compareAttributes(attributes::kSystemPermission, source, target,
                    [&](std::u16string_view label, const Scalar& was, const Scalar& is) {
                      addChanged({object, treeType, object, u"Standard"}, label, was, is);
                    });
}

void Comparison::compareDetails(const Group& source, const Group& target) {
  // Hosts look for a role's owner among the tables.
  compareOwner(u"Table", source, target);
  compareSystemPermissions(&Options::Groups_SystemPermissions, u"Role\\SystemPermission",
                           source.Name, source.Permissions, target.Permissions);
  compareSubEntities(kRoleObjectPermissions, source.Name, source.Permissions.PermissionEntities,
                     target.Permissions.PermissionEntities, attributes::kObjectPermission);
  compareSubEntities(kMembers, source.Name, source.Users, target.Users, Attributes<User>());
}

void Comparison::compareDetails(const User& source, const User& target) {
  compareSystemPermissions(&Options::Users_SystemPermissions, u"User\\SystemPermission",
                           source.Name, source.Permissions, target.Permissions);
  compareSubEntities(kUserObjectPermissions, source.Name, source.Permissions.PermissionEntities,
                     target.Permissions.PermissionEntities, attributes::kObjectPermission);
}

}  // namespace kelvane
