// What tempdb's system tables have of the temporary tables of a session.
#pragma once

#include "drivers/embedded/catalog/catalog.h"
#include "drivers/embedded/engine/temporary_tables.h"

namespace kelvane::embedded {

/// An id for a table that has none yet. `session` tells it apart from those of other sessions.
int newTemporaryId(Catalog& catalog, std::string_view table, int session);
/// Its rows as the table is now; those of before are gone.
void showTemporary(Catalog& catalog, const TemporaryTable& table, int session);
void hideTemporary(Catalog& catalog, int id);

}  // namespace kelvane::embedded
