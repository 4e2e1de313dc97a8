// What statements and system procedures hand back: rows with typed columns, and messages.
//
// Plain values.
#pragma once

#include <string>
#include <vector>

#include "drivers/embedded/catalog/types.h"
#include "drivers/embedded/messages/message.h"
#include "drivers/embedded/store/cell.h"

namespace kelvane::embedded {

struct ResultColumn {
  std::string name;  ///< empty for an expression without one
  ColumnType type;
};

using Row = std::vector<Cell>;

struct ResultSet {
  std::vector<ResultColumn> columns;
  std::vector<Row> rows;
};

using message::ServerMessage;

}  // namespace kelvane::embedded
