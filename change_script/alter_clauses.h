// What alter table does to columns, so that a table whose rows are copied is copied once.
//
// Lifetime: tables outlive it. Threading: free functions.
#pragma once

#include <string>
#include <vector>

#include "inventory/ddl/script.h"
#include "inventory/ddl/statement.h"
#include "inventory/records.h"

namespace kelvane::change_script {

enum class AlterVerb : std::uint8_t { add, drop, modify };

/// One column in `alter table`.
struct AlterClause {
  const inventory::Table* table;
  AlterVerb verb;
  std::string text;  ///< a int not null
  bool quotedIdentifier;
  std::string condition;  ///< holds until it is done
};

/// All clauses, which are of one table, as one statement: add, drop, modify.
inventory::Batch batchOf(const std::vector<const AlterClause*>& clauses);

}  // namespace kelvane::change_script
