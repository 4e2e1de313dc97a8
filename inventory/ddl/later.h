// What texts use that earlier releases do not have.
//
// Free functions without state.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "inventory/ddl/ddl.h"

namespace kelvane::inventory {

/// "function hash", "type bigint". `isOwn` says of a function whether the database has one of that
/// name.
std::optional<std::string> laterIn(std::string_view text, bool quotedIdentifier,
                                   TargetRelease release,
                                   const std::function<bool(std::string_view)>& isOwn);

/// Without `or replace`; none if the text does not say it.
std::optional<std::string> withoutReplace(std::string_view text, bool quotedIdentifier);

}  // namespace kelvane::inventory
