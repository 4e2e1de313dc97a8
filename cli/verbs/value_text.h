// Values of rows as text.
//
// Free functions without state.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "rows/long_value.h"
#include "rows/table_plan.h"

namespace kelvane::cli {

struct ValueText {
  std::optional<std::u16string> text;       // none for a null; of a long value how it begins
  std::optional<rows::LongView> rest = {};  // of a long value; refers to the row

  // "10485760 characters", "2097152 bytes"
  std::u16string length() const;
};
// Of each column.
using Texts = std::vector<ValueText>;

// Of each column of the plan. Exact numbers have the scale that their column
// declares on that side (0: source, 1: target), which packed rows do not keep.
Texts textsOf(const rows::TablePlan& plan, std::string_view row, std::size_t side);

}  // namespace kelvane::cli
