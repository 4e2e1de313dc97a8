// A side whose tables are compared row by row.
//
// Lifetime: tables and columns of its database are as old as the side. Threading: one thread opens;
// what is opened is read by one other thread, and before the next is opened it has gone.
#pragma once

#include <cstddef>
#include <memory>

#include "inventory/records.h"
#include "rows/table_plan.h"

namespace kelvane::cli {

class RowSide {
 public:
  virtual ~RowSide() = default;
  virtual const inventory::Database& database() const = 0;
  // What has to be done before the rows of a table are read. Throws what a server throws.
  virtual void prepare(const rows::Select& select) = 0;
  // The rows of a table, with the columns of the plan, of which this is source (0) or target (1).
  // The plan outlives them.
  virtual rows::OpenRows rowsOf(const rows::TablePlan& plan, std::size_t side) = 0;
  // Whether rows come in the order of their key, where the statement asks for it.
  virtual bool comesInOrder() const { return true; }
  // Whether nothing more can be read.
  virtual bool isOver() const = 0;
};

}  // namespace kelvane::cli
