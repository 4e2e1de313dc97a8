// The options of `set`.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "drivers/embedded/tsql/ast/session_statements.h"

namespace kelvane::embedded {

enum class SetEffect {
  None,  ///< of no meaning to a catalog, or to a server with one user
  NoCount,
  QuotedIdentifier,
  Chained,
  AnsiNull,
  StringTruncation,
  IdentityInsert,
  IdentityUpdate,
  ArithAbort,
  NoExec,
  ParseOnly,
  FormatOnly,
  RowCount,
  TextSize,
  Isolation,
  Login,
  DateFormat,  ///< these have one value here
  DateFirst,
  Language,
};

struct SetOptionRule {
  std::string_view name;
  SetEffect effect = SetEffect::None;
  int since = 12;               ///< the release that brought it
  std::string_view value = {};  ///< the one value that it may have
};

/// Null for an option that is not known.
const SetOptionRule* findSetOption(std::string_view name);

/// None for an option that is not known.
SetEffect effectOf(std::string_view name);

/// The table that rows with given identities go into from now on; empty after `off`. None for any
/// other option.
std::optional<std::string> identityInsertTable(const tsql::SetOption& option);
/// The same of `set identity_update`.
std::optional<std::string> identityUpdateTable(const tsql::SetOption& option);

}  // namespace kelvane::embedded
