// The patterns of --include and --exclude, and which objects of a published schema they take.
//
// Lifetime: values. Threading: free functions without state.
#pragma once

#include <functional>
#include <optional>
#include <string_view>

#include "cli/words/arguments.h"
#include "inventory/selection.h"
#include "model/schema.h"
#include "model/text.h"
#include "settings/comparison_options.h"

namespace kelvane::cli {

using inventory::Selection;

inline constexpr std::string_view kInclude = "--include", kExclude = "--exclude";

// `names`: how all names are compared; none: as the servers do. Throws UsageError.
Selection selectionOf(const Arguments& arguments, std::optional<CaseMode> names = std::nullopt);

inventory::Kind kindOf(enumEntityType kind);

// Takes out of `schema` what is not to take part.
void apply(const Selection& selection, Schema& schema, CaseMode mode, Selection::Tally& tally);

// Whether the switches take part of a kind of objects.
std::function<bool(inventory::Kind)> comparedKinds(const cComparisonOptions& switches);

}  // namespace kelvane::cli
