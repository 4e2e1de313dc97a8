// How the columns and values of a result stand on the wire.
//
// Free functions without state.
#pragma once

#include <vector>

#include "drivers/embedded/catalog/result.h"
#include "support/tds_server/wire.h"

namespace kelvane::tds {

/// ROWFMT, or ROWFMT2 for what is too wide for it.
void writeFormat(TokenBytes& out, const std::vector<embedded::ResultColumn>& columns,
                 CharacterSet set);
/// Throws std::runtime_error for a null in a column that has no place for one.
void writeRow(TokenBytes& out, const std::vector<embedded::ResultColumn>& columns,
              const embedded::Row& row, CharacterSet set);

}  // namespace kelvane::tds
