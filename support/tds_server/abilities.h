// What a client says that it understands, and how results are made to fit that.
//
// Plain values.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "drivers/embedded/catalog/result.h"

namespace kelvane::tds {

struct Abilities {
  bool longTexts = true;
  bool longBinaries = true;
  bool bigIntegers = true;
  bool wideFormats = true;
  bool unsignedIntegers = true;
  bool dates = true;
  bool times = true;
  bool unitexts = false;  ///< the one that clients with no list of abilities may lack
  bool bigMoments = true;
};

/// Of the token with which a client lists them; all when it has none.
Abilities readAbilities(std::string_view capabilities);
/// The client's list without the requests that this server refuses, as the answer to it.
std::string grantedCapabilities(std::string capabilities);

/// The columns as the client can read them.
std::vector<embedded::ResultColumn> readableColumns(std::vector<embedded::ResultColumn> columns,
                                                    const Abilities& abilities);
/// A value of a column whose type is another one for the client.
embedded::Cell readableValue(const embedded::Cell& value, const embedded::ColumnType& from,
                             const embedded::ColumnType& to);

}  // namespace kelvane::tds
