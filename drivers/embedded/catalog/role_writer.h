// Roles: the server has them, a database knows those that were granted something in it.
#pragma once

#include <optional>
#include <string_view>

#include "drivers/embedded/catalog/writer.h"

namespace kelvane::embedded {

class RoleWriter {
 public:
  explicit RoleWriter(CatalogWriter& writer) : writer_(writer), store_(writer.store()) {}

  void create(std::string_view name);
  /// A role with permissions goes only `withOverride`.
  void drop(std::string_view name, bool withOverride);
  /// To a login, a user or another role.
  void grant(std::string_view role, std::string_view grantee);
  /// False if the grantee had not the role.
  bool revoke(std::string_view role, std::string_view grantee);
  /// The role as a grantee of this database, which learns of it now if need be; none if the server
  /// has no such role.
  std::optional<int> uidOf(std::string_view name);

 private:
  struct Member {
    std::string_view table;
    std::string_view column;
    int id;
  };

  std::optional<int> find(std::string_view name);
  int require(std::string_view name);
  Member requireMember(std::string_view name);

  CatalogWriter& writer_;
  Database& store_;
};

}  // namespace kelvane::embedded
