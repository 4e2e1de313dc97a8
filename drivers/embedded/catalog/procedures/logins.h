// Logins of the server, as procedures of a database need them.
#pragma once

#include <string_view>

#include "drivers/embedded/catalog/procedures/procedure.h"

namespace kelvane::embedded {

/// Returns its suid.
int addLogin(ProcedureRun& run, std::string_view name, std::string_view database,
             std::string_view fullName);

/// The suid of a login, which is added where there is none: a script for one database seldom
/// brings the server's logins along.
int loginOf(ProcedureRun& run, std::string_view name);

}  // namespace kelvane::embedded
