// Where the parameters of a request belong in its text.
//
// Free functions without state.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "support/tds_server/parameters.h"

namespace kelvane::tds {

/// Gives the parameters their variables, and returns the text of the batch that uses them. Where
/// the text has `?`, these become variables; elsewhere they have the names of the parameters or, if
/// those have none, of the variables of the text in the order of their appearance. Throws
/// std::runtime_error unless there are as many.
std::string bindText(std::string_view text, std::vector<Parameter>& parameters);
/// The text of a call of a procedure with the parameters.
std::string bindCall(std::string_view procedure, std::vector<Parameter>& parameters);

}  // namespace kelvane::tds
