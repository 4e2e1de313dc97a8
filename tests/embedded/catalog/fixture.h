// Runs the definition statements of scripts against a catalog, without the interpreter: what an
// expression or a select would need is given by the test.
#pragma once

#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <vector>

#include "drivers/embedded/catalog/catalog.h"

namespace kelvane::embedded {

class CatalogTest : public ::testing::Test {
 protected:
  CatalogTest() {
    catalog.useDatabase("shop");
    catalog.enter("shop");
  }

  /// Batches parted by `go` lines. Errors come out as ServerError; failing procedures too.
  void run(std::string_view script);
  /// "number text" of the error that the script ends with; "" when it runs through.
  std::string errorOf(std::string_view script);
  /// The first result set of a system procedure, or of the last one.
  ProcedureResult call(std::string_view statement);

  /// The rows of an SQLite query, one a line, cells parted by ` | `.
  std::string rows(const std::string& sql);
  static std::string draw(const ResultSet& set, const std::vector<std::size_t>& columns);

  int idOf(std::string_view name);
  /// Replaces the ids of the objects named by `#name`.
  std::string withIds(std::string text, const std::vector<std::string>& names);

  Catalog catalog;
  Caller caller{kDboUid, "shop", 1};
  std::vector<NamedColumn> viewColumns;  ///< of the next create view

 private:
  void runStatement(const tsql::Statement& statement, std::string_view batch);
};

}  // namespace kelvane::embedded
