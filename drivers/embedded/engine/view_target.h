// A view whose rows are changed, which are those of one table.
//
// Refers to nothing but what it owns.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "drivers/embedded/catalog/catalog.h"
#include "drivers/embedded/engine/scope.h"
#include "drivers/embedded/tsql/ast.h"

namespace kelvane::embedded {

/// One view, over a table or over the next view.
struct ViewLevel {
  std::string database;
  std::vector<std::string> columns;
  bool hasCheckOption = false;
  std::shared_ptr<const tsql::StatementList> text;
  const tsql::Select* select = nullptr;    ///< in `text`
  const tsql::NamedTable* from = nullptr;  ///< likewise
};

struct ViewTarget {
  std::string name;
  std::vector<ViewLevel> levels;  ///< the one that is named first, the one over the table last
  ObjectInfo table;

  /// Where the levels begin whose conditions new rows must meet: those of the outermost view with
  /// `with check option`, and of all below it.
  std::size_t firstChecked() const;
};

/// Throws 4405 for a view of several tables, or one that does not show rows as they are.
ViewTarget viewTarget(Catalog& catalog, const ObjectInfo& view, const Caller& caller);

/// What views show of a row of their table.
struct ViewedRow {
  Source source;
  std::vector<std::string> conditions;  ///< of each level, as ViewTarget has them; may be empty
};

}  // namespace kelvane::embedded
