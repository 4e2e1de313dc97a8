// When two definitions say the same.
//
// Free functions.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "inventory/compare/compare.h"
#include "inventory/records.h"

namespace kelvane::inventory {

/// A definition without what the rules ignore. What stands within quotes or brackets stays as it
/// is. Blanks that are ignored still keep two words apart, and a line break that ends a comment
/// stays.
std::string reduced(std::string_view definition, const Rules& rules);

/// The same without `or replace` behind `create`, which says how it was made, not what it is.
std::string withoutReplace(std::string_view definition);
/// The same with it; none where the text does not begin with `create`.
std::optional<std::string> withReplace(std::string_view definition);

/// Two hidden ones count as the same: what is hidden is a gap of its database.
bool sameDefinition(const Definition& a, const Definition& b, const Rules& rules);

}  // namespace kelvane::inventory
