// Cuts a batch of nothing but `insert ... values (literals)` into rows.
//
// A free function without state; what it finds refers to the batch and the targets.
#pragma once

#include <cstdint>
#include <functional>
#include <string_view>
#include <vector>

#include "drivers/embedded/engine/row_literal.h"

namespace kelvane::embedded {

class RowTarget;

struct ScannedRows {
  struct Row {
    RowTarget* target;
    std::uint32_t begin;  ///< of its statement in the batch
  };
  std::vector<Row> rows;
  std::vector<RowLiteral> values;  ///< of all rows, one after the other

  void clear() {
    rows.clear();
    values.clear();
  }
};

/// False when there is anything else in the batch. `targetOf` gets the words before the values of
/// a row; null for those whose rows are not plain.
bool scanRows(std::string_view batch, bool hasQuotedNames,
              const std::function<RowTarget*(std::string_view head)>& targetOf, ScannedRows& found);

}  // namespace kelvane::embedded
