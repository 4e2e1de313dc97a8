// Encryption keys. What they encrypt with is not kept: nothing here is encrypted.
#pragma once

#include <string>
#include <string_view>

#include "drivers/embedded/catalog/writer.h"
#include "drivers/embedded/tsql/ast/administration.h"

namespace kelvane::embedded {

/// In sysencryptkeys.type.
namespace key_type {
inline constexpr int kSymmetric = 1;
inline constexpr int kDefault = 2;
inline constexpr int kCopy = 4;
inline constexpr int kMaster = 8;
}  // namespace key_type

/// In sysencryptkeys.status.
namespace key_status {
inline constexpr int kRandomVector = 1;
inline constexpr int kRandomPad = 2;
inline constexpr int kPassword = 4;
inline constexpr int kMasterKey = 8;
inline constexpr int kDualControl = 16;
}  // namespace key_status

/// What a column is encrypted with.
struct ColumnKey {
  int id = 0;
  std::string database;  ///< empty for this one
  bool randomVector = false;
};

class KeyWriter {
 public:
  explicit KeyWriter(CatalogWriter& writer) : writer_(writer), store_(writer.store()) {}

  void apply(const tsql::EncryptionKey& statement);
  /// The key of that name; the default one for none.
  ColumnKey forColumn(const tsql::ObjectName& name, std::string_view column);

 private:
  void create(const tsql::EncryptionKey& statement);
  void alter(const tsql::EncryptionKey& statement);
  void drop(const tsql::EncryptionKey& statement);
  void alterCopy(int id, const tsql::EncryptionKey& statement);
  void makeDefault(int id, bool isDefault);
  ObjectInfo require(const tsql::ObjectName& name);

  CatalogWriter& writer_;
  Database& store_;
};

}  // namespace kelvane::embedded
