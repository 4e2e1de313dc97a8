// The values that come with a request, and the places of its text where they belong.
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

/// Gives the parameters their variables, and returns the text of the batch that uses them. Where
/// the text has `?`, these become variables; elsewhere they have the names of the parameters or, if
/// those have none, of the variables of the text in the order of their appearance. Throws
/// std::runtime_error unless there are as many.
std::string bindText(std::string_view text, std::vector<Parameter>& parameters);
/// The text of a call of a procedure with the parameters.
std::string bindCall(std::string_view procedure, std::vector<Parameter>& parameters);

}  // namespace kelvane::tds
