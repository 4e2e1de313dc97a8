// Takes objects away with everything that belongs to them.
#pragma once

#include "drivers/embedded/catalog/writer.h"
#include "drivers/embedded/tsql/ast/objects.h"

namespace kelvane::embedded {

class ObjectRemover {
 public:
  explicit ObjectRemover(CatalogWriter& writer)
      : writer_(writer), store_(writer.store()), records_(writer.records()) {}

  /// Throws 3701, 3712, 3716, 3717, 3723.
  void drop(tsql::DropKind kind, const tsql::ObjectName& name);
  /// The table points at the trigger no more.
  void detachTrigger(int triggerId);

 private:
  void dropTable(const ObjectInfo& table);
  void dropRuleOrDefault(const ObjectInfo& object, std::string_view kind);
  void dropIndex(const tsql::ObjectName& name);
  void dropDatabase(const tsql::ObjectName& name);
  void dropLogin(std::string_view name);
  [[noreturn]] void failMissing(std::string_view kind, std::string_view name);

  CatalogWriter& writer_;
  Database& store_;
  SystemRecords& records_;
};

}  // namespace kelvane::embedded
