// Sides of rows that a database answers statements with.
//
// Lifetime: the database, the side and its connection outlive what is made. Threading: as RowSide.
#pragma once

#include <memory>
#include <string>

#include "cli/sides/side.h"
#include "cli/sides/tracing_connection.h"
#include "cli/verbs/row_side.h"

namespace kelvane::cli {

// The tables that the database declares.
std::unique_ptr<RowSide> connectedRows(const inventory::Database& database, Side& side,
                                       TracingConnection& connection);

// What a select stands for, as the only table.
inline constexpr const char* kSelectedTable = "rows";

// The first result of a text: one table, of whose columns only the names are known. Throws
// CommandError for a text that fails, and for columns without a name of their own; `name` is what
// the side is called.
std::unique_ptr<RowSide> selectedRows(const std::string& text, const inventory::Server& server,
                                      const std::string& name, Side& side,
                                      TracingConnection& connection);

}  // namespace kelvane::cli
