// The text of a definition as the server stores it: with the columns that each `*` stood for.
//
// A free function without state.
#pragma once

#include <string>
#include <string_view>

#include "drivers/embedded/catalog/catalog.h"
#include "drivers/embedded/tsql/ast/basics.h"

namespace kelvane::embedded {

class TemporaryTables;

/// The text of `definition` within the batch `text`, with every `*` of a select list replaced by
/// `table.column, ...` and a comment before the statement that had it. A `*` stays where it only
/// asks for existence, and where its tables are not known yet.
std::string withExpandedStars(const tsql::Statement& definition, std::string_view text,
                              Catalog& catalog, const Caller& caller,
                              const TemporaryTables& temporaries);

}  // namespace kelvane::embedded
