// A side whose tables are compared row by row.
//
// Lifetime: tables and columns of its database are as old as the side. Threading: one thread opens;
// what is opened is read by one other thread, and before the next is opened it has gone.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "inventory/records.h"
#include "rows/ranged_rows.h"
#include "rows/table_plan.h"

namespace kelvane::cli {

// How rows are to be read, where a side can.
struct RowWish {
  std::optional<rows::RangePace> ranges = {};  // none: with one statement
  rows::RangeBounds bounds = {};               // of the select's cut, which it has then
  // Besides: the rows of each of them, one after the other. None: all rows.
  std::vector<std::string> conditions = {};
};

inline const RowWish kAllRows;

class RowSide {
 public:
  virtual ~RowSide() = default;
  virtual const inventory::Database& database() const = 0;
  // Why the rows of one of its tables cannot be read, as far as that is known; else empty.
  virtual std::string faultOf(const inventory::Table&) const { return {}; }
  // What has to be done before the rows of a table are read. Throws what a server throws.
  virtual void prepare(const rows::Select& select) = 0;
  // The rows of a table, with the columns of the plan, of which this is source (0) or target (1).
  // The plan and the wish outlive them.
  virtual rows::OpenRows rowsOf(const rows::TablePlan& plan, std::size_t side,
                                const RowWish& wish = kAllRows) = 0;
  // As rows::endOfRange(), where the select has a cut; none also where the side cannot say.
  virtual std::optional<ado::StoredValue> endOfRange(const rows::Select&,
                                                     const std::string& /*begin*/,
                                                     std::int64_t /*rows*/) {
    return std::nullopt;
  }
  // Whether rows come in the order of their key, where the statement asks for it.
  virtual bool comesInOrder() const { return true; }
  // Where the side's tables can be asked about; null where there are but rows.
  virtual ado::Connection* connection() { return nullptr; }
  // Ends what is being waited for. Any thread may call it.
  virtual void cancel() noexcept = 0;
  // Whether nothing more can be read.
  virtual bool isOver() const = 0;
};

}  // namespace kelvane::cli
