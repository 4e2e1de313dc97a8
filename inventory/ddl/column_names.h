// Columns that texts name and that are not there: they were renamed or dropped afterwards.
//
// Free functions without state.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace kelvane::inventory {

/// Whether a table or view has a column; none where its columns are not known, or where it is not.
using HasColumn = std::function<std::optional<bool>(std::string_view owner, std::string_view table,
                                                    std::string_view column)>;

/// A column that an expression over one table names and that is not there. What may be something
/// else is none.
std::optional<std::string> missingColumnIn(
    std::string_view expression, bool quotedIdentifier,
    const std::function<bool(std::string_view column)>& hasColumn);

/// The same for the text of a view that is one select, without others in it: "b of t".
std::optional<std::string> missingColumnOfView(std::string_view text, bool quotedIdentifier,
                                               const HasColumn& hasColumn);

}  // namespace kelvane::inventory
