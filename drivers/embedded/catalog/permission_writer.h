// Rows of sysprotects and their column bitmaps.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "drivers/embedded/catalog/writer.h"
#include "drivers/embedded/tsql/ast/permissions.h"

namespace kelvane::embedded {

class PermissionWriter {
 public:
  /// `text`: the batch, of which predicates are kept.
  explicit PermissionWriter(CatalogWriter& writer, std::string_view text = {})
      : writer_(writer), store_(writer.store()), text_(text) {}

  /// What of the statement has no row, in words; else empty.
  std::string_view apply(const tsql::Permission& statement);
  /// Forgets what was granted on one column, and numbers those behind it anew; a permission on no
  /// other column goes with it.
  void removeColumn(int tableId, int colid);

 private:
  /// One row to grant or revoke. `columns` is the bitmap; none for actions that have none.
  struct Right {
    int objectId = 0;
    int action = 0;
    std::optional<Blob> columns;
  };
  struct Stored {
    int protectType = 0;
    int grantor = 0;
    std::optional<Blob> columns;
  };

  /// Whether these had any effect.
  bool applyRoles(const tsql::Permission& statement);
  std::vector<Right> rightsOf(const tsql::Permission& statement,
                              const std::optional<ObjectInfo>& object);
  std::vector<Right> commandRights(const tsql::Privilege& privilege);
  std::vector<Right> objectRights(const ObjectInfo& object, const tsql::Privilege& privilege,
                                  const std::vector<std::string>& columns);
  std::vector<int> granteesOf(const tsql::Permission& statement);
  Blob bitmapOf(const ObjectInfo& object, const std::vector<std::string>& columns);
  Blob allColumns(int objectId);

  std::vector<Stored> rows(const Right& right, int uid);
  int addPredicate(const tsql::Permission& statement, const ObjectInfo& object);
  void grantRows(const Right& right, int uid, int grantor, int protectType, int predicate);
  bool revokeRows(const Right& right, int uid, int grantor);
  void grant(const Right& right, int uid, int grantor, bool grantOption);
  bool revoke(const Right& right, int uid, int grantor, bool cascade);
  bool revokeGrantOption(const Right& right, int uid, int grantor);
  /// What the row says without the columns; none if that is nothing.
  static std::optional<Stored> beyond(Stored row, const std::optional<Blob>& columns);
  void store(const Right& right, int uid, const Stored& row);
  void erase(const Right& right, int uid, const Stored& row);
  bool hasThroughGroup(const Right& right, int uid);

  CatalogWriter& writer_;
  Database& store_;
  std::string_view text_;
};

}  // namespace kelvane::embedded
