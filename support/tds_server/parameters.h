// The values that come with a request.
//
// Plain values.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "drivers/embedded/catalog/types.h"
#include "drivers/embedded/store/cell.h"
#include "support/tds_server/wire.h"

namespace kelvane::tds {

struct Parameter {
  std::string name;      ///< with its `@`; empty for one without a name
  std::string variable;  ///< what it is called in the batch
  bool output = false;
  embedded::ColumnType type;
  embedded::Cell value;
};

/// PARAMFMT or PARAMFMT2, and PARAMS; what follows stays with the reader. Throws std::runtime_error
/// for what is cut off or of a type that is not known.
std::vector<Parameter> readParameters(MessageReader& reader, CharacterSet set);

}  // namespace kelvane::tds
