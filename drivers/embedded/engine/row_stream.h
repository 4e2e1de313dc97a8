// Rows that are computed as they are asked for.
#pragma once

#include <cstdint>
#include <vector>

#include "drivers/embedded/catalog/result.h"
#include "drivers/embedded/store/sqlite.h"

namespace kelvane::embedded {

/// Anything run on any session of the server that changes tables in between may end it with a
/// StoreError.
struct RowStream {
  std::vector<ResultColumn> columns;
  Statement statement;
  std::uint32_t line = 0;  ///< of the query in its batch
};

/// The values of the row that a statement stands on.
Row rowOf(const Statement& statement);

}  // namespace kelvane::embedded
