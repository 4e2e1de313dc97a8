// Objects that get another owner.
#pragma once

#include "drivers/embedded/catalog/writer.h"
#include "drivers/embedded/tsql/ast/objects.h"

namespace kelvane::embedded {

class OwnerWriter {
 public:
  explicit OwnerWriter(CatalogWriter& writer) : writer_(writer), store_(writer.store()) {}

  void change(const tsql::ModifyOwner& statement);

 private:
  void changeAll(const tsql::ModifyOwner& statement, int newUid);
  void changeType(const tsql::ModifyOwner& statement, int newUid);
  void changeObject(const ObjectInfo& object, const tsql::ModifyOwner& statement, int newUid);

  CatalogWriter& writer_;
  Database& store_;
};

}  // namespace kelvane::embedded
