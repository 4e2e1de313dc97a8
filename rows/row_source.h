// Where the rows of a side come from.
//
// Lifetime: what a source reads from outlives it. Threading: one thread uses a source.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "ado/ado.h"
#include "rows/packed_row.h"

namespace kelvane::rows {

class RowSource {
 public:
  virtual ~RowSource() = default;
  /// Goes to the first row, then to the next one. False behind the last one. Throws what reading
  /// throws, also for errors that the server reports behind the rows.
  virtual bool next() = 0;
  /// Of the current row; 0-based. Refers to the row.
  virtual ado::Value value(std::size_t column) const = 0;
  /// Appends the value to a packed row as Form::large. Columns that are read so are read once, in
  /// their order, with all others.
  virtual void packLarge(std::size_t column, std::string& row) const {
    pack(value(column), Form::large, row);
  }
};

/// Begins to read. Called by the thread that reads.
using OpenRows = std::function<std::unique_ptr<RowSource>()>;

/// The first result of a statement, which has at least as many columns.
std::unique_ptr<RowSource> openStatement(ado::Connection& connection,
                                         const std::u16string& statement, std::size_t columns);

/// The results of several such statements, one behind the other.
std::unique_ptr<RowSource> openStatements(ado::Connection& connection,
                                          std::vector<std::u16string> statements,
                                          std::size_t columns);

}  // namespace kelvane::rows
