// How the columns and values of a result stand on the wire.
//
// Free functions without state.
#pragma once

#include <cstddef>
#include <vector>

#include "drivers/embedded/catalog/result.h"
#include "support/tds_server/abilities.h"
#include "support/tds_server/wire.h"

namespace kelvane::tds {

/// ROWFMT, or ROWFMT2 for what is too wide for it; std::length_error when the client cannot read
/// that either.
void writeFormat(TokenBytes& out, const std::vector<embedded::ResultColumn>& columns,
                 CharacterSet set, const Abilities& abilities);
/// Of text, unitext and image at most `textSize` bytes. Throws std::runtime_error for a null in a
/// column that has no place for one.
void writeRow(TokenBytes& out, const std::vector<embedded::ResultColumn>& columns,
              const embedded::Row& row, CharacterSet set, const Abilities& abilities,
              std::size_t textSize);
/// Values of output parameters: PARAMFMT and PARAMS.
void writeParameters(TokenBytes& out, const std::vector<embedded::ResultColumn>& columns,
                     const embedded::Row& row, CharacterSet set, const Abilities& abilities);

}  // namespace kelvane::tds
