// The switches that act while a database is read: what they leave out of a schema that was read
// without them.
//
// Lifetime and threading: a free function without state.
#pragma once

#include "model/schema.h"
#include "settings/comparison_options.h"

namespace kelvane::cli {

// Makes every detail that is switched off as empty as a reader leaves it, so that it cannot differ
// from one that was never read. Categories, columns, keys, texts and the like stay: they are passed
// over when they are compared.
void leaveOutDetails(Schema& schema, const cComparisonOptions& switches);

}  // namespace kelvane::cli
