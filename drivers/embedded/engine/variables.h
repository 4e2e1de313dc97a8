// The variables that the statements of a batch see.
//
// Plain values.
#pragma once

#include <functional>
#include <map>
#include <string>

#include "drivers/embedded/catalog/types.h"
#include "drivers/embedded/store/cell.h"

namespace kelvane::embedded {

struct Variable {
  ColumnType type;
  Cell value;
};
/// By name, with the `@`.
using Variables = std::map<std::string, Variable, std::less<>>;

}  // namespace kelvane::embedded
