// Typed changes as one line each, for lists of many databases.
//
// Lifetime and threading: a free function without state.
#pragma once

#include <string>
#include <vector>

#include "inventory/compare/changes.h"

namespace kelvane::report {

/// Of an object and its parts: "table dbo.t, column a: int null -> bigint null", "procedure dbo.p:
/// definition differs". `source` is what the source is called: "only in reference".
std::vector<std::u16string> linesOf(const inventory::Change& object, std::u16string_view source);

}  // namespace kelvane::report
