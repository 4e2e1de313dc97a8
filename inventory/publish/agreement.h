// Where the reader of published statements and the catalog reader differ about one database, and
// why.
//
// Free functions without state.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "inventory/records.h"
#include "model/schema.h"
#include "reader/fetch_context.h"

namespace kelvane::inventory {

/// What the published statements cannot do.
enum class Limit : std::uint8_t {
  unknown,       ///< none that is known: one of the readers is wrong
  quotedName,    ///< they write names without quotes, or without doubling those within
  refused,       ///< the server refused a statement about the object
  pattern,       ///< the catalog procedures take names with _ or % as patterns
  namesake,      ///< they look objects up by the name without the owner
  systemTables,  ///< they count what the server itself grants on its tables
  release,       ///< from release 15 the procedures answer in another form
};
inline constexpr std::size_t kLimitCount = static_cast<std::size_t>(Limit::release) + 1;
std::string_view describe(Limit limit);

struct Disagreement {
  enumEntityType kind = entity_TABLE;
  std::u16string object;  ///< its full name
  Limit limit = Limit::unknown;
};

struct Agreement {
  std::size_t objects = 0;  ///< that either reader has
  std::vector<Disagreement> differing;
};

/// `asked` is what the published statements answered, `extent` how much of it is complete;
/// `published` was made of `database`. Foreign keys, indexes and triggers are compared without
/// their order, which is that of the catalog's numbers.
Agreement agreement(const Database& database, const Schema& asked, const ReadExtent& extent,
                    const Schema& published);

}  // namespace kelvane::inventory
