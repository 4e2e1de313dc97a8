// Everything that makes, changes or drops something in the catalog.
#pragma once

#include <string_view>
#include <vector>

#include "drivers/embedded/engine/frame.h"
#include "drivers/embedded/engine/reporter.h"
#include "drivers/embedded/engine/temporary_writer.h"
#include "drivers/embedded/tsql/ast.h"

namespace kelvane::embedded {

class Definitions {
 public:
  Definitions(Frame& frame, Reporter& reporter, TemporaryWriter& temporaries)
      : frame_(frame), reporter_(reporter), temporaries_(temporaries) {}

  /// A statement of a kind that is a Definition.
  void run(const tsql::Statement& statement);

 private:
  void requireAllowedInTransaction(const tsql::Statement& statement) const;
  void dropObjects(const tsql::Drop& statement);
  void createTable(const tsql::CreateTable& statement);
  void alterTable(const tsql::AlterTable& statement);
  void createSchema(const tsql::CreateSchema& schema);
  RowValues rowValues();
  void keepWithoutColumns(const tsql::CreateView& view, std::string_view text,
                          const UnknownDatabase& error);
  std::vector<NamedColumn> viewColumns(const tsql::Query& query);
  /// With the names in its variables.
  void permission(const tsql::Permission& statement, std::string_view text);

  Frame& frame_;
  Reporter& reporter_;
  TemporaryWriter& temporaries_;
  Session& session_{frame_.session()};
  Server& server_{frame_.server()};
};

}  // namespace kelvane::embedded
